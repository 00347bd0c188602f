#include "administration/usersdialog.h"

#include "administration/userdialog.h"

namespace {

/// In the list of columns.
enum Column { Id, Login, Name, State, HasPassword, Rights };

/// Numbers into words.
void describe(QList<SqlRow> &rows)
{
    for (SqlRow &row : rows) {
        const bool enabled = row.at(State).toInt() != 0;
        const bool hasPassword = row.at(HasPassword).toInt() != 0;
        row[State] = !enabled       ? UsersDialog::tr("отключён")
                     : !hasPassword ? UsersDialog::tr("нет пароля")
                                    : UsersDialog::tr("включён");
        row[Rights] = rightNames(row.at(Rights).toLongLong());
    }
}

} // namespace

UsersDialog::UsersDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

qulonglong UsersDialog::editEntry(qulonglong id)
{
    UserDialog dialog(id, this);
    return dialog.exec() == Accepted ? dialog.id() : 0;
}

Dictionary UsersDialog::dictionary()
{
    return {.table = "users",
            .columns = {{"id", "id", tr("№"), ColumnKind::Id},
                        {"login", "login", tr("Логин"), ColumnKind::Name},
                        {"name", "name", tr("Имя"), ColumnKind::Name},
                        {"state", "COALESCE(enabled,0) AS state", tr("Вход")},
                        {"haspassword",
                         "CASE WHEN COALESCE(password,'')='' THEN 0 ELSE 1 END AS haspassword",
                         {},
                         ColumnKind::Id,
                         ColumnWidth::Hidden},
                        {"rights", "COALESCE(rights,0) AS rights", tr("Права"), ColumnKind::Name,
                         ColumnWidth::Rest}},
            .order = "login, id",
            .command = Command::ManageUsers,
            .fields = {},
            .searched = {"login", "name"},
            .arrange = describe,
            .listTitle = tr("Пользователи"),
            .listName = "UsersDialog",
            .viewName = "usersTableView",
            .viewToolTip = tr("Двойной щелчок открывает пользователя.")};
}
