#include "catalogue/warepropertydialog.h"

#include "app/messages.h"
#include "catalogue/dictionaries.h"
#include "catalogue/propertiesdialog.h"
#include "db/sqltext.h"

#include <QComboBox>

namespace {

constexpr double largestValue = 999999999;

/// The field for the value of a property, by its kind.
DictionaryField valueField(PropertyType type, qulonglong propertyId)
{
    DictionaryField field{.column = "value",
                          .kind = FieldKind::Number,
                          .widget = "valueDoubleSpinBox",
                          .label = WarePropertyDialog::tr("&Значение:"),
                          .required = WarePropertyDialog::tr("Пожалуйста, введите число."),
                          .decimals = 6,
                          .least = -largestValue,
                          .most = largestValue};
    if (type == PropertyType::List) {
        field.column = "enumid";
        field.kind = FieldKind::Choice;
        field.widget = "valueComboBox";
        field.required = WarePropertyDialog::tr("Пожалуйста, выберите значение.");
        field.choices = propertyItemsQuery(propertyId);
    } else if (type == PropertyType::Flag) {
        field.kind = FieldKind::Flag;
        field.widget = "valueCheckBox";
    }
    return field;
}

} // namespace

Dictionary WarePropertyDialog::dictionary()
{
    return {.table = "wareproperties",
            .command = Command::EditProducts,
            .fields = {{.column = "wareid", .kind = FieldKind::Fixed},
                       {.column = "propertyid",
                        .kind = FieldKind::Choice,
                        .widget = "propertyComboBox",
                        .label = tr("&Свойство:"),
                        .required = tr("Пожалуйста, выберите свойство."),
                        .choices = "SELECT id, name FROM properties ORDER BY name;",
                        .openName = "editpropertiesPushButton",
                        .openToolTip = tr("Свойства наименований"),
                        .open = dictionaryOpener(DictionaryName::Properties)},
                       valueField(PropertyType::Number, 0)},
            .readFirst = {"wareid", "propertyid", "enumid", "value"},
            .addTitle = tr("Новое свойство наименования"),
            .editTitle = tr("Редактирование свойства наименования"),
            .dialogName = "WarePropertyDialog",
            .acceptName = "okPushButton"};
}

WarePropertyDialog::WarePropertyDialog(qulonglong id, qulonglong wareid, QWidget *parent)
    : DictionaryDialog(dictionary(), id, parent, {{"wareid", wareid}}),
      m_valueColumn("value")
{
    showProperty();
    connect(choiceWidget("propertyid"), &QComboBox::currentIndexChanged, this,
            [this] { showProperty(fieldValue(m_valueColumn)); });
}

/// Shows the field that the chosen property needs. entered: the value so far, which stays when the
/// property is the one that it was entered for.
void WarePropertyDialog::showProperty(const QVariant &entered)
{
    const qulonglong propertyId = fieldValue("propertyid").toULongLong();
    QList<SqlRow> rows;
    if (propertyId != 0)
        QueryRows(this,
                  "SELECT name, defaultvalue, type FROM properties WHERE id=" +
                      sql::quotedId(propertyId) + u';',
                  rows);
    const SqlRow property = rows.value(0, {QString(), 0, 0});
    const DictionaryField field = valueField(PropertyType(property.at(2).toInt()), propertyId);
    const bool isStored = id() != 0 && seen().value("propertyid").toULongLong() == propertyId;
    QVariant value = isStored ? seen().value(field.column) : property.at(1);
    if (propertyId == m_shownProperty && field.column == m_valueColumn && entered.isValid())
        value = entered;
    replaceField(m_valueColumn, field, value);
    m_valueColumn = field.column;
    m_shownProperty = propertyId;
}

/// A list may well have several values of a product.
bool WarePropertyDialog::mayBeSaved()
{
    const QVariant others = QueryValue(
        this, "SELECT count(*) FROM wareproperties WHERE wareid=" +
                  sql::quotedId(seen().value("wareid").toULongLong()) +
                  " AND propertyid=" + sql::quotedId(fieldValue("propertyid").toULongLong()) +
                  " AND id!=" + sql::quotedId(id()) + u';');
    if (!others.isValid())
        return false;
    return others.toInt() == 0 ||
           askQuestion(this,
                       tr("У этого наименования такое свойство уже есть. Записать ещё одно "
                          "значение?"),
                       {tr("Записать"), tr("Отмена")}, 1, 1) == 0;
}
