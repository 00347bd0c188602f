#include "login/passworddialog.h"

#include "app/messages.h"
#include "ui_passworddialog.h"

QString newPasswordFault(const QString &password, const QString &repeated)
{
    if (password.isEmpty())
        return PasswordDialog::tr("Пароль не может быть пустым.");
    if (password != repeated)
        return PasswordDialog::tr("Пароли не совпадают. Введите новый пароль ещё раз.");
    return {};
}

namespace {

QString introOf(PasswordPurpose purpose)
{
    switch (purpose) {
    case PasswordPurpose::First:
        return PasswordDialog::tr("У пользователя «%1» ещё нет пароля. Придумайте пароль и введите "
                                  "его дважды.");
    case PasswordPurpose::Another:
        return PasswordDialog::tr("Введите новый пароль пользователя «%1» дважды.");
    case PasswordPurpose::Own:
        break;
    }
    return PasswordDialog::tr("Пользователь «%1»: введите прежний пароль и дважды новый.");
}

} // namespace

PasswordDialog::PasswordDialog(const QString &login, QWidget *parent, PasswordPurpose purpose)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::PasswordDialog>())
{
    m_ui->setupUi(this);
    m_ui->introLabel->setText(introOf(purpose).arg(login));
    const bool isOwn = purpose == PasswordPurpose::Own;
    m_ui->presentPasswordLabel->setVisible(isOwn);
    m_ui->presentPasswordLineEdit->setVisible(isOwn);
    // The layout does not by itself make room for the lines that a large font breaks the text into.
    const int width = qMax(this->width(), sizeHint().width());
    setMinimumHeight(layout()->heightForWidth(width));
    resize(width, minimumHeight());
    (isOwn ? m_ui->presentPasswordLineEdit : m_ui->newPasswordLineEdit)->setFocus();
}

PasswordDialog::~PasswordDialog() = default;

QString PasswordDialog::password() const
{
    return m_ui->newPasswordLineEdit->text();
}

void PasswordDialog::on_okPushButton_clicked()
{
    const QString fault =
        newPasswordFault(m_ui->newPasswordLineEdit->text(), m_ui->repeatPasswordLineEdit->text());
    if (fault.isEmpty()) {
        if (take())
            accept();
        return;
    }
    showWarning(this, fault);
    m_ui->newPasswordLineEdit->clear();
    m_ui->repeatPasswordLineEdit->clear();
    m_ui->newPasswordLineEdit->setFocus();
}

QString PasswordDialog::presentPassword() const
{
    return m_ui->presentPasswordLineEdit->text();
}

bool PasswordDialog::take()
{
    return true;
}

void PasswordDialog::askAgain()
{
    m_ui->presentPasswordLineEdit->setFocus();
    m_ui->presentPasswordLineEdit->selectAll();
}

void PasswordDialog::on_cancelPushButton_clicked()
{
    reject();
}
