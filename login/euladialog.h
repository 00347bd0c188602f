#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class EulaDialog;
}

/// Shows the licence agreement. Accepted by its button only: a scanner that sends Return into the
/// text must not agree to anything.
class EulaDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit EulaDialog(QWidget *parent = nullptr);
    ~EulaDialog() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void on_acceptPushButton_clicked();
    void on_declinePushButton_clicked();

private:
    std::unique_ptr<Ui::EulaDialog> m_ui;
};

/// Whether the user has accepted the licence agreement, now or earlier; asks when there is no
/// acceptance in the per-user settings store and keeps it there.
bool acceptEula(QWidget *parent);
