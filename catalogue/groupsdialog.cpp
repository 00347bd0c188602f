#include "catalogue/groupsdialog.h"

#include "catalogue/productlist.h"
#include "db/sqltext.h"

#include <QHash>

#include <algorithm>

namespace {

constexpr int idColumn = 0;
constexpr int nameColumn = 1;

/// Children behind their parents, " - " before the name for each step down.
void arrangeAsTree(QList<SqlRow> &rows)
{
    QList<SqlRow> groups;
    if (!QueryRows(nullptr, groupsQuery(), groups))
        return;
    QHash<qulonglong, std::pair<qsizetype, QString>> places; // order and name
    const QList<Choice> choices = groupChoices(groups);
    for (const auto &[id, name] : choices)
        places.insert(id, {places.size(), name});
    std::stable_sort(rows.begin(), rows.end(), [&places](const SqlRow &a, const SqlRow &b) {
        return places.value(a.at(idColumn).toULongLong()).first <
               places.value(b.at(idColumn).toULongLong()).first;
    });
    for (SqlRow &row : rows) {
        const qulonglong id = row.at(idColumn).toULongLong();
        if (places.contains(id))
            row[nameColumn] = places.value(id).second;
    }
}

DictionaryField bonus(const QString &column, const QString &label)
{
    return {.column = column,
            .kind = FieldKind::Number,
            .widget = column + "DoubleSpinBox",
            .label = label + u':',
            .required = GroupsDialog::tr("Пожалуйста, введите процент от 0 до 100."),
            .decimals = 4,
            .most = 100};
}

/// The parent can be any root but the group itself; the present one is offered in any case.
QString parentChoices(qulonglong id)
{
    const QString own = sql::quotedId(id);
    return "SELECT id, name FROM `groups` WHERE ((parent<1 OR parent IS NULL) AND id!=" + own +
           ") OR id=(SELECT parent FROM `groups` WHERE id=" + own + ") ORDER BY name;";
}

Dictionary groupDictionary(qulonglong id)
{
    Dictionary groups = GroupsDialog::dictionary();
    groups.fields.first().choices = parentChoices(id);
    return groups;
}

QList<DictionaryField> groupFields()
{
    return {{.column = "parent",
             .kind = FieldKind::Choice,
             .widget = "parentComboBox",
             .label = GroupsDialog::tr("&Входит в группу:"),
             .firstChoices = {{0, GroupsDialog::tr("нет")}},
             .choices = parentChoices(0)},
            {.column = "name",
             .widget = "nameLineEdit",
             .label = GroupsDialog::tr("&Название:"),
             .required = GroupsDialog::tr("Пожалуйста, введите название группы."),
             .repeat = Repeat::Asked,
             .repeatAmong = "parent"},
            {.column = "keywords",
             .widget = "keywordsLineEdit",
             .label = GroupsDialog::tr("&Ключевые слова:")},
            {.column = "description",
             .kind = FieldKind::Memo,
             .widget = "descriptionPlainTextEdit",
             .label = GroupsDialog::tr("&Описание:")},
            {.column = "inetenabled",
             .kind = FieldKind::Flag,
             .widget = "inetenabledCheckBox",
             .label = GroupsDialog::tr("В &интернет-магазине:"),
             .initial = 1},
            bonus("creatormarginbonus", GroupsDialog::tr("% маржи создателю")),
            bonus("creatorsumbonus", GroupsDialog::tr("% суммы создателю")),
            bonus("managermarginbonus", GroupsDialog::tr("% маржи менеджеру")),
            bonus("managersumbonus", GroupsDialog::tr("% суммы менеджеру")),
            bonus("marginbonus", GroupsDialog::tr("% маржи исполнителю")),
            bonus("sumbonus", GroupsDialog::tr("% суммы исполнителю")),
            {.column = "timestamp", .kind = FieldKind::Time}};
}

QList<TableColumn> groupColumns()
{
    QList<TableColumn> columns = {
        {"id", "`id`", GroupsDialog::tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
        {"name", "`name`", GroupsDialog::tr("Название"), ColumnKind::Name, ColumnWidth::Rest},
        {"inetenabled", "CASE `inetenabled` WHEN 0 THEN '-' ELSE '+' END",
         GroupsDialog::tr("Интернет")}};
    const QList<DictionaryField> fields = groupFields();
    for (const DictionaryField &field : fields) {
        if (field.kind == FieldKind::Number)
            columns += {field.column, u'`' + field.column + u'`', field.label.chopped(1),
                        ColumnKind::Factor, ColumnWidth::Lesser};
    }
    return columns + QList<TableColumn>{{"timestamp", "`timestamp`", GroupsDialog::tr("Изменено"),
                                         ColumnKind::Time, ColumnWidth::Lesser}};
}

} // namespace

GroupsDialog::GroupsDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
    resize(width(), 520);
}

Dictionary GroupsDialog::dictionary()
{
    return {.table = "`groups`",
            .columns = groupColumns(),
            .order = "`name`",
            .fields = groupFields(),
            .formOrder = {"name", "parent"},
            .readFirst = {"name", "keywords", "description", "parent"},
            .uses = {{.table = "warehouse",
                      .column = "groupid",
                      .told = tr("Наименований, которые останутся без группы: %1.")},
                     {.table = "`groups`",
                      .column = "parent",
                      .told = tr("Вложенных групп, которые станут самостоятельными: %1.")}},
            .parent = "parent",
            .circle = tr("Группа не может входить в саму себя или во вложенную в неё группу."),
            .searched = {"name", "keywords"},
            .arrange = arrangeAsTree,
            .listTitle = tr("Группы наименований"),
            .listName = "GroupsDialog",
            .viewName = "groupsTableView",
            .viewToolTip = tr("Двойной щелчок открывает группу."),
            .addTitle = tr("Новая группа"),
            .editTitle = tr("Редактирование группы"),
            .dialogName = "GroupEditDialog",
            .deleteQuestion = tr("Вы действительно хотите удалить выделенные группы?")};
}

std::unique_ptr<DictionaryDialog> GroupsDialog::makeDialog(qulonglong id)
{
    return std::make_unique<GroupEditDialog>(id, this);
}

GroupEditDialog::GroupEditDialog(qulonglong id, QWidget *parent)
    : DictionaryDialog(groupDictionary(id), id, parent)
{
}
