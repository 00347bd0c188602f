#pragma once

#include <QDialog>

#include <memory>

#include "login/loginsequence.h"

namespace Ui {
class UserPasswordsDialog;
}

/// Lists the users of the main connection who have no password yet; whoever manages users gives
/// them their first one.
class UserPasswordsDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit UserPasswordsDialog(NewPasswordQuestion askNewPassword, QWidget *parent = nullptr);
    ~UserPasswordsDialog() override;

private slots:
    void on_usersListWidget_currentRowChanged(int row);
    void on_usersListWidget_itemActivated();
    void on_setPushButton_clicked();
    void on_closePushButton_clicked();

private:
    void refresh();
    void setPassword();

    std::unique_ptr<Ui::UserPasswordsDialog> m_ui;
    NewPasswordQuestion m_askNewPassword;
};
