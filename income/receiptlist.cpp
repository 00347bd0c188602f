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

/// One column of the list in the order of the SELECT.
struct ListColumn
{
    const char *header;
    ColumnKind kind;
    bool extendedOnly;
};

constexpr ListColumn listColumns[] = {
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Код"), ColumnKind::Number, false},
    {"", ColumnKind::Number, false}, // product id, not shown
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Артикул"), ColumnKind::Plain, false},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Наименование"), ColumnKind::Name, false},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Коэф."), ColumnKind::Ratio, true},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Фикс.коэф"), ColumnKind::Factor, true},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Прих.цена"), ColumnKind::Money, true},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Расх.цена"), ColumnKind::Money, false},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Кол-во"), ColumnKind::Quantity, false},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Ед.изм"), ColumnKind::Plain, false},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Прих.сумма"), ColumnKind::Money, true},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Расх.сумма"), ColumnKind::Money, false},
    {QT_TRANSLATE_NOOP("ReceiptListModel", "Дата добавления записи"), ColumnKind::Plain, false},
};

double sum(const SqlTableModel &model, const QString &columnName)
{
    const int column = model.columnOf(columnName);
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

QString receiptListQuery(bool extended, const Engine &engine)
{
    const QString divisor = engine.divisor(QStringLiteral("incomeinvoice.incost"));
    QString query = QStringLiteral(
        "SELECT incomeinvoice.id, incomeinvoice.wareid, warehouse.article, warehouse.name");
    if (extended) {
        query += QStringLiteral(", incomeinvoice.outcost/") + divisor +
                 QStringLiteral(" AS ratio, incomeinvoice.inoutratio, incomeinvoice.incost AS "
                                "iincost");
    }
    query += QStringLiteral(", incomeinvoice.outcost, incomeinvoice.quantity AS iquantity, "
                            "units.name");
    if (extended)
        query += QStringLiteral(", incomeinvoice.incost*incomeinvoice.quantity AS insumm");
    return query +
           QStringLiteral(
               ", incomeinvoice.outcost*incomeinvoice.quantity AS summ, incomeinvoice.timestamp "
               "FROM incomeinvoice LEFT JOIN warehouse ON warehouse.id = incomeinvoice.wareid LEFT "
               "JOIN units ON units.id = warehouse.unitid ORDER BY incomeinvoice.id;");
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
    QStringList headers;
    QList<ColumnKind> kinds;
    for (const ListColumn &column : listColumns) {
        if (extended || !column.extendedOnly) {
            headers += *column.header ? tr(column.header) : QString();
            kinds += column.kind;
        }
    }
    setColumns(headers, kinds);
    m_purchaseSum = extended ? purchaseTotal() : readPurchaseSum(connectionName);
    return true;
}

qulonglong ReceiptListModel::lineId(int row) const
{
    return value(row, 0).toULongLong();
}

qulonglong ReceiptListModel::wareId(int row) const
{
    return value(row, 1).toULongLong();
}

ShownLine ReceiptListModel::shownLine(int row) const
{
    return {.id = lineId(row),
            .wareid = wareId(row),
            .name = value(row, 3).toString(),
            .quantity = finiteOrZero(value(row, QStringLiteral("iquantity")).toDouble()),
            .unit = value(row, columnOf(QStringLiteral("iquantity")) + 1).toString()};
}

QVariant ReceiptListModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::BackgroundRole && m_faults.contains(lineId(index.row())))
        return blendColors(QGuiApplication::palette().color(QPalette::Base), QColor(220, 60, 40),
                           0.25);
    if (role == Qt::ToolTipRole) {
        const QString fault = m_faults.value(lineId(index.row()));
        if (!fault.isEmpty())
            return plainToolTip(value(index.row(), 3).toString() + u'\n' + fault);
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
