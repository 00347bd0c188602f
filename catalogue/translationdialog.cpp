#include "catalogue/translationdialog.h"

#include "app/messages.h"
#include "catalogue/dictionaries.h"
#include "db/sqltext.h"

namespace {

/// Opens the list of languages and returns the code of the one chosen there.
QVariant chooseLocale(QWidget *parent, const QVariant & /*current*/)
{
    const qulonglong id = openDictionary(DictionaryName::Locales, parent);
    return id == 0 ? QVariant()
                   : QueryValue(parent,
                                "SELECT name FROM locales WHERE id=" + sql::quotedId(id) + u';');
}

} // namespace

Dictionary TranslationDialog::dictionary()
{
    return {.table = "waretranslates",
            .command = Command::EditProducts,
            .fields = {{.column = "wareid", .kind = FieldKind::Fixed},
                       {.column = "locale",
                        .kind = FieldKind::Code,
                        .widget = "localeComboBox",
                        .label = tr("&Язык:"),
                        .required = tr("Пожалуйста, выберите язык."),
                        .once = true,
                        .choices = "SELECT name, description FROM locales ORDER BY id;",
                        .openName = "editlocalesPushButton",
                        .openToolTip = tr("Языки переводов"),
                        .open = chooseLocale},
                       {.column = "name",
                        .widget = "nameLineEdit",
                        .label = tr("&Наименование:"),
                        .required = tr("Пожалуйста, введите наименование.")},
                       {.column = "description",
                        .kind = FieldKind::Memo,
                        .widget = "descriptionPlainTextEdit",
                        .label = tr("&Описание:")}},
            .readFirst = {"name", "description", "locale"},
            .addTitle = tr("Новый перевод"),
            .editTitle = tr("Редактирование перевода"),
            .dialogName = "TranslationDialog"};
}

TranslationDialog::TranslationDialog(qulonglong id, qulonglong wareid, QWidget *parent,
                                     const QString &name, const QString &description)
    : DictionaryDialog(dictionary(), id, parent, {{"wareid", wareid}})
{
    if (id != 0)
        return;
    QString shownName = name;
    QString shownDescription = description;
    QList<SqlRow> rows;
    if (wareid != 0 &&
        QueryRows(this,
                  "SELECT name,description FROM warehouse WHERE id=" + sql::quotedId(wareid) + u';',
                  rows) &&
        !rows.isEmpty() && name.isEmpty()) {
        shownName = rows.first().at(0).toString();
        shownDescription = rows.first().at(1).toString();
    }
    setFieldValue("name", shownName);
    setFieldValue("description", shownDescription);
}

/// Where there is a translation into this language already, it is the one that is written.
bool TranslationDialog::mayBeSaved()
{
    if (id() != 0)
        return true;
    QList<SqlRow> rows;
    if (!QueryRows(this,
                   "SELECT id FROM waretranslates WHERE wareid=" +
                       sql::quotedId(seen().value("wareid").toULongLong()) +
                       " AND locale=" + sql::text(fieldValue("locale").toString()) + u';',
                   rows))
        return false;
    if (rows.isEmpty())
        return true;
    const qulonglong present = rows.first().first().toULongLong();
    const QString text =
        QueryValue(this,
                   "SELECT name FROM waretranslates WHERE id=" + sql::quotedId(present) + u';')
            .toString();
    return askQuestion(this, {.text = tr("Перевод на этот язык уже есть. Заменить его?"),
                              .note = text,
                              .buttons = {tr("Заменить"), tr("Отмена")},
                              .defaultButton = 1,
                              .escapeButton = 1}) == 0 &&
           continueWith(present);
}
