#include "catalogue/propertiesdialog.h"

#include "app/messages.h"
#include "db/sqltext.h"
#include "widgets/dictionarystore.h"

#include <QComboBox>
#include <QPushButton>

namespace {

constexpr int largestDefault = 999999;

/// The field for the value that a product gets at first, by the kind of property.
DictionaryField defaultField(PropertyType type, qulonglong propertyId)
{
    DictionaryField field{
        .column = "defaultvalue",
        .kind = FieldKind::Number,
        .widget = "defaultvalueSpinBox",
        .label = PropertiesDialog::tr("&По умолчанию:"),
        .toolTip = PropertiesDialog::tr("Значение, которое предлагается для нового наименования."),
        .required = PropertiesDialog::tr("Пожалуйста, введите целое число."),
        .least = -largestDefault,
        .most = largestDefault};
    if (type == PropertyType::List) {
        field.kind = FieldKind::Choice;
        field.widget = "defaultvalueComboBox";
        field.firstChoices = {{0, PropertiesDialog::tr("нет")}};
        field.choices = propertyItemsQuery(propertyId);
    } else if (type == PropertyType::Flag) {
        field.kind = FieldKind::Flag;
        field.widget = "defaultvalueCheckBox";
    }
    return field;
}

} // namespace

QString propertyItemsQuery(qulonglong propertyId)
{
    return "SELECT id, value FROM properties_enums WHERE propertyid=" + sql::quotedId(propertyId) +
           " ORDER BY value;";
}

PropertiesDialog::PropertiesDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

Dictionary PropertiesDialog::dictionary()
{
    return {
        .table = "properties",
        .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                    {"name", "name", tr("Название"), ColumnKind::Name, ColumnWidth::Rest}},
        .order = "name",
        .fields = {{.column = "type",
                    .kind = FieldKind::Choice,
                    .widget = "typeComboBox",
                    .label = tr("&Тип:"),
                    .toolTip = tr("Значение из списка вводят один раз, здесь, а у наименований "
                                  "только выбирают."),
                    .firstChoices = {{qulonglong(PropertyType::List), tr("список")},
                                     {qulonglong(PropertyType::Number), tr("число")},
                                     {qulonglong(PropertyType::Flag), tr("да или нет")}}},
                   {.column = "name",
                    .widget = "nameLineEdit",
                    .label = tr("&Название:"),
                    .required = tr("Пожалуйста, введите название свойства."),
                    .repeat = Repeat::Asked},
                   defaultField(PropertyType::List, 0)},
        .formOrder = {"name"},
        .uses = {{.table = "properties_enums", .column = "propertyid", .goToo = true},
                 {.table = "wareproperties", .column = "propertyid", .goToo = true, .told = "%1"}},
        .listTitle = tr("Свойства наименований"),
        .listName = "PropertiesDialog",
        .viewName = "propertiesTableView",
        .viewToolTip = tr("Двойной щелчок открывает свойство."),
        .addTitle = tr("Новое свойство"),
        .editTitle = tr("Редактирование свойства"),
        .dialogName = "PropertyDialog",
        .deleteQuestion = tr("Данное свойство содержится в %1 наименованиях. Вы действительно "
                             "хотите удалить выделенное свойство?")};
}

std::unique_ptr<DictionaryDialog> PropertiesDialog::makeDialog(qulonglong id)
{
    return std::make_unique<PropertyDialog>(id, this);
}

PropertyDialog::PropertyDialog(qulonglong id, QWidget *parent)
    : DictionaryDialog(PropertiesDialog::dictionary(), id, parent),
      m_itemsButton(addCommand(tr("Элементы списка…"), "itemsPushButton",
                               tr("Новое свойство при этом записывается.")))
{
    showType(seen().value("defaultvalue"));
    connect(m_itemsButton, &QPushButton::clicked, this, &PropertyDialog::editItems);
    connect(choiceWidget("type"), &QComboBox::currentIndexChanged, this, [this] {
        const bool isAsBefore = fieldValue("type") == seen().value("type");
        showType(isAsBefore ? seen().value("defaultvalue") : QVariant(0));
    });
}

PropertyType PropertyDialog::type() const
{
    return PropertyType(fieldValue("type").toInt());
}

void PropertyDialog::showType(const QVariant &defaultValue)
{
    replaceField("defaultvalue", defaultField(type(), id()), defaultValue);
    m_itemsButton->setEnabled(type() == PropertyType::List);
}

/// Items belong to a property that is there.
void PropertyDialog::editItems()
{
    const CommandScope command;
    if (id() == 0) {
        if (!store() || !continueWith(id()))
            return;
        setWindowTitle(PropertiesDialog::dictionary().editTitle);
    }
    PropertyItemsDialog(id(), this).exec();
    // An item that was the default may be gone, which is no change by another station.
    QVariantMap now;
    if (loadEntry(this, PropertiesDialog::dictionary(), id(), now) != LoadState::Loaded)
        return;
    const bool wasGone = now.value("defaultvalue") != seen().value("defaultvalue");
    const QVariant shown = fieldValue("defaultvalue");
    seen()["defaultvalue"] = now.value("defaultvalue");
    showType(wasGone ? now.value("defaultvalue") : shown);
}

/// Values of products are not translated into another type.
bool PropertyDialog::mayBeSaved()
{
    if (id() == 0 || type() == PropertyType(seen().value("type").toInt()))
        return true;
    const Dictionary properties = PropertiesDialog::dictionary();
    const std::optional<qlonglong> count =
        countUses(this, properties, properties.uses.last(), {id()});
    if (!count)
        return false;
    return *count == 0 ||
           askQuestion(this,
                       tr("У наименований (%1) есть значения прежнего типа, с новым типом их не "
                          "будет видно. Сменить тип?")
                           .arg(*count),
                       {tr("Сменить"), tr("Отмена")}, 1, 1) == 0;
}

PropertyItemsDialog::PropertyItemsDialog(qulonglong propertyId, QWidget *parent)
    : DictionaryList(dictionary(), parent, "propertyid=" + sql::quotedId(propertyId)),
      m_propertyId(propertyId)
{
}

Dictionary PropertyItemsDialog::dictionary()
{
    return {.table = "properties_enums",
            .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                        {"value", "value", tr("Значение"), ColumnKind::Name, ColumnWidth::Rest}},
            .order = "value",
            .fields = {{.column = "propertyid", .kind = FieldKind::Fixed},
                       {.column = "value",
                        .widget = "valueLineEdit",
                        .label = tr("&Значение:"),
                        .required = tr("Пожалуйста, введите значение."),
                        .repeat = Repeat::Asked,
                        .repeatAmong = "propertyid"}},
            .uses = {{.table = "properties", .column = "defaultvalue", .also = "type='1'"},
                     {.table = "wareproperties",
                      .column = "enumid",
                      .goToo = true,
                      .told = tr("Наименований, у которых это значение будет убрано: %1."),
                      .also = "propertyid IN (SELECT id FROM properties WHERE type='1')"}},
            .searched = {"value"},
            .listTitle = tr("Элементы списка"),
            .listName = "PropertyItemsDialog",
            .viewName = "itemsTableView",
            .viewToolTip = tr("Двойной щелчок открывает элемент."),
            .addTitle = tr("Новый элемент списка"),
            .editTitle = tr("Редактирование элемента списка"),
            .dialogName = "PropertyItemDialog",
            .deleteQuestion = tr("Вы действительно хотите удалить выделенные элементы?")};
}

std::unique_ptr<DictionaryDialog> PropertyItemsDialog::makeDialog(qulonglong id)
{
    return std::make_unique<DictionaryDialog>(dictionary(), id, this,
                                              QVariantMap{{"propertyid", m_propertyId}});
}
