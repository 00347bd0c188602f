#include "ledger.h"

#include <QTextStream>

#include <algorithm>

namespace {

/// A trigger for one kind of event; PostgreSQL's are written apart.
QString trigger(Dialect dialect, const QString &event, const QString &row, const QString &units)
{
    const QString action = "INSERT INTO linehistory(event,lineid,wareid,units) VALUES('" + event +
                           "'," + row + ".id," + row + ".wareid," + units + ");";
    return "CREATE TRIGGER history_" + event + " AFTER " + event +
           " ON incomeinvoice FOR EACH ROW " +
           (dialect == Dialect::Sqlite ? "BEGIN " + action + " END;" : action);
}

using Numbers = QMap<qulonglong, double>;

struct Line
{
    int added = 0;
    int removed = 0;
    qulonglong product = 0;
    double units = 0;
    double removedUnits = 0;
    QList<double> deletions; ///< as the workstations were told: the units shown
};

/// What the receipts must hold of a line.
using Posted = QPair<qulonglong, double>;

/// A complaint of words and numbers.
template<typename... Parts>
QString said(const Parts &...parts)
{
    QString text;
    QTextStream stream(&text);
    ((stream << parts << ' '), ...);
    return text;
}

QList<QStringList> rowsOf(const Ledger::Client &client, const QString &statement)
{
    QList<QStringList> result;
    for (const QString &line : client(statement).split('\n', Qt::SkipEmptyParts))
        result += line.split('\t');
    return result;
}

/// Of rows of an id and a number: the numbers of each id, added up.
Numbers numbersOf(const Ledger::Client &client, const QString &statement)
{
    Numbers result;
    for (const QStringList &row : rowsOf(client, statement))
        result[row.at(0).toULongLong()] += row.at(1).toDouble();
    return result;
}

/// Every line ends once, and the units in the lines are those that the workstations have entered.
QStringList checkLines(const Ledger::Client &client, const QList<WorkstationJournal> &journals)
{
    QStringList found;
    QMap<qulonglong, Line> lines;
    Numbers units;
    for (const QStringList &row :
         rowsOf(client, "SELECT event,lineid,wareid,units FROM linehistory;")) {
        Line &line = lines[row.at(1).toULongLong()];
        line.product = row.at(2).toULongLong();
        line.added += row.at(0) == "INSERT";
        line.removed += row.at(0) == "DELETE";
        (row.at(0) == "DELETE" ? line.removedUnits : line.units) += row.at(3).toDouble();
        if (row.at(0) != "DELETE")
            units[line.product] += row.at(3).toDouble();
    }
    Numbers entered;
    for (const WorkstationJournal &journal : journals) {
        for (const auto &[line, shown] : journal.deletions)
            lines[line].deletions += shown;
        for (auto it = journal.units.cbegin(); it != journal.units.cend(); ++it)
            entered[it.key()] += it.value();
    }
    if (entered != units) {
        for (qulonglong product = 1; product <= hotProducts; ++product)
            found += said("product", product, ":", entered.value(product), "units entered,",
                          units.value(product), "in the lines");
    }

    const Numbers listed = numbersOf(client, "SELECT id,quantity FROM incomeinvoice;");
    QList<Posted> posted;
    for (auto it = lines.cbegin(); it != lines.cend(); ++it) {
        const Line &line = it.value();
        const bool inList = listed.contains(it.key());
        if (line.added != 1 || line.removed != (inList ? 0 : 1) ||
            line.units != (inList ? listed.value(it.key()) : line.removedUnits))
            found += said("line", it.key(), "added", line.added, "times, removed", line.removed,
                          "times,", line.units, "units,", line.removedUnits, "removed");
        if (!line.deletions.isEmpty() &&
            line.deletions != QList<double>(line.removed, line.removedUnits))
            found += said("line", it.key(), "was deleted", line.deletions.size(), "times, with",
                          line.deletions.first(), "units shown; removed", line.removed,
                          "times, with", line.removedUnits);
        else if (line.removed > 0 && line.deletions.isEmpty())
            posted += {line.product, line.removedUnits};
    }
    QList<Posted> received;
    for (const QStringList &row : rowsOf(client, "SELECT wareid,quantity FROM income;"))
        received += {row.at(0).toULongLong(), row.at(1).toDouble()};
    std::sort(posted.begin(), posted.end());
    std::sort(received.begin(), received.end());
    if (posted != received)
        found += said(posted.size(), "lines left the list unharmed,", received.size(),
                      "or others stand in the receipts");
    return found;
}

/// Every receipt is one that a workstation was told of, under a number of its own.
QStringList checkReceipts(const Ledger::Client &client, const QList<WorkstationJournal> &journals)
{
    QStringList found;
    Numbers told; // lines
    for (const WorkstationJournal &journal : journals) {
        for (const auto &[receipt, receiptLines] : journal.receipts) {
            if (told.contains(receipt))
                found += said("two stations have posted receipt", receipt);
            told.insert(receipt, receiptLines);
        }
    }
    const Numbers kept = numbersOf(client, "SELECT reportid,1 FROM income;");
    const Numbers sums = numbersOf(client, "SELECT reportid,quantity*incost FROM income;");
    if (kept != told)
        found += said(told.size(), "receipts told,", kept.size(), "or others kept");
    const Numbers totals = numbersOf(client, "SELECT id,total FROM incomereports;");
    if (totals != sums)
        found += said("the totals of", totals.size(), "receipts differ from their lines");
    return found;
}

QStringList checkStock(const Ledger::Client &client, Numbers stock)
{
    QStringList found;
    for (const QStringList &row : rowsOf(client, "SELECT wareid,quantity FROM income;"))
        stock[row.at(0).toULongLong()] += row.at(1).toDouble();
    for (const QStringList &row : rowsOf(client, "SELECT id,quantity FROM warehouse;")) {
        const double due = stock.value(row.at(0).toULongLong());
        if (due != row.at(1).toDouble())
            found += said("stock of product", row.join(": "), "but the receipts ask for", due);
    }
    return found;
}

} // namespace

Ledger::Ledger(Dialect dialect, Client client)
    : m_client(std::move(client))
{
    const QString key = dialect == Dialect::Sqlite  ? "INTEGER PRIMARY KEY AUTOINCREMENT"
                        : dialect == Dialect::MySql ? "INTEGER PRIMARY KEY AUTO_INCREMENT"
                                                    : "SERIAL PRIMARY KEY";
    m_client("CREATE TABLE linehistory(id " + key +
             ", event VARCHAR(10), lineid INTEGER, wareid INTEGER, units DOUBLE PRECISION);");
    if (dialect == Dialect::PostgreSql) {
        m_client("CREATE FUNCTION history() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                 "INSERT INTO linehistory(event,lineid,wareid,units) VALUES(TG_OP,"
                 "CASE WHEN TG_OP='INSERT' THEN NEW.id ELSE OLD.id END,"
                 "CASE WHEN TG_OP='INSERT' THEN NEW.wareid ELSE OLD.wareid END,"
                 "CASE TG_OP WHEN 'INSERT' THEN NEW.quantity WHEN 'DELETE' THEN OLD.quantity "
                 "ELSE NEW.quantity-OLD.quantity END); RETURN NULL; END $$;"
                 "CREATE TRIGGER history AFTER INSERT OR UPDATE OR DELETE ON incomeinvoice "
                 "FOR EACH ROW EXECUTE FUNCTION history();");
    } else {
        m_client(trigger(dialect, "INSERT", "NEW", "NEW.quantity"));
        m_client(trigger(dialect, "UPDATE", "NEW", "NEW.quantity-OLD.quantity"));
        m_client(trigger(dialect, "DELETE", "OLD", "OLD.quantity"));
    }
    m_stockBefore = numbersOf(m_client, "SELECT id,quantity FROM warehouse ORDER BY id;");
}

QStringList Ledger::complaints(const QList<WorkstationJournal> &journals) const
{
    return checkLines(m_client, journals) + checkReceipts(m_client, journals) +
           checkStock(m_client, m_stockBefore);
}
