#include "administration/ownpassworddialog.h"

#include "administration/userstore.h"
#include "app/messages.h"
#include "db/connections.h"
#include "db/session.h"

OwnPasswordDialog::OwnPasswordDialog(QWidget *parent)
    : PasswordDialog(Session::instance().user().login, parent, PasswordPurpose::Own)
{
    setObjectName("OwnPasswordDialog");
}

bool OwnPasswordDialog::take()
{
    const CommandScope command;
    setCursor(Qt::WaitCursor);
    const OwnPasswordState state = changeOwnPassword(this, presentPassword(), password());
    unsetCursor();
    if (state == OwnPasswordState::Wrong) {
        showWarning(this, tr("Прежний пароль введён неверно, или учётную запись тем временем "
                             "изменил администратор. Пароль не изменён."));
        askAgain();
    }
    return state == OwnPasswordState::Changed;
}
