#pragma once

#include <QDialog>

#include <memory>

#include "administration/userstore.h"

namespace Ui {
class UserDialog;
}

/// A user with his rights and, if he gets one, a new password; id 0: a new one. Everything is
/// written at once. A user that cannot be read ends the dialog as rejected.
class UserDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit UserDialog(qulonglong id, QWidget *parent = nullptr);
    ~UserDialog() override;

    /// The id of the user; after one was added his own.
    qulonglong id() const;

    /// Asks first when something was entered that would be lost.
    void reject() override;

private slots:
    void on_passwordPushButton_clicked();
    void on_acceptPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    void load(qulonglong id);
    void showUser(const UserRecord &user);
    void addRights(qlonglong rights);
    void makeRoomForRights();
    void showPasswordState();
    qlonglong chosenRights() const;
    UserRecord entered() const;
    bool check();
    bool askAboutSelf(const UserRecord &user);
    bool askToReplace();

    std::unique_ptr<Ui::UserDialog> m_ui;
    UserSave m_save;
    UserRecord m_initial; ///< as the dialog showed it first
    QString m_password;   ///< the new one, until it is written
};
