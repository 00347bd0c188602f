#include "catalogue/waresublists.h"

#include "app/messages.h"
#include "catalogue/articledialog.h"
#include "catalogue/codedialog.h"
#include "catalogue/codesearch.h"
#include "catalogue/dictionaries.h"
#include "catalogue/propertiesdialog.h"
#include "catalogue/translationdialog.h"
#include "catalogue/warepropertydialog.h"
#include "catalogue/waresublist.h"
#include "db/money.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "widgets/sqltablemodel.h"

#include <QCoreApplication>

namespace {

struct WareSubLists
{
    Q_DECLARE_TR_FUNCTIONS(WareSubLists)
};

template<typename Dialog, typename... Arguments>
qulonglong writtenBy(Arguments... arguments)
{
    Dialog dialog(arguments...);
    return dialog.exec() == QDialog::Accepted ? dialog.id() : 0;
}

TableColumn idOf(const QString &table)
{
    return {"id", table + ".id", {}, ColumnKind::Id, ColumnWidth::Hidden};
}

WareSubListKind codes()
{
    return {.name = "codes",
            .title = WareSubLists::tr("Штрих-коды"),
            .table = "codes",
            .columns = {idOf("codes"),
                        {"code", "codes.code", WareSubLists::tr("Штрих-код")},
                        {"packquantity", "codes.packquantity", WareSubLists::tr("В упаковке"),
                         ColumnKind::Quantity, ColumnWidth::Whole},
                        {"madein", "codes.madein", WareSubLists::tr("Страна"), ColumnKind::Name,
                         ColumnWidth::Rest},
                        {"timestamp", "codes.timestamp", WareSubLists::tr("Добавлен"),
                         ColumnKind::Time, ColumnWidth::Lesser}},
            .from = "codes",
            .order = "codes.id",
            .ofUser = true,
            .deleteQuestion =
                WareSubLists::tr("Вы действительно хотите удалить выделенные штрих-коды?"),
            .deletedWith =
                [](const SqlTableModel &model, int row) {
                    return QStringList{"DELETE FROM labels WHERE code=" +
                                       sql::text(model.value(row, "code").toString()) + u';'};
                },
            .edit =
                [](QWidget *parent, qulonglong id, qulonglong wareid) {
                    return writtenBy<CodeDialog>(id, wareid, parent);
                }};
}

WareSubListKind articles()
{
    return {
        .name = "articles",
        .title = WareSubLists::tr("Артикулы"),
        .table = "articles",
        .columns = {idOf("articles"),
                    {"name", "articles.name", WareSubLists::tr("Артикул")},
                    {"supplier", "suppliers.name AS supplier", WareSubLists::tr("Поставщик"),
                     ColumnKind::Name, ColumnWidth::Rest},
                    {"ordered",
                     "CASE articles.orderenabled WHEN 0 THEN " +
                         sql::text(WareSubLists::tr("нет")) + " ELSE " +
                         sql::text(WareSubLists::tr("да")) + " END AS ordered",
                     WareSubLists::tr("Заказывать")},
                    {"step", "articles.step", WareSubLists::tr("Шаг заказа"), ColumnKind::Quantity},
                    {"incost", "articles.incost", WareSubLists::tr("Цена"), ColumnKind::Money,
                     ColumnWidth::Whole},
                    {"itime", "articles.itime", WareSubLists::tr("Дата цены"), ColumnKind::Time,
                     ColumnWidth::Lesser}},
        .from = "articles LEFT JOIN suppliers ON suppliers.id=articles.supplierid",
        .order = "articles.name, articles.id",
        .deleteQuestion = WareSubLists::tr("Вы действительно хотите удалить выделенные артикулы?"),
        .edit = [](QWidget *parent, qulonglong id, qulonglong wareid) {
            return writtenBy<ArticleDialog>(id, wareid, parent);
        }};
}

/// Puts the value of each property into one column, whichever it stands in.
void showValues(QList<SqlRow> &rows)
{
    constexpr int shown = 2;
    constexpr int number = 3;
    constexpr int type = 4;
    for (SqlRow &row : rows) {
        switch (PropertyType(row.at(type).toInt())) {
        case PropertyType::List:
            break;
        case PropertyType::Flag:
            row[shown] =
                row.at(number).toDouble() > 0 ? WareSubLists::tr("да") : WareSubLists::tr("нет");
            break;
        case PropertyType::Number:
            row[shown] =
                row.at(number).isNull() ? QString() : formatFactor(row.at(number).toDouble());
            break;
        }
    }
}

WareSubListKind properties()
{
    return {.name = "properties",
            .title = WareSubLists::tr("Свойства"),
            .table = "wareproperties",
            .columns = {idOf("wareproperties"),
                        {"name", "properties.name", WareSubLists::tr("Свойство")},
                        {"value", "properties_enums.value AS item", WareSubLists::tr("Значение"),
                         ColumnKind::Name, ColumnWidth::Rest},
                        {"number",
                         "wareproperties.value AS number",
                         {},
                         ColumnKind::Factor,
                         ColumnWidth::Hidden},
                        {"type", "properties.type", {}, ColumnKind::Id, ColumnWidth::Hidden}},
            .from = "wareproperties LEFT JOIN properties ON "
                    "properties.id=wareproperties.propertyid LEFT JOIN properties_enums ON "
                    "properties_enums.id=wareproperties.enumid",
            .order = "properties.name, wareproperties.id",
            .arrange = showValues,
            .deleteQuestion =
                WareSubLists::tr("Вы действительно хотите удалить выделенные свойства?"),
            .edit = [](QWidget *parent, qulonglong id, qulonglong wareid) {
                return writtenBy<WarePropertyDialog>(id, wareid, parent);
            }};
}

WareSubListKind translations(const std::function<Product()> &entered)
{
    return {.name = "translations",
            .title = WareSubLists::tr("Переводы"),
            .table = "waretranslates",
            .columns = {idOf("waretranslates"),
                        {"locale", "locales.description AS locale", WareSubLists::tr("Язык")},
                        {"name", "waretranslates.name", WareSubLists::tr("Наименование"),
                         ColumnKind::Name, ColumnWidth::Rest}},
            .from = "waretranslates LEFT JOIN locales ON locales.name=waretranslates.locale",
            .order = "waretranslates.id",
            .deleteQuestion =
                WareSubLists::tr("Вы действительно хотите удалить выделенные переводы?"),
            .edit = [entered](QWidget *parent, qulonglong id, qulonglong wareid) {
                const Product product = entered();
                return writtenBy<TranslationDialog>(id, wareid, parent, product.name,
                                                    product.description);
            }};
}

/// Puts the product into a collection, or instead of the former one.
qulonglong editCollection(QWidget *parent, qulonglong id, qulonglong wareid)
{
    const QString former =
        "SELECT collectionid FROM collectionproducts WHERE id=" + sql::quotedId(id) + u';';
    const qulonglong current = id == 0 ? 0 : QueryValue(parent, former).toULongLong();
    const qulonglong collection = openDictionary(DictionaryName::Collections, parent, current);
    if (collection == 0 || collection == current)
        return id;
    const QString user = sql::quotedId(Session::instance().user().id);
    QList<SqlRow> rows;
    if (!mayDo(parent, Command::EditProducts) ||
        !QueryRows(parent,
                   "SELECT id FROM collectionproducts WHERE wareid=" + sql::quotedId(wareid) +
                       " AND collectionid=" + sql::quotedId(collection) +
                       (wareid == 0 ? " AND userid=" + user : QString()) + u';',
                   rows))
        return 0;
    if (!rows.isEmpty())
        return rows.first().first().toULongLong();
    if (id != 0) {
        const bool written = QueryExec(
            parent, "UPDATE collectionproducts SET collectionid=" + sql::quotedId(collection) +
                        " WHERE id=" + sql::quotedId(id) + u';');
        return written ? id : 0;
    }
    QSqlQuery query;
    if (!QueryExec(parent,
                   "INSERT INTO collectionproducts(collectionid,wareid,userid,ctime) VALUES(" +
                       sql::quotedId(collection) + u',' + sql::quotedId(wareid) + u',' + user +
                       u',' + sql::now() + ");",
                   query))
        return 0;
    return query.lastInsertId().toULongLong();
}

WareSubListKind collections()
{
    return {.name = "collections",
            .title = WareSubLists::tr("Коллекции"),
            .table = "collectionproducts",
            .columns = {idOf("collectionproducts"),
                        {"name", "collections.name", WareSubLists::tr("Коллекция"),
                         ColumnKind::Name, ColumnWidth::Rest}},
            .from = "collectionproducts LEFT JOIN collections ON "
                    "collections.id=collectionproducts.collectionid",
            .order = "collections.name, collectionproducts.id",
            .ofUser = true,
            .deleteQuestion = WareSubLists::tr(
                "Вы действительно хотите убрать наименование из выделенных коллекций?"),
            .edit = editCollection};
}

} // namespace

QList<WareSubList *> makeWareSubLists(qulonglong wareid, QWidget *parent,
                                      const std::function<Product()> &entered)
{
    return {new WareSubList(codes(), wareid, parent), new WareSubList(articles(), wareid, parent),
            new WareSubList(properties(), wareid, parent),
            new WareSubList(translations(entered), wareid, parent),
            new WareSubList(collections(), wareid, parent)};
}

qulonglong addScannedCode(QWidget *parent, qulonglong wareid, const QString &code)
{
    const QString user = sql::quotedId(Session::instance().user().id);
    const QString plain = plainCode(cleanCode(code));
    QList<SqlRow> rows;
    if (plain.isEmpty() ||
        !QueryRows(parent,
                   "SELECT id, wareid, userid FROM codes WHERE code=" + sql::text(plain) + u';',
                   rows))
        return 0;
    for (const SqlRow &row : std::as_const(rows)) {
        if (row.at(1).toULongLong() == wareid &&
            (wareid != 0 || sql::quotedId(row.at(2).toULongLong()) == user))
            return row.at(0).toULongLong();
    }
    if (!rows.isEmpty() && rows.first().at(1).toULongLong() != 0) {
        showWarning(parent, WareSubLists::tr("Штрих-код %1 уже присвоен наименованию %2.")
                                .arg(plain, rows.first().at(1).toString()));
        return 0;
    }
    CodeDialog dialog(0, wareid, parent);
    dialog.takeScan(plain);
    return dialog.exec() == QDialog::Accepted ? dialog.id() : 0;
}
