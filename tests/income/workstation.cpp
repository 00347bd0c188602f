#include "workstation.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "income/linedeletion.h"
#include "income/posting.h"
#include "income/receiptline.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/shop.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

constexpr int savesBeforeGivingUp = 20;
constexpr int postingsBeforeGivingUp = 10;
constexpr int actionsInARound = 3;

class Workstation
{
public:
    explicit Workstation(const WorkstationOrder &order)
        : m_order(order),
          m_random(order.seed),
          m_journal(order.journal)
    {
    }

    bool open()
    {
        if (!m_journal.open(QIODevice::WriteOnly) ||
            !createConnection(nullptr, m_order.entry, mainConnection))
            return false;
        shop::logIn({.id = qulonglong(m_order.number),
                     .login = "station",
                     .name = "station",
                     .rights = int(Right::ReceiveGoods)});
        return Session::instance().loadOptions(nullptr, mainConnection);
    }

    /// Tells that it is ready and waits for the word to go on. Returns false when none comes.
    static bool waitForStart()
    {
        std::puts("ready");
        std::fflush(stdout);
        std::string line;
        return bool(std::getline(std::cin, line));
    }

    bool work()
    {
        setBoxHandler([this](QWidget *, const BoxRequest &request) {
            m_told = request.text;
            return request.escapeButton;
        });
        // The prices are written behind the units of a new line: from there on these are taken in.
        // In the transaction of a line that was there before nothing is certain yet.
        setStatementObserver([this](const QString &sqlText, const QString &) {
            if (sqlText.startsWith("UPDATE incomeinvoice SET incost") && !inTransaction())
                m_unitsWritten = true;
        });
        for (int round = 0; round < m_order.rounds; ++round) {
            if (!waitForStart())
                return false;
            for (int i = 0; i < actionsInARound; ++i)
                handleGoods();
            post();
        }
        if (m_order.seconds > 0 && !waitForStart())
            return false;
        QElapsedTimer time;
        for (time.start(); !time.hasExpired(1000LL * m_order.seconds);) {
            if (m_random.bounded(4) == 0)
                post();
            else
                handleGoods();
        }
        note({"finished"});
        setStatementObserver({});
        setBoxHandler({});
        return true;
    }

private:
    void note(const QStringList &fields)
    {
        m_journal.write(
            QJsonDocument(QJsonArray::fromStringList(fields)).toJson(QJsonDocument::Compact) +
            '\n');
        m_journal.flush();
    }

    /// The box that came, or else the database's own words.
    void noteRefusal()
    {
        note({"refused", m_told.isEmpty() ? lastFailure().words() : m_told});
    }

    void handleGoods()
    {
        note({"action"});
        const int kind = m_random.bounded(10);
        if (kind < 6)
            add();
        else if (kind < 9)
            edit();
        else
            remove();
    }

    void add()
    {
        const qulonglong product = 1 + m_random.bounded(hotProducts);
        const double units = 1 + m_random.bounded(12);
        ReceiptEntry entry;
        if (entry.load(nullptr, {.wareid = product, .addedQuantity = units}) != LoadState::Loaded)
            note({"refused", lastFailure().words()});
        else
            save(entry, product, entry.proposedQuantity(), units);
    }

    void edit()
    {
        const SqlRow line = anyLine();
        if (line.isEmpty())
            return;
        const qulonglong product = line.at(1).toULongLong();
        const double units = m_random.bounded(2) == 0 ? 5 : -1;
        ReceiptEntry entry;
        switch (entry.load(
            nullptr, {.wareid = product, .lineId = line.at(0).toULongLong(), .editLine = true})) {
        case LoadState::Loaded:
            save(entry, product, entry.proposedQuantity() + units, units);
            break;
        case LoadState::NotFound:
            break; // gone since it was shown
        case LoadState::Failed:
            note({"refused", lastFailure().words()});
        }
    }

    /// Accepts the entry as often as a patient user would. The units must be in the list once when
    /// the program has ever got beyond their writing, and not at all otherwise.
    void save(ReceiptEntry &entry, qulonglong product, double quantity, double units)
    {
        m_unitsWritten = false;
        const double outcost = 20 + m_random.bounded(3);
        for (int i = 0; i < savesBeforeGivingUp && quantity != 0; ++i) {
            m_told.clear();
            const SaveState state =
                entry.save(nullptr, {.quantity = quantity, .incost = 10, .outcost = outcost});
            if (!m_told.isEmpty() || state != SaveState::Saved)
                noteRefusal();
            if (state == SaveState::Saved) {
                m_unitsWritten = true;
                break;
            }
            if (state == SaveState::Changed)
                quantity = entry.proposedQuantity();
        }
        if (m_unitsWritten)
            note({"units", sql::id(product), sql::exact(units)});
    }

    void remove()
    {
        const SqlRow line = anyLine();
        if (line.isEmpty())
            return;
        const ShownLine shown = {.id = line.at(0).toULongLong(),
                                 .wareid = line.at(1).toULongLong(),
                                 .name = {},
                                 .quantity = line.at(2).toDouble()};
        m_told.clear();
        const bool deleted = !deleteLines(nullptr, {shown}).isEmpty();
        if (deleted)
            note({"deleted", sql::id(shown.id), sql::exact(shown.quantity)});
        if (!deleted || !m_told.isEmpty())
            noteRefusal();
    }

    void post()
    {
        note({"action"});
        for (int i = 0; i < postingsBeforeGivingUp; ++i) {
            const PostingResult result =
                ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {});
            if (result.outcome == PostingOutcome::EmptyList)
                return;
            if (result.outcome == PostingOutcome::Posted) {
                note({"posted", sql::id(result.reportId), sql::integer(result.lines)});
                return;
            }
            note({"refused", result.details.isEmpty() ? result.message : result.details});
        }
    }

    /// Id, product and quantity of a line of the list; empty when there is none.
    SqlRow anyLine()
    {
        QList<SqlRow> rows;
        if (!QueryRows(nullptr, "SELECT id, wareid, quantity FROM incomeinvoice ORDER BY id;",
                       rows))
            note({"refused", lastFailure().words()});
        return rows.isEmpty() ? SqlRow() : rows.at(m_random.bounded(rows.size()));
    }

    WorkstationOrder m_order;
    QRandomGenerator m_random;
    QFile m_journal;
    QString m_told;
    bool m_unitsWritten = false;
};

} // namespace

QStringList WorkstationOrder::arguments() const
{
    return QStringList{workstationMode,         QString::number(number),  QString::number(seed),
                       QString::number(rounds), QString::number(seconds), journal} +
           argumentsOf(entry);
}

WorkstationOrder WorkstationOrder::fromArguments(const QStringList &arguments)
{
    const QStringList values = arguments.mid(arguments.indexOf(workstationMode) + 1);
    return {values.value(0).toInt(), values.value(1).toUInt(), values.value(2).toInt(),
            values.value(3).toInt(), values.value(4),          entryOf(values.mid(5))};
}

int runWorkstation(const WorkstationOrder &order)
{
    Workstation workstation(order);
    if (!workstation.open())
        return 2;
    const bool worked = workstation.work();
    removeConnection(mainConnection);
    return worked ? 0 : 3;
}

WorkstationJournal WorkstationJournal::read(const QString &path)
{
    WorkstationJournal journal;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return journal;
    while (!file.atEnd()) {
        const QJsonDocument line = QJsonDocument::fromJson(file.readLine());
        const QStringList fields = line.toVariant().toStringList();
        const QString event = fields.value(0);
        if (event == "action")
            ++journal.actions;
        else if (event == "units")
            journal.units[fields.at(1).toULongLong()] += fields.at(2).toDouble();
        else if (event == "deleted")
            journal.deletions += {fields.at(1).toULongLong(), fields.at(2).toDouble()};
        else if (event == "posted")
            journal.receipts += {fields.at(1).toULongLong(), fields.at(2).toInt()};
        else if (event == "refused")
            journal.refusals += fields.at(1);
        journal.finished = event == "finished";
    }
    return journal;
}
