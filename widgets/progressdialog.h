#pragma once

#include <QElapsedTimer>
#include <QProgressDialog>

class QProgressBar;

/// A window-modal progress dialog that neither a key nor its frame closes: that would free the
/// window below in the middle of the work. It appears at once.
class ProgressDialog final : public QProgressDialog
{
    Q_OBJECT

public:
    /// labelText: what is being done; range 0 to maximum.
    ProgressDialog(const QString &labelText, int maximum, QWidget *parent);

    /// Lets the event loop process what is pending; shows how far the work is, some 20 times a
    /// second at most.
    void advance(int value);

    /// Shows how far work in the background is, of which it processes no events; total -1: nobody
    /// knows yet.
    void follow(qint64 done, qint64 total);

    /// Offers a button that asks the work to stop; so does Escape.
    void allowStopping();

    /// Whether the user wants the work to stop.
    bool isStopped() const;

    void reject() override;

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    QProgressBar *m_bar;
    QElapsedTimer m_sinceShown;
    bool m_stopped = false;
};
