#include "income/incomereport.h"

#include "db/money.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "income/posting.h"
#include "income/receiptsums.h"

#include <QCoreApplication>
#include <QDateTime>

#include <utility>

namespace {

constexpr int portion = 500; ///< lines between two steps of the progress

QString tr(const char *text)
{
    return QCoreApplication::translate("IncomeReport", text);
}

enum Column {
    Wareid,
    Article,
    Name,
    Location,
    Quantity,
    Incost,
    Outcost,
    Unit,
    CheckQuantity,
    CheckUser,
};

struct Header
{
    QString text;
    bool isWrapped = false;
};

ReportTable tableOf(const QList<Header> &headers, const QString &rowBegin, const QString &rowEnd)
{
    ReportTable table;
    table.begin =
        QStringLiteral("<table border='1' cellspacing='0' cellpadding='5'><thead>") + rowBegin;
    for (const Header &header : headers) {
        table.begin += "<td><b>" + header.text.toHtmlEscaped() + "</b></td>";
        table.longest += header.text;
        table.isWrapped += header.isWrapped;
    }
    table.begin += rowEnd + "</thead><tbody>";
    table.end = QStringLiteral("</tbody></table>");
    return table;
}

void addRow(ReportTable &table, const QStringList &cells)
{
    qsizetype size = 16;
    for (const QString &cell : cells)
        size += cell.size() + 16;
    QString row;
    row.reserve(size);
    row += QStringLiteral("<tr>");
    for (qsizetype i = 0; i < cells.size(); ++i) {
        row += QStringLiteral("<td>") + cells.at(i).toHtmlEscaped() + QStringLiteral("</td>");
        if (cells.at(i).size() > table.longest.at(i).size())
            table.longest[i] = cells.at(i);
    }
    table.rows += row + QStringLiteral("</tr>");
}

QString money(const QVariant &amount)
{
    return amount.isNull() ? QString() : formatMoney(amount.toDouble());
}

QString quantity(const QVariant &amount)
{
    return amount.isNull() ? QString() : formatQuantity(amount.toDouble());
}

/// A line that nobody has checked is no claim, nor is a difference that cannot be seen.
bool isClaimed(const SqlRow &line)
{
    return !line.at(CheckQuantity).isNull() &&
           quantity(line.at(CheckQuantity)) != formatQuantity(line.at(Quantity).toDouble());
}

QString linesQuery(qulonglong id)
{
    // The sums are worked out here: some databases would give no more than seven digits.
    return "SELECT income.wareid, warehouse.article, warehouse.name, warehouse.location, "
           "income.quantity, income.incost, warehouse.outcost, units.name AS unit, "
           "income.checkquantity, income.checkuserid FROM income LEFT JOIN warehouse ON "
           "warehouse.id = income.wareid LEFT JOIN units ON units.id = warehouse.unitid WHERE "
           "income.reportid=" +
           sql::quotedId(id) + " ORDER BY income.id;";
}

bool addLines(IncomeReport &report, const QList<SqlRow> &lines, const ReportChoice &choice,
              const ProgressStep &progress)
{
    QList<Header> headers = {{tr("#")}, {tr("Код")}};
    if (choice.article)
        headers += {tr("Артикул"), true};
    headers += {tr("Наименование"), true};
    if (choice.location)
        headers += {tr("Место"), true};
    headers +=
        {{tr("Кол-во")}, {tr("Ед.изм")}, {tr("Прих.цена")}, {tr("Расх.цена")}, {tr("Сумма")}};
    report.lines = tableOf(headers, QStringLiteral("<tr>"), QStringLiteral("</tr>"));
    report.lines.rows.reserve(lines.size());

    AmountSum selling;
    AmountSum purchase;
    for (const SqlRow &line : lines) {
        const auto number = int(report.lines.rows.size());
        if (number % portion == portion - 1 && !goOn(progress, number, int(lines.size())))
            return false;
        const double units = line.at(Quantity).toDouble();
        AmountSum sum;
        sum.add(line.at(Outcost).toDouble(), units);
        selling.add(line.at(Outcost).toDouble(), units);
        purchase.add(line.at(Incost).toDouble(), units);
        QStringList cells = {QString::number(number + 1), line.at(Wareid).toString()};
        if (choice.article)
            cells += line.at(Article).toString();
        cells += line.at(Name).toString();
        if (choice.location)
            cells += line.at(Location).toString();
        cells += {quantity(line.at(Quantity)), line.at(Unit).toString(), money(line.at(Incost)),
                  money(line.at(Outcost)),
                  line.at(Outcost).isNull() ? QString() : formatMoney(sum.value())};
        addRow(report.lines, cells);
    }
    report.totals = "<p>" + tr("Расх.итог: %1").arg(formatMoney(selling.value())) + "</p>";
    if (choice.purchaseTotal)
        report.totals += "<p>" + tr("Прих.итог: %1").arg(formatMoney(purchase.value())) + "</p>";
    return true;
}

/// The names of those who have checked the lines.
bool readCheckers(QWidget *parent, const QList<SqlRow> &claimed, QStringList &names,
                  const QString &connectionName)
{
    QList<qulonglong> users;
    for (const SqlRow &line : claimed) {
        const qulonglong user = line.at(CheckUser).toULongLong();
        if (user != 0 && !users.contains(user))
            users += user;
    }
    for (const QString &ids : sql::idLists(users)) {
        QList<SqlRow> rows;
        if (!QueryRows(parent, "SELECT name FROM users WHERE id IN(" + ids + ") ORDER BY name;",
                       rows, connectionName))
            return false;
        for (const SqlRow &row : std::as_const(rows))
            names += row.first().toString();
    }
    return true;
}

bool addClaim(QWidget *parent, IncomeReport &report, const QList<SqlRow> &lines,
              const QString &date, const QString &connectionName)
{
    QList<SqlRow> claimed;
    for (const SqlRow &line : lines) {
        if (isClaimed(line))
            claimed += line;
    }
    if (claimed.isEmpty())
        return true;
    QStringList checkers;
    if (!readCheckers(parent, claimed, checkers, connectionName))
        return false;
    QStringList parts = {tr("Приходная накладная #%1").arg(report.id), date};
    if (!checkers.isEmpty())
        parts += tr("проверил: %1").arg(checkers.join(QStringLiteral(", ")));
    report.claimHeading = "<h2>" + tr("Рекламация") + "</h2><h4>" +
                          parts.join(QStringLiteral(" - ")).toHtmlEscaped() + "</h4>";
    report.claim = tableOf(
        {{tr("Наименование"), true}, {tr("Кол-во по накладной")}, {tr("Кол-во фактически")}},
        QStringLiteral("<tr>"), QStringLiteral("</tr>"));
    for (const SqlRow &line : std::as_const(claimed))
        addRow(report.claim, {line.at(Name).toString(), quantity(line.at(Quantity)),
                              quantity(line.at(CheckQuantity))});
    return true;
}

} // namespace

QString IncomeReport::html() const
{
    QString text = heading;
    const auto add = [&text](const ReportTable &table) {
        qsizetype size = text.size() + table.begin.size() + table.end.size() + 1000;
        for (const QString &row : table.rows)
            size += row.size();
        text.reserve(size);
        text += table.begin;
        for (const QString &row : table.rows)
            text += row;
        text += table.end;
    };
    add(lines);
    text += totals;
    if (!claimHeading.isEmpty()) {
        text += claimHeading;
        add(claim);
    }
    return text;
}

ReportState buildIncomeReport(QWidget *parent, qulonglong id, const ReportChoice &choice,
                              IncomeReport &report, const ProgressStep &progress,
                              const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(
            parent,
            "SELECT payment_type, timestamp FROM incomereports WHERE id=" + sql::quotedId(id) + ";",
            rows, connectionName))
        return ReportState::Failed;
    if (rows.isEmpty())
        return ReportState::Missing;
    const QString stamp = rows.first().at(1).toString();
    const QDateTime time = QDateTime::fromString(stamp, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    const QString date = time.isValid() ? time.toString(QStringLiteral("dd.MM.yyyy hh:mm")) : stamp;
    const QString day = time.isValid() ? time.toString(QStringLiteral("yyyy-MM-dd")) : stamp;
    const bool cashless = rows.first().at(0).toInt() == int(PaymentType::Cashless);

    IncomeReport made;
    made.id = id;
    made.title = tr("Приходная накладная #%1 от %2").arg(QString::number(id), date);
    made.documentName = QStringLiteral("income_%1_%2").arg(QString::number(id), day);
    made.heading = "<h1>" + made.title.toHtmlEscaped() + ". " +
                   (cashless ? tr("Безналичными") : tr("Наличными")) + "</h1>";
    if (!QueryRows(parent, linesQuery(id), rows, connectionName))
        return ReportState::Failed;
    if (!addLines(made, rows, choice, progress))
        return ReportState::Stopped;
    if (!addClaim(parent, made, rows, date, connectionName))
        return ReportState::Failed;
    report = std::move(made);
    return ReportState::Built;
}
