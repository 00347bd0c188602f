#include "catalogue/productstore.h"

#include "catalogue/pricerules.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QSqlField>
#include <QSqlRecord>
#include <QStringList>

#include <algorithm>
#include <variant>

namespace {

using Member = std::variant<QString Product::*, int Product::*, qlonglong Product::*,
                            qulonglong Product::*, double Product::*>;

/// How a column is written.
enum class Written {
    Never,
    Quoted,
    Bare,    ///< a number without quotes in the UPDATE
    Nothing, ///< a stock figure: the INSERT makes it 0
    Created, ///< the time of the INSERT
    Changed, ///< the time of the UPDATE
};

/// A column of `warehouse`, or of a table joined to it, and where its value is kept.
struct Column
{
    const char *name;
    Member member;
    Written written = Written::Never;
};

/// In the order in which INSERT and UPDATE name them.
// clang-format off
constexpr Column storedColumns[] = {
    {"wuid",          &Product::wuid,          Written::Quoted},
    {"enabled",       &Product::enabled,       Written::Bare},
    {"type",          &Product::type,          Written::Bare},
    {"marking",       &Product::marking,       Written::Bare},
    {"section",       &Product::section,       Written::Quoted},
    {"groupid",       &Product::groupid,       Written::Quoted},
    {"brandid",       &Product::brandid,       Written::Bare},
    {"favoritid",     &Product::favoritid,     Written::Quoted},
    {"article",       &Product::article,       Written::Quoted},
    {"name",          &Product::name,          Written::Quoted},
    {"keywords",      &Product::keywords,      Written::Quoted},
    {"description",   &Product::description,   Written::Quoted},
    {"location",      &Product::location,      Written::Quoted},
    {"width",         &Product::width,         Written::Quoted},
    {"height",        &Product::height,        Written::Quoted},
    {"depth",         &Product::depth,         Written::Quoted},
    {"weight",        &Product::weight,        Written::Quoted},
    {"incost",        &Product::incost,        Written::Quoted},
    {"currency",      &Product::currency,      Written::Quoted},
    {"inoutratio",    &Product::inoutratio,    Written::Quoted},
    {"outcost",       &Product::outcost,       Written::Quoted},
    {"quantity",      &Product::quantity,      Written::Nothing},
    {"correction",    &Product::correction,    Written::Nothing},
    {"multiplicity",  &Product::multiplicity,  Written::Quoted},
    {"orderquantity", &Product::orderquantity, Written::Quoted},
    {"autoorder",     &Product::autoorder,     Written::Quoted},
    {"unitid",        &Product::unitid,        Written::Quoted},
    {"ctime",         &Product::ctime,         Written::Created},
    {"mtime",         &Product::mtime,         Written::Changed},
    {"expiretime",    &Product::expiretime},
    {"latime",        &Product::latime},
    {"id",            &Product::id},
    {"unit",          &Product::unit},
    {"decimals",      &Product::decimals},
};

/// The columns of a SELECT, which are found in the table above by their names, and its tables.
struct Selection
{
    const char *columns;
    const char *from = "warehouse";
    const char *key = "id";
};

/// In the order of ProductColumns.
constexpr Selection selections[] = {
    {"wuid, enabled, type, marking, section, groupid, brandid, favoritid, article, name, keywords, "
     "description, location, width, height, depth, weight, incost, currency, warehouse.inoutratio, "
     "outcost, unitid, orderquantity, autoorder, quantity, multiplicity"},
    {"warehouse.id,warehouse.wuid, warehouse.name, warehouse.description, width, height, depth, "
     "weight, incost, outcost, unitid"},
    {"warehouse.wuid, warehouse.enabled, warehouse.article, warehouse.name, warehouse.currency, "
     "warehouse.inoutratio, warehouse.outcost, warehouse.quantity, warehouse.expiretime, "
     "warehouse.latime, units.name AS unit, COALESCE(units.decimals,3) AS decimals",
     "warehouse LEFT JOIN units ON units.id=warehouse.unitid", "warehouse.id"},
    {"id, name, inoutratio, outcost"},
    {"name, incost, inoutratio, outcost, currency"},
    {"id, incost, currency, outcost, quantity, name, inoutratio"},
    {"id, wuid, article, name, incost, currency, outcost, quantity"},
};
// clang-format on

/// More are of no use to anybody.
constexpr int mostDecimals = 6;

const Selection &selectionOf(ProductColumns columns)
{
    return selections[static_cast<int>(columns)];
}

QString selectText(const Selection &selection)
{
    return QLatin1String("SELECT ") + QLatin1String(selection.columns) + QLatin1String(" FROM ") +
           QLatin1String(selection.from) + QLatin1String(" WHERE ") + QLatin1String(selection.key);
}

/// The columns of a result that a product has room for, each with its place there.
QList<QPair<int, Member>> membersOf(const QSqlRecord &record)
{
    QList<QPair<int, Member>> members;
    for (const Column &column : storedColumns) {
        if (const int place = record.indexOf(QLatin1String(column.name)); place >= 0)
            members += {place, column.member};
    }
    return members;
}

bool isWritten(const Column &column)
{
    return column.written == Written::Quoted || column.written == Written::Bare;
}

const Column *findColumn(const QString &name)
{
    const auto found =
        std::find_if(std::begin(storedColumns), std::end(storedColumns),
                     [&name](const Column &column) { return name == QLatin1String(column.name); });
    return found == std::end(storedColumns) ? nullptr : found;
}

void setMember(Product &product, const Member &member, const QVariant &value)
{
    if (const auto *text = std::get_if<QString Product::*>(&member))
        product.**text = value.toString();
    else if (const auto *integer = std::get_if<int Product::*>(&member))
        product.**integer = value.toInt();
    else if (const auto *other = std::get_if<qlonglong Product::*>(&member))
        product.**other = value.toLongLong();
    else if (const auto *id = std::get_if<qulonglong Product::*>(&member))
        product.**id = value.toULongLong();
    else if (const auto *real = std::get_if<double Product::*>(&member))
        product.**real = value.toDouble();
}

/// The product without the infinities that a database may hold.
Product finite(Product product)
{
    for (const Column &column : storedColumns) {
        if (const auto *real = std::get_if<double Product::*>(&column.member))
            product.**real = finiteOrZero(product.**real);
    }
    return product;
}

/// The same for the columns of the card, in the order of its SELECT.
QList<QPair<int, Member>> cardMembers()
{
    QSqlRecord record;
    const QString columns = QLatin1String(selectionOf(ProductColumns::Card).columns);
    for (const QString &name : columns.split(QLatin1String(", ")))
        record.append(QSqlField(name.section(u'.', -1)));
    return membersOf(record);
}

QVariant memberValue(const Column &column, const Product &product)
{
    return std::visit([&product](auto member) { return QVariant::fromValue(product.*member); },
                      column.member);
}

/// The value of a column as it stands in a statement. A real number that is still as it was given
/// keeps all its digits.
QString valueText(const Column &column, const Product &product, const Product &given)
{
    const QVariant value = memberValue(column, product);
    if (std::holds_alternative<QString Product::*>(column.member))
        return sql::text(value.toString());
    if (const auto *real = std::get_if<double Product::*>(&column.member))
        return u'\'' +
               (product.**real == given.**real ? sql::exact(product.**real)
                                               : sql::number(product.**real)) +
               u'\'';
    return u'\'' + value.toString() + u'\'';
}

/// Whether a column holds what writing the product would leave there.
bool holds(const Column &column, const Product &stored, const Product &product)
{
    if (const auto *real = std::get_if<double Product::*>(&column.member))
        return stored.**real == product.**real ||
               sql::number(stored.**real) == sql::number(product.**real);
    if (const auto *text = std::get_if<QString Product::*>(&column.member))
        return stored.**text == sql::storable(product.**text);
    return memberValue(column, stored) == memberValue(column, product);
}

/// Reads the products whose column holds one of the values of the lists.
bool loadFromLists(QWidget *parent, const QString &column, const QStringList &lists,
                   ProductColumns columns, QList<Product> &products, const QString &connectionName)
{
    products.clear();
    const Selection &selection = selectionOf(columns);
    const auto keep = [&products](const Product &product) {
        products += finite(product);
    };
    for (const QString &list : lists) {
        if (!readProducts(parent,
                          QLatin1String("SELECT ") + QLatin1String(selection.columns) +
                              QLatin1String(" FROM ") + QLatin1String(selection.from) + " WHERE " +
                              column + " IN (" + list + ");",
                          keep, connectionName))
            return false;
    }
    return true;
}

} // namespace

bool readProducts(QWidget *parent, const QString &sqlText,
                  const std::function<void(const Product &product)> &each,
                  const QString &connectionName)
{
    QSqlQuery query;
    if (!QueryExec(parent, sqlText, query, connectionName))
        return false;
    const QList<QPair<int, Member>> members = membersOf(query.record());
    while (query.next()) {
        Product product;
        for (const auto &[place, member] : members)
            setMember(product, member, query.value(place));
        product.decimals = std::clamp(product.decimals, 0, mostDecimals);
        each(product);
    }
    return readToEnd(parent, query, connectionName);
}

LoadState loadProduct(QWidget *parent, qulonglong id, ProductColumns columns, Product &product,
                      const QString &connectionName)
{
    LoadState state = LoadState::NotFound;
    const auto keep = [&](const Product &found) {
        product = finite(found);
        product.id = id;
        state = LoadState::Loaded;
    };
    const QString sqlText = selectText(selectionOf(columns)) + "='" + sql::id(id) + "';";
    return readProducts(parent, sqlText, keep, connectionName) ? state : LoadState::Failed;
}

bool loadProducts(QWidget *parent, const QList<qulonglong> &ids, ProductColumns columns,
                  QList<Product> &products, const QString &connectionName)
{
    return loadFromLists(parent, QLatin1String(selectionOf(columns).key), sql::idLists(ids),
                         columns, products, connectionName);
}

bool loadProductsByWuid(QWidget *parent, const QStringList &wuids, ProductColumns columns,
                        QList<Product> &products, const QString &connectionName)
{
    constexpr qsizetype mostTexts = 500; // of a statement of moderate length
    QStringList lists;
    for (qsizetype i = 0; i < wuids.size(); i += mostTexts) {
        QStringList texts;
        for (const QString &wuid : wuids.mid(i, mostTexts))
            texts += sql::text(wuid);
        lists += texts.join(u',');
    }
    return loadFromLists(parent, "wuid", lists, columns, products, connectionName);
}

LoadState lockProduct(qulonglong id, Product &product, const QString &connectionName)
{
    const Selection &selection = selectionOf(ProductColumns::Card);
    QList<SqlRow> rows;
    if (!readLockedRows("warehouse", selectText(selection) + "='" + sql::id(id) + u'\'', rows,
                        connectionName))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    static const QList<QPair<int, Member>> members = cardMembers();
    product = {};
    for (const auto &[place, member] : members)
        setMember(product, member, rows.first().at(place));
    product = finite(product);
    product.id = id;
    return LoadState::Loaded;
}

QStringList changedColumns(const Product &before, const Product &now)
{
    QStringList names;
    for (const Column &column : storedColumns) {
        if (isWritten(column) && memberValue(column, before) != memberValue(column, now))
            names += QLatin1String(column.name);
    }
    return names;
}

QStringList unwrittenColumns(const Product &product, const Product &stored)
{
    QStringList names;
    for (const Column &column : storedColumns) {
        if (isWritten(column) && !holds(column, stored, product))
            names += QLatin1String(column.name);
    }
    return names;
}

QVariant productValue(const Product &product, const QString &column)
{
    const Column *found = findColumn(column);
    return found ? memberValue(*found, product) : QVariant();
}

void setProductValue(Product &product, const QString &column, const QVariant &value)
{
    if (const Column *found = findColumn(column))
        setMember(product, found->member, value);
}

LoadState findDuplicate(const Product &product, qulonglong &otherId, const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!readLockedTable("warehouse",
                         "SELECT id FROM warehouse WHERE name=" + sql::text(product.name) +
                             " AND article=" + sql::text(product.article),
                         rows, connectionName))
        return LoadState::Failed;
    const auto other = std::find_if(rows.cbegin(), rows.cend(), [&product](const SqlRow &row) {
        return row.first().toULongLong() != product.id;
    });
    if (other == rows.cend())
        return LoadState::NotFound;
    otherId = other->first().toULongLong();
    return LoadState::Loaded;
}

std::optional<qulonglong> insertProduct(QWidget *parent, const Product &product,
                                        const Product &given, const QString &connectionName)
{
    QStringList names;
    QStringList values;
    for (const Column &column : storedColumns) {
        if (column.written == Written::Never || column.written == Written::Changed)
            continue;
        names += QLatin1String(column.name);
        if (column.written == Written::Nothing)
            values += QStringLiteral("0");
        else
            values +=
                column.written == Written::Created ? sql::now() : valueText(column, product, given);
    }
    QSqlQuery query;
    if (!QueryExec(parent,
                   "INSERT INTO warehouse(" + names.join(u',') + ") VALUES (" + values.join(u',') +
                       ");",
                   query, connectionName))
        return {};
    return query.lastInsertId().toULongLong();
}

WriteState updateProduct(QWidget *parent, const Product &product, const Product &given,
                         const QString &connectionName)
{
    QStringList assignments;
    for (const Column &column : storedColumns) {
        const QString name = QLatin1String(column.name);
        if (column.written == Written::Changed)
            assignments += name + u'=' + sql::now();
        else if (column.written == Written::Bare)
            assignments += name + u'=' + memberValue(column, product).toString();
        else if (column.written == Written::Quoted)
            assignments += name + u'=' + valueText(column, product, given);
    }
    QSqlQuery query;
    if (!QueryExec(parent,
                   "UPDATE warehouse SET " + assignments.join(QLatin1String(", ")) + " WHERE id='" +
                       sql::id(product.id) + "';",
                   query, connectionName))
        return WriteState::Failed;
    return query.numRowsAffected() > 0 ? WriteState::Written : WriteState::NotFound;
}
