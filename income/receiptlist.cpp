#include "income/receiptlist.h"

#include "db/query.h"
#include "income/pricerules.h"

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
    double total = 0;
    for (int row = 0; row < model.rowCount(); ++row)
        total += model.value(row, column).toDouble();
    return total;
}

} // namespace

QString receiptListQuery(bool extended, Dialect dialect)
{
    // PostgreSQL refuses the whole SELECT for one line with a purchase price of 0, the others
    // answer NULL for it.
    const QString divisor = dialect == Dialect::PostgreSql
                                ? QStringLiteral("NULLIF(incomeinvoice.incost,0)")
                                : QStringLiteral("incomeinvoice.incost");
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
    if (!select(parent, receiptListQuery(extended, dialectOf(connectionName)), connectionName))
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
            .quantity = finiteOrZero(value(row, QStringLiteral("iquantity")).toDouble())};
}

double ReceiptListModel::purchaseTotal() const
{
    const int incost = columnOf(QStringLiteral("iincost"));
    const int quantity = columnOf(QStringLiteral("iquantity"));
    double total = 0;
    for (int row = 0; incost >= 0 && row < rowCount(); ++row)
        total += value(row, incost).toDouble() * value(row, quantity).toDouble();
    return total;
}

double ReceiptListModel::sellingTotal() const
{
    return sum(*this, QStringLiteral("summ"));
}

double ReceiptListModel::unitCount() const
{
    return sum(*this, QStringLiteral("iquantity"));
}
