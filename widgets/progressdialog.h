#pragma once

#include <QElapsedTimer>
#include <QProgressDialog>

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

    /// Offers a button that asks the work to stop; so does Escape.
    void allowStopping();

    /// Whether the user wants the work to stop.
    bool isStopped() const;

    void reject() override;

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    QElapsedTimer m_sinceShown;
    bool m_stopped = false;
};
