#include "ledger.h"

#include <QSet>
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

struct Line
{
    int added = 0;
    int removed = 0;
    qulonglong product = 0;
    double units = 0;
    double removedUnits = 0;
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

} // namespace

Ledger::Ledger(Dialect dialect, Client client)
    : m_dialect(dialect),
      m_client(std::move(client))
{
}

void Ledger::open()
{
    const QString key = m_dialect == Dialect::Sqlite  ? "INTEGER PRIMARY KEY AUTOINCREMENT"
                        : m_dialect == Dialect::MySql ? "INTEGER PRIMARY KEY AUTO_INCREMENT"
                                                      : "SERIAL PRIMARY KEY";
    m_client("CREATE TABLE linehistory(id " + key +
             ", event VARCHAR(10), lineid INTEGER, wareid INTEGER, units DOUBLE PRECISION);");
    if (m_dialect == Dialect::PostgreSql) {
        m_client("CREATE FUNCTION history() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                 "INSERT INTO linehistory(event,lineid,wareid,units) VALUES(TG_OP,"
                 "CASE WHEN TG_OP='INSERT' THEN NEW.id ELSE OLD.id END,"
                 "CASE WHEN TG_OP='INSERT' THEN NEW.wareid ELSE OLD.wareid END,"
                 "CASE TG_OP WHEN 'INSERT' THEN NEW.quantity WHEN 'DELETE' THEN OLD.quantity "
                 "ELSE NEW.quantity-OLD.quantity END); RETURN NULL; END $$;"
                 "CREATE TRIGGER history AFTER INSERT OR UPDATE OR DELETE ON incomeinvoice "
                 "FOR EACH ROW EXECUTE FUNCTION history();");
    } else {
        m_client(trigger(m_dialect, "INSERT", "NEW", "NEW.quantity"));
        m_client(trigger(m_dialect, "UPDATE", "NEW", "NEW.quantity-OLD.quantity"));
        m_client(trigger(m_dialect, "DELETE", "OLD", "OLD.quantity"));
    }
    m_stockBefore = numbers("SELECT id,quantity FROM warehouse ORDER BY id;");
}

QList<QStringList> Ledger::rows(const QString &statement) const
{
    QList<QStringList> result;
    const QStringList lines = m_client(statement).split('\n', Qt::SkipEmptyParts);
    for (const QString &line : lines)
        result += line.split('\t');
    return result;
}

/// The numbers of each id, added up.
Ledger::Numbers Ledger::numbers(const QString &statement) const
{
    Numbers result;
    for (const QStringList &row : rows(statement))
        result[row.at(0).toULongLong()] += row.at(1).toDouble();
    return result;
}

QStringList Ledger::complaints(const QList<WorkstationJournal> &journals) const
{
    return checkLines(journals) + checkReceipts(journals) + checkStock();
}

/// Every line ends once, and the units in the lines are those that the workstations have entered.
QStringList Ledger::checkLines(const QList<WorkstationJournal> &journals) const
{
    QStringList found;
    QMap<qulonglong, Line> lines;
    Numbers units;
    for (const QStringList &row : rows("SELECT event,lineid,wareid,units FROM linehistory;")) {
        Line &line = lines[row.at(1).toULongLong()];
        line.product = row.at(2).toULongLong();
        line.added += row.at(0) == "INSERT";
        line.removed += row.at(0) == "DELETE";
        (row.at(0) == "DELETE" ? line.removedUnits : line.units) += row.at(3).toDouble();
        if (row.at(0) != "DELETE")
            units[line.product] += row.at(3).toDouble();
    }
    Numbers entered;
    QSet<qulonglong> deleted;
    for (const WorkstationJournal &journal : journals) {
        for (const WorkstationJournal::Deletion &deletion : journal.deletions) {
            if (deleted.contains(deletion.line))
                found += said("line", deletion.line, "was deleted twice");
            deleted += deletion.line;
            const double gone = lines.value(deletion.line).removedUnits;
            if (gone != deletion.units)
                found += said("line", deletion.line, ":", deletion.units,
                              "units were to be deleted,", gone, "went away");
        }
        for (auto it = journal.units.cbegin(); it != journal.units.cend(); ++it)
            entered[it.key()] += it.value();
    }
    if (entered != units) {
        for (qulonglong product = 1; product <= hotProducts; ++product)
            found += said("product", product, ":", entered.value(product), "units entered,",
                          units.value(product), "in the lines");
    }

    const Numbers listed = numbers("SELECT id,quantity FROM incomeinvoice;");
    QList<Posted> posted;
    for (auto it = lines.cbegin(); it != lines.cend(); ++it) {
        const Line &line = it.value();
        const bool inList = listed.contains(it.key());
        if (line.added != 1 || line.removed != (inList ? 0 : 1) ||
            line.units != (inList ? listed.value(it.key()) : line.removedUnits))
            found += said("line", it.key(), "added", line.added, "times, removed", line.removed,
                          "times,", line.units, "units,", line.removedUnits, "removed");
        if (deleted.contains(it.key()) && line.removed == 0)
            found += said("line", it.key(), "was deleted and is still there");
        if (line.removed > 0 && !deleted.contains(it.key()))
            posted += {line.product, line.removedUnits};
    }
    QList<Posted> received;
    for (const QStringList &row : rows("SELECT wareid,quantity FROM income;"))
        received += {row.at(0).toULongLong(), row.at(1).toDouble()};
    std::sort(posted.begin(), posted.end());
    std::sort(received.begin(), received.end());
    if (posted != received)
        found += said(posted.size(), "lines left the list unharmed,", received.size(),
                      "or others stand in the receipts");
    return found;
}

/// Every receipt is one that a workstation was told of, under a number of its own.
QStringList Ledger::checkReceipts(const QList<WorkstationJournal> &journals) const
{
    QStringList found;
    Numbers told; // lines
    for (const WorkstationJournal &journal : journals) {
        for (const WorkstationJournal::Receipt &receipt : journal.receipts) {
            if (told.contains(receipt.id))
                found += said("two stations have posted receipt", receipt.id);
            told.insert(receipt.id, receipt.lines);
        }
    }
    const Numbers kept = numbers("SELECT reportid,1 FROM income;");
    const Numbers sums = numbers("SELECT reportid,quantity*incost FROM income;");
    if (kept != told)
        found += said(told.size(), "receipts told,", kept.size(), "or others kept");
    const Numbers totals = numbers("SELECT id,total FROM incomereports;");
    if (totals != sums)
        found += said("the totals of", totals.size(), "receipts differ from their lines");
    return found;
}

QStringList Ledger::checkStock() const
{
    QStringList found;
    Numbers stock = m_stockBefore;
    const Numbers came = numbers("SELECT wareid,quantity FROM income;");
    for (auto it = came.cbegin(); it != came.cend(); ++it)
        stock[it.key()] += it.value();
    for (const QStringList &row : rows("SELECT id,quantity FROM warehouse;")) {
        if (stock.value(row.at(0).toULongLong()) != row.at(1).toDouble())
            found += said("stock of product", row.join(": "), "but the receipts ask for",
                          stock.value(row.at(0).toULongLong()));
    }
    return found;
}
