#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class PasswordDialog;
}

/// Why a new password cannot be taken, as told to the user; empty when it can.
QString newPasswordFault(const QString &password, const QString &repeated);

/// Asks a user who has no password yet to choose one.
class PasswordDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit PasswordDialog(const QString &login, QWidget *parent = nullptr);
    ~PasswordDialog() override;

    /// The chosen password, after acceptance.
    QString password() const;

private slots:
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    std::unique_ptr<Ui::PasswordDialog> m_ui;
};
