#include "catalogue/stocklist.h"

#include "db/engine.h"
#include "db/money.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>
#include <QSet>

#include <algorithm>

namespace {

constexpr qulonglong idsAtOnce = 50'000;
constexpr qulonglong mostStretches = 1000;

struct StockList
{
    Q_DECLARE_TR_FUNCTIONS(StockList)
};

QString decimal(const char *column)
{
    return Engine::of(mainConnection).decimal(QLatin1String(column));
}

/// The purchase price in the main currency, as the session converts it.
QString purchasePrice()
{
    QString factor;
    const QList<Currency> currencies = Session::instance().currencies();
    for (const Currency &currency : currencies)
        factor += " WHEN " + sql::text(currency.code) + " THEN " + sql::exact(currency.value);
    const QString price = decimal("warehouse.incost");
    return factor.isEmpty() ? price : price + "*CASE warehouse.currency" + factor + " ELSE 1 END";
}

QString purchaseSum()
{
    return purchasePrice() + '*' + decimal("warehouse.quantity");
}

QString sellingSum()
{
    return decimal("warehouse.outcost") + '*' + decimal("warehouse.quantity");
}

} // namespace

QList<TableColumn> stockColumns()
{
    using List = StockList;
    return {
        {"id", "warehouse.id", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"enabled", "warehouse.enabled", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"article", "warehouse.article", List::tr("Арт.")},
        {"name", "warehouse.name", List::tr("Наименование"), ColumnKind::Name, ColumnWidth::Rest},
        {"quantity", "warehouse.quantity", List::tr("Остаток"), ColumnKind::Quantity,
         ColumnWidth::Whole},
        {"unit", "units.name AS unitname", List::tr("Ед.")},
        {"incost", purchasePrice() + " AS maincost", List::tr("Прих.цена"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"outcost", "warehouse.outcost", List::tr("Расх.цена"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"insumm", purchaseSum() + " AS insumm", List::tr("Прих.сумма"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"summ", sellingSum() + " AS summ", List::tr("Расх.сумма"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"group", "`groups`.`name` AS groupname", List::tr("Группа"), ColumnKind::Name,
         ColumnWidth::Lesser},
        {"brand", "brands.name AS brandname", List::tr("Производитель"), ColumnKind::Name,
         ColumnWidth::Lesser},
    };
}

std::optional<PagedSelect> stockPages(QWidget *parent, const ProductFilter &filter)
{
    return productPages(parent, filter, stockColumns(),
                        QStringLiteral(" LEFT JOIN brands ON brands.id=warehouse.brandid"));
}

StockSum::StockSum(const PagedSelect &list)
    : m_from(" FROM warehouse LEFT JOIN `groups` ON `groups`.`id`=`warehouse`.`groupid` WHERE" +
             QStringList(list.conditions + QStringList{QString()}).join(QStringLiteral(" AND"))),
      m_sums("COUNT(*), SUM(" + purchaseSum() + "), SUM(" + sellingSum() + ")")
{
}

bool StockSum::addNext()
{
    QList<SqlRow> rows;
    if (!m_begun) {
        if (!QueryRows(nullptr, QStringLiteral("SELECT MAX(id) FROM warehouse;"), rows))
            return false;
        m_highest = rows.value(0).value(0).toULongLong();
        m_begun = true;
    }
    const qulonglong end = m_done + std::max(idsAtOnce, m_highest / mostStretches);
    if (!QueryRows(nullptr,
                   "SELECT " + m_sums + m_from + " warehouse.id>" + sql::id(m_done) +
                       " AND warehouse.id<=" + sql::id(end) + ";",
                   rows))
        return false;
    m_done = end;
    const SqlRow row = rows.value(0);
    m_totals.products += row.value(0).toLongLong();
    m_totals.purchase += row.value(1).toDouble();
    m_totals.selling += row.value(2).toDouble();
    return true;
}

bool StockSum::isDone() const
{
    return m_begun && m_done >= m_highest;
}

const StockTotals &StockSum::totals() const
{
    return m_totals;
}
