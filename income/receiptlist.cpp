#include "income/receiptlist.h"

#include "catalogue/pricerules.h"
#include "db/engine.h"
#include "db/query.h"
#include "income/receiptsums.h"
#include "widgets/colors.h"
#include "widgets/plaintext.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

namespace {

double sum(const SqlTableModel &model, const QString &key)
{
    const int column = model.columnOf(key);
    AmountSum total;
    for (int row = 0; row < model.rowCount(); ++row)
        total.add(model.value(row, column).toDouble());
    return total.value();
}

/// Added up here: PostgreSQL would add the 7 digits of its REAL up with their dust.
std::optional<double> readPurchaseSum(const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, QStringLiteral("SELECT incost, quantity FROM incomeinvoice;"), rows,
                   connectionName))
        return std::nullopt;
    AmountSum total;
    for (const SqlRow &row : std::as_const(rows))
        total.add(row.at(0).toDouble(), row.at(1).toDouble());
    return total.value();
}

} // namespace

QList<TableColumn> receiptColumns(bool extended, const Engine &engine)
{
    using List = ReceiptListModel;
    const QString divisor = engine.divisor(QStringLiteral("incomeinvoice.incost"));
    QList<TableColumn> columns = {
        {"id", "incomeinvoice.id", List::tr("Код"), ColumnKind::Id},
        {"wareid", "incomeinvoice.wareid", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"article", "warehouse.article", List::tr("Артикул")},
        {"name", "warehouse.name", List::tr("Наименование"), ColumnKind::Name, ColumnWidth::Rest},
    };
    if (extended) {
        columns += {
            {"ratio", "incomeinvoice.outcost/" + divisor + " AS ratio", List::tr("Коэф."),
             ColumnKind::Ratio},
            {"inoutratio", "incomeinvoice.inoutratio", List::tr("Фикс.коэф"), ColumnKind::Factor},
            {"iincost", "incomeinvoice.incost AS iincost", List::tr("Прих.цена"),
             ColumnKind::Money},
        };
    }
    columns += {
        {"outcost", "incomeinvoice.outcost", List::tr("Расх.цена"), ColumnKind::Money},
        {"iquantity", "incomeinvoice.quantity AS iquantity", List::tr("Кол-во"),
         ColumnKind::Quantity},
        {"unit", "units.name", List::tr("Ед.изм")},
    };
    if (extended)
        columns += {"insumm", "incomeinvoice.incost*incomeinvoice.quantity AS insumm",
                    List::tr("Прих.сумма"), ColumnKind::Money};
    columns += {
        {"summ", "incomeinvoice.outcost*incomeinvoice.quantity AS summ", List::tr("Расх.сумма"),
         ColumnKind::Money},
        {"timestamp", "incomeinvoice.timestamp", List::tr("Дата добавления записи"),
         ColumnKind::Time, ColumnWidth::Lesser},
    };
    return columns;
}

QString receiptListQuery(bool extended, const Engine &engine)
{
    return selectList(receiptColumns(extended, engine)) +
           QStringLiteral(
               " FROM incomeinvoice LEFT JOIN warehouse ON warehouse.id = incomeinvoice.wareid "
               "LEFT JOIN units ON units.id = warehouse.unitid ORDER BY incomeinvoice.id;");
}

QString receiptListSignatureQuery()
{
    return QStringLiteral("SELECT COUNT(id), MAX(id), MAX(timestamp), SUM(quantity), SUM(outcost), "
                          "SUM(incost) FROM incomeinvoice;");
}

ReceiptListModel::ReceiptListModel(QObject *parent)
    : SqlTableModel(parent)
{
}

bool ReceiptListModel::refresh(QWidget *parent, bool extended, const QString &connectionName)
{
    // The purchase price is not among the columns of the short list.
    QList<SqlRow> rows;
    if (QueryRows(nullptr,
                  "SELECT id, COALESCE(quantity,0), COALESCE(outcost,0) FROM incomeinvoice WHERE "
                  "COALESCE(quantity,0)=0 OR " +
                      doubtfulPriceCondition() + ";",
                  rows, connectionName)) {
        m_faults.clear();
        for (const SqlRow &row : std::as_const(rows)) {
            const bool empty = row.at(1).toDouble() == 0;
            m_faults.insert(row.at(0).toULongLong(),
                            empty ? tr("Количество 0: приход с такой строкой не проводится.")
                            : row.at(2).toDouble() <= 0 ? tr("Расходная цена 0.")
                                                        : tr("Расходная цена ниже приходной."));
        }
    }
    if (!select(parent, receiptListQuery(extended, Engine::of(connectionName)), connectionName))
        return false;
    setColumns(receiptColumns(extended, Engine::of(connectionName)));
    m_purchaseSum = extended ? purchaseTotal() : readPurchaseSum(connectionName);
    return true;
}

qulonglong ReceiptListModel::lineId(int row) const
{
    return idOf(row);
}

qulonglong ReceiptListModel::wareId(int row) const
{
    return value(row, QStringLiteral("wareid")).toULongLong();
}

ShownLine ReceiptListModel::shownLine(int row) const
{
    return {.id = lineId(row),
            .wareid = wareId(row),
            .name = value(row, QStringLiteral("name")).toString(),
            .quantity = finiteOrZero(value(row, QStringLiteral("iquantity")).toDouble()),
            .unit = value(row, QStringLiteral("unit")).toString()};
}

QVariant ReceiptListModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::BackgroundRole && m_faults.contains(lineId(index.row())))
        return blendColors(QGuiApplication::palette().color(QPalette::Base), QColor(220, 60, 40),
                           0.25);
    if (role == Qt::ToolTipRole) {
        const QString fault = m_faults.value(lineId(index.row()));
        if (!fault.isEmpty())
            return plainToolTip(value(index.row(), QStringLiteral("name")).toString() + u'\n' +
                                fault);
    }
    return SqlTableModel::data(index, role);
}

double ReceiptListModel::purchaseTotal() const
{
    const int incost = columnOf(QStringLiteral("iincost"));
    const int quantity = columnOf(QStringLiteral("iquantity"));
    AmountSum total;
    for (int row = 0; incost >= 0 && row < rowCount(); ++row)
        total.add(value(row, incost).toDouble(), value(row, quantity).toDouble());
    return total.value();
}

std::optional<double> ReceiptListModel::purchaseSum() const
{
    return m_purchaseSum;
}

double ReceiptListModel::sellingTotal() const
{
    return sum(*this, QStringLiteral("summ"));
}

double ReceiptListModel::unitCount() const
{
    return sum(*this, QStringLiteral("iquantity"));
}
