#include "catalogue/articledialog.h"

#include "app/messages.h"
#include "catalogue/articlestore.h"
#include "catalogue/dictionaries.h"
#include "db/sqltext.h"

#include <QKeyEvent>
#include <QLineEdit>

namespace {

constexpr double mostUnits = 999999;

DictionaryField factor(const QString &column, const QString &label, const QString &toolTip,
                       double least, double initial)
{
    return {.column = column,
            .kind = FieldKind::Number,
            .widget = column + "DoubleSpinBox",
            .label = label,
            .toolTip = toolTip,
            .required = ArticleDialog::tr("Пожалуйста, введите число от %1 до %2.")
                            .arg(sql::exact(least), sql::exact(mostUnits)),
            .decimals = 3,
            .least = least,
            .most = mostUnits,
            .initial = initial};
}

QString productName(QWidget *parent, qulonglong wareid)
{
    return QueryValue(parent, "SELECT name FROM warehouse WHERE warehouse.id=" +
                                  sql::quotedId(wareid) + u';')
        .toString();
}

} // namespace

Dictionary ArticleDialog::dictionary()
{
    return {
        .table = "articles",
        .command = Command::EditProducts,
        .fields = {{.column = "orderenabled",
                    .kind = FieldKind::Flag,
                    .widget = "orderenabledCheckBox",
                    .label = tr("&Заказывать:"),
                    .toolTip = tr("Это наименование заказывают у этого поставщика."),
                    .initial = 1},
                   {.column = "wareid", .kind = FieldKind::Fixed, .rewritten = true},
                   {.column = "supplierid",
                    .kind = FieldKind::Choice,
                    .widget = "suppliersComboBox",
                    .label = tr("&Поставщик:"),
                    .firstChoices = {{0, tr("не указан")}},
                    .choices = "SELECT id, name FROM suppliers ORDER BY name;",
                    .openName = "editsuppliersPushButton",
                    .openToolTip = tr("Поставщики"),
                    .open = dictionaryOpener(DictionaryName::Suppliers)},
                   factor("ratio", tr("&Коэффициент:"),
                          tr("Сколько единиц наименования в одной единице поставщика."), 0.001, 1),
                   factor("step", tr("&Шаг заказа:"),
                          tr("Заказываемое количество кратно этому числу, 0: любое."), 0, 0),
                   {.column = "name",
                    .widget = "articleLineEdit",
                    .label = tr("&Артикул:"),
                    .required = tr("Пожалуйста, введите артикул.")},
                   {.column = "timestamp", .kind = FieldKind::Time}},
        .formOrder = {"name", "supplierid", "ratio", "step"},
        .readFirst = {"wareid", "supplierid", "ratio", "autoorder", "step", "name", "product",
                      "orderenabled"},
        .entrySelect = "SELECT articles.wareid, articles.supplierid, articles.ratio, "
                       "warehouse.autoorder, articles.step, articles.name, warehouse.name, "
                       "articles.orderenabled FROM articles LEFT JOIN warehouse ON "
                       "warehouse.id=articles.wareid WHERE articles.id=",
        .addTitle = tr("Новый артикул"),
        .editTitle = tr("Редактирование артикула"),
        .dialogName = "ArticleDialog",
        .acceptName = "okButton",
        .cancelName = "cancelButton",
        .unreadable = tr("Ошибка получения свойств артикула.")};
}

ArticleDialog::ArticleDialog(qulonglong id, qulonglong wareid, QWidget *parent)
    : DictionaryDialog(dictionary(), id, parent, {{"wareid", wareid}})
{
    if (id != 0)
        showHeading(seen().value("product").toString());
    else if (wareid != 0)
        showHeading(productName(this, wareid));
}

void ArticleDialog::takeScan(const QString &code)
{
    setFieldValue("name", code);
    fieldWidget("name")->setFocus();
}

/// A scanner that types slowly ends its code with Return: that must not save.
void ArticleDialog::keyPressEvent(QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && fieldWidget("name")->hasFocus())
        focusNextChild();
    else
        DictionaryDialog::keyPressEvent(event);
}

bool ArticleDialog::mayBeSaved()
{
    const Article article{.id = id(),
                          .wareid = seen().value("wareid").toULongLong(),
                          .supplierid = fieldValue("supplierid").toULongLong(),
                          .name = fieldValue("name").toString()};
    qulonglong holder = 0;
    switch (findArticle(this, article, holder)) {
    case LoadState::NotFound:
        return true;
    case LoadState::Loaded:
        showWarning(
            this, tr("Артикул %1 уже присвоен наименованию %2.")
                      .arg(article.name, holder == 0 ? tr("«новое»") : productName(this, holder)));
        fieldWidget("name")->setFocus();
        break;
    case LoadState::Failed:
        break;
    }
    return false;
}
