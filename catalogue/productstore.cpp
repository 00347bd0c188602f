#include "catalogue/productstore.h"

#include "catalogue/pricerules.h"
#include "db/query.h"
#include "db/sqltext.h"

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
    {"id, incost, currency, outcost, quantity"},
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

/// The value of a column as it stands in a statement; loaded: where the value came from, if it did.
QString valueText(const Column &column, const Product &product, const Product *loaded)
{
    if (const auto *text = std::get_if<QString Product::*>(&column.member))
        return sql::text(product.**text);
    QString number;
    if (const auto *integer = std::get_if<int Product::*>(&column.member))
        number = sql::integer(product.**integer);
    else if (const auto *other = std::get_if<qlonglong Product::*>(&column.member))
        number = sql::integer(product.**other);
    else if (const auto *id = std::get_if<qulonglong Product::*>(&column.member))
        number = sql::id(product.**id);
    else if (const auto *real = std::get_if<double Product::*>(&column.member))
        number = loaded && product.**real == loaded->**real ? sql::exact(product.**real)
                                                            : sql::number(product.**real);
    return loaded && column.written == Written::Bare ? number : u'\'' + number + u'\'';
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
    products.clear();
    const auto keep = [&products](const Product &product) {
        products += finite(product);
    };
    for (const QString &list : sql::idLists(ids)) {
        if (!readProducts(parent, selectText(selectionOf(columns)) + " IN (" + list + ");", keep,
                          connectionName))
            return false;
    }
    return true;
}

LoadState findDuplicate(QWidget *parent, const Product &product, qulonglong &otherId,
                        const QString &connectionName)
{
    LoadState state = LoadState::NotFound;
    const auto look = [&](const Product &alike) {
        if (alike.id == product.id)
            return;
        otherId = alike.id;
        state = LoadState::Loaded;
    };
    const QString sqlText = "SELECT id FROM warehouse WHERE name=" + sql::text(product.name) +
                            " AND article=" + sql::text(product.article) + ";";
    return readProducts(parent, sqlText, look, connectionName) ? state : LoadState::Failed;
}

std::optional<qulonglong> insertProduct(QWidget *parent, const Product &product,
                                        const QString &connectionName)
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
            values += column.written == Written::Created ? sql::now()
                                                         : valueText(column, product, nullptr);
    }
    QSqlQuery query;
    if (!QueryExec(parent,
                   "INSERT INTO warehouse(" + names.join(u',') + ") VALUES (" + values.join(u',') +
                       ");",
                   query, connectionName))
        return {};
    return query.lastInsertId().toULongLong();
}

WriteState updateProduct(QWidget *parent, const Product &product, const Product &loaded,
                         const QString &connectionName)
{
    QStringList assignments;
    for (const Column &column : storedColumns) {
        const QString name = QLatin1String(column.name);
        if (column.written == Written::Changed)
            assignments += name + u'=' + sql::now();
        else if (column.written == Written::Quoted || column.written == Written::Bare)
            assignments += name + u'=' + valueText(column, product, &loaded);
    }
    QSqlQuery query;
    if (!QueryExec(parent,
                   "UPDATE warehouse SET " + assignments.join(QLatin1String(", ")) + " WHERE id='" +
                       sql::id(product.id) + "';",
                   query, connectionName))
        return WriteState::Failed;
    return query.numRowsAffected() > 0 ? WriteState::Written : WriteState::NotFound;
}
