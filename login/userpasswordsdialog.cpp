#include "login/userpasswordsdialog.h"

#include "db/connections.h"
#include "db/session.h"
#include "ui_userpasswordsdialog.h"

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int loginRole = Qt::UserRole + 1;

} // namespace

UserPasswordsDialog::UserPasswordsDialog(NewPasswordQuestion askNewPassword, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::UserPasswordsDialog>()),
      m_askNewPassword(std::move(askNewPassword))
{
    m_ui->setupUi(this);
    refresh();
}

UserPasswordsDialog::~UserPasswordsDialog() = default;

void UserPasswordsDialog::refresh()
{
    QList<SessionUser> users;
    const bool read = Session::usersWithoutPassword(parentWidget(), users, mainConnection);
    m_ui->usersListWidget->clear();
    for (const SessionUser &user : std::as_const(users)) {
        auto *item = new QListWidgetItem(
            user.name.isEmpty() ? user.login
                                : tr("%1 — %2").arg(user.login, user.name.simplified()),
            m_ui->usersListWidget);
        item->setData(idRole, user.id);
        item->setData(loginRole, user.login);
    }
    m_ui->introLabel->setText(!read ? tr("Пользователей не удалось прочитать.")
                              : users.isEmpty() ? tr("У всех пользователей есть пароль.")
                                                : tr("&Пользователи без пароля:"));
    m_ui->usersListWidget->setCurrentRow(users.isEmpty() ? -1 : 0);
    on_usersListWidget_currentRowChanged(m_ui->usersListWidget->currentRow());
}

void UserPasswordsDialog::on_usersListWidget_currentRowChanged(int row)
{
    m_ui->setPushButton->setEnabled(row >= 0);
}

void UserPasswordsDialog::on_usersListWidget_itemActivated()
{
    setPassword();
}

void UserPasswordsDialog::on_setPushButton_clicked()
{
    setPassword();
}

void UserPasswordsDialog::on_closePushButton_clicked()
{
    accept();
}

void UserPasswordsDialog::setPassword()
{
    const QListWidgetItem *item = m_ui->usersListWidget->currentItem();
    if (!item)
        return;
    SessionUser user;
    user.id = item->data(idRole).toULongLong();
    user.login = item->data(loginRole).toString();
    const std::optional<QString> password = m_askNewPassword(user.login);
    if (!password)
        return;
    const CommandScope command;
    giveFirstPassword(this, user, *password, mainConnection);
    refresh();
}
