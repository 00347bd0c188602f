#include "catalogue/simpledictionaries.h"

namespace {

constexpr double largestMinimum = 999999;

} // namespace

BrandsDialog::BrandsDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

Dictionary BrandsDialog::dictionary()
{
    return {.table = "brands",
            .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                        {"name", "name", tr("Название"), ColumnKind::Name, ColumnWidth::Rest},
                        {"timestamp", "timestamp", tr("Изменено"), ColumnKind::Time}},
            .order = "name",
            .fields = {{.column = "name",
                        .widget = "nameLineEdit",
                        .label = tr("&Название:"),
                        .required = tr("Пожалуйста, введите название производителя."),
                        .repeat = Repeat::Asked},
                       {.column = "timestamp", .kind = FieldKind::Time}},
            .uses = {{.table = "warehouse",
                      .column = "brandid",
                      .told = tr("Наименований, которые останутся без производителя: %1.")}},
            .searched = {"name"},
            .listTitle = tr("Редактирование производителей"),
            .listName = "BrandsDialog",
            .viewName = "brandsTableView",
            .viewToolTip = tr("Двойной щелчок открывает производителя."),
            .addText = tr("Добавить производителя"),
            .addTitle = tr("Новый производитель"),
            .editTitle = tr("Редактирование производителя"),
            .dialogName = "BrandDialog",
            .deleteQuestion = tr("Вы действительно хотите удалить выделенных производителей?")};
}

UnitsDialog::UnitsDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

Dictionary UnitsDialog::dictionary()
{
    constexpr int mostDecimals = 6;
    return {
        .table = "units",
        .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                    {"name", "name", tr("Название"), ColumnKind::Name, ColumnWidth::Rest},
                    {"decimals", "decimals", tr("Знаков после запятой"), ColumnKind::Factor},
                    {"timestamp", "timestamp", tr("Изменено"), ColumnKind::Time}},
        .order = "id",
        .fields = {{.column = "name",
                    .widget = "nameLineEdit",
                    .label = tr("&Название:"),
                    .required = tr("Пожалуйста, введите название единицы измерения."),
                    .repeat = Repeat::Asked},
                   {.column = "decimals",
                    .kind = FieldKind::Number,
                    .widget = "decimalsSpinBox",
                    .label = tr("&Знаков после запятой:"),
                    .toolTip = tr("Сколько знаков после запятой может иметь количество: 0 для "
                                  "штучного товара, 3 для весового."),
                    .required =
                        tr("Пожалуйста, введите количество знаков от 0 до %1.").arg(mostDecimals),
                    .most = mostDecimals},
                   {.column = "timestamp", .kind = FieldKind::Time}},
        .uses = {{.table = "warehouse",
                  .column = "unitid",
                  .told = tr("Наименований, которые останутся без единицы измерения: %1.")}},
        .listTitle = tr("Единицы измерения"),
        .listName = "UnitsDialog",
        .viewName = "unitsTableView",
        .viewToolTip = tr("Двойной щелчок открывает единицу измерения."),
        .addTitle = tr("Новая единица измерения"),
        .editTitle = tr("Редактирование единицы измерения"),
        .dialogName = "UnitDialog",
        .deleteQuestion = tr("Вы действительно хотите удалить выделенные единицы измерения?")};
}

LocalesDialog::LocalesDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

Dictionary LocalesDialog::dictionary()
{
    return {.table = "locales",
            .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                        {"name", "name", tr("Код")},
                        {"description", "description", tr("Язык"), ColumnKind::Name,
                         ColumnWidth::Rest}},
            .order = "id",
            .fields = {{.column = "name",
                        .widget = "nameLineEdit",
                        .label = tr("&Код:"),
                        .toolTip = tr("Короткое обозначение языка, например en."),
                        .required = tr("Пожалуйста, введите код языка."),
                        .repeat = Repeat::Refused},
                       {.column = "description",
                        .widget = "descriptionLineEdit",
                        .label = tr("&Язык:"),
                        .required = tr("Пожалуйста, введите название языка.")}},
            .uses = {{.table = "waretranslates",
                      .column = "locale",
                      .goToo = true,
                      .told = tr("Переводов на эти языки, которые будут удалены: %1."),
                      .key = "name"}},
            .listTitle = tr("Языки переводов"),
            .listName = "LocalesDialog",
            .viewName = "localesTableView",
            .viewToolTip = tr("Двойной щелчок открывает язык."),
            .addTitle = tr("Новый язык"),
            .editTitle = tr("Редактирование языка"),
            .dialogName = "LocaleDialog",
            .deleteQuestion = tr("Вы действительно хотите удалить выделенные языки?")};
}

CollectionsDialog::CollectionsDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

Dictionary CollectionsDialog::dictionary()
{
    return {.table = "collections",
            .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                        {"name", "name", tr("Название"), ColumnKind::Name, ColumnWidth::Rest}},
            .order = "name",
            .fields = {{.column = "name",
                        .widget = "nameLineEdit",
                        .label = tr("&Название:"),
                        .required = tr("Пожалуйста, введите название коллекции."),
                        .repeat = Repeat::Asked},
                       {.column = "description",
                        .kind = FieldKind::Memo,
                        .widget = "descriptionPlainTextEdit",
                        .label = tr("&Описание:")}},
            .uses = {{.table = "collectionproducts",
                      .column = "collectionid",
                      .goToo = true,
                      .told = tr("Наименований в них: %1. Сами наименования останутся.")}},
            .searched = {"name"},
            .listTitle = tr("Коллекции"),
            .listName = "CollectionsDialog",
            .viewName = "collectionsTableView",
            .viewToolTip = tr("Двойной щелчок открывает коллекцию."),
            .addTitle = tr("Новая коллекция"),
            .editTitle = tr("Редактирование коллекции"),
            .dialogName = "CollectionDialog",
            .deleteQuestion = tr("Вы действительно хотите удалить выделенные коллекции?")};
}

std::unique_ptr<DictionaryDialog> CollectionsDialog::makeDialog(qulonglong id)
{
    return std::make_unique<CollectionDialog>(id, this);
}

CollectionDialog::CollectionDialog(qulonglong id, QWidget *parent)
    : DictionaryDialog(CollectionsDialog::dictionary(), id, parent)
{
}

SuppliersDialog::SuppliersDialog(QWidget *parent)
    : DictionaryList(dictionary(), parent)
{
}

Dictionary SuppliersDialog::dictionary()
{
    const QList<DictionaryField> fields = {
        {.column = "enabled",
         .kind = FieldKind::Flag,
         .widget = "enabledCheckBox",
         .label = tr("&Активен:"),
         .toolTip = tr("У этого поставщика заказывают товар."),
         .initial = 1},
        {.column = "name",
         .widget = "nameLineEdit",
         .label = tr("&Название:"),
         .required = tr("Пожалуйста, введите название поставщика."),
         .repeat = Repeat::Asked},
        {.column = "notes",
         .kind = FieldKind::Memo,
         .widget = "notesPlainTextEdit",
         .label = tr("&Примечания:")},
        {.column = "minimalpurchase",
         .kind = FieldKind::Number,
         .widget = "minimalPurchaseDoubleSpinBox",
         .label = tr("&Минимальная сумма заказа:"),
         .required = tr("Пожалуйста, введите минимальную сумму заказа от 0 до %1.")
                         .arg(largestMinimum, 0, 'f', 0),
         .decimals = 2,
         .most = largestMinimum},
        {.column = "email", .widget = "emailLineEdit", .label = tr("&Электронная почта:")},
        {.column = "tags",
         .widget = "tagsLineEdit",
         .label = tr("&Метки:"),
         .toolTip = tr("Слова, по которым поставщика находит поиск.")},
        {.column = "timestamp", .kind = FieldKind::Time}};
    return {.table = "suppliers",
            .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                        {"enabled", "CASE enabled WHEN 0 THEN '-' ELSE '+' END", tr("Активен")},
                        {"name", "name", tr("Название"), ColumnKind::Name, ColumnWidth::Rest},
                        {"minimalpurchase", "minimalpurchase", tr("Мин. заказ"), ColumnKind::Money},
                        {"email", "email", tr("Почта"), ColumnKind::Name},
                        {"timestamp", "timestamp", tr("Изменено"), ColumnKind::Time}},
            .order = "name",
            .fields = fields,
            .formOrder = {"name"},
            .bound = true,
            .uses = {{.table = "warehouse",
                      .column = "supplierid",
                      .told = tr("Наименований, которые останутся без поставщика: %1.")},
                     {.table = "articles",
                      .column = "supplierid",
                      .told = tr("Артикулов, которые останутся без поставщика: %1.")}},
            .searched = {"name", "email", "tags"},
            .listTitle = tr("Поставщики"),
            .listName = "SuppliersDialog",
            .viewName = "suppliersTableView",
            .viewToolTip = tr("Двойной щелчок открывает поставщика."),
            .addTitle = tr("Новый поставщик"),
            .editTitle = tr("Редактирование поставщика"),
            .dialogName = "SupplierDialog",
            .deleteQuestion = tr("Вы действительно хотите удалить выделенных поставщиков?")};
}

std::unique_ptr<DictionaryDialog> SuppliersDialog::makeDialog(qulonglong id)
{
    return std::make_unique<SupplierDialog>(id, this);
}

SupplierDialog::SupplierDialog(qulonglong id, QWidget *parent)
    : DictionaryDialog(SuppliersDialog::dictionary(), id, parent)
{
}
