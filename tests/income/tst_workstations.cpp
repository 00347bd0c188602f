// Several workstations, each a process of its own, add, edit, delete and post on one shop at the
// same time. No line may be lost or doubled, stock must be exact, every refusal must be told.
#include "ledger.h"
#include "workstation.h"

#include "db/query.h"
#include "db/session.h"
#include "income/posting.h"
#include "tests/support/datatable.h"
#include "tests/support/files.h"
#include "tests/support/galeracluster.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr int workstations = 5;
constexpr int patience = 60'000; ///< ms
constexpr quint32 seed = 20'260'301;
const QString otherNode = "other node";

/// The acceptance runs a minute; LAVKOR_STRESS_SECONDS makes it shorter or longer.
int stressSeconds()
{
    const int seconds = qEnvironmentVariableIntValue("LAVKOR_STRESS_SECONDS");
    return seconds > 0 ? seconds : 60;
}

} // namespace

class TestWorkstations : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home = std::make_unique<TestHome>();
    }

    void cleanup()
    {
        setStatementObserver({});
        removeConnection(otherNode);
        removeConnection(mainConnection);
        Session::instance().reset();
        m_home.reset();
    }

    void cleanupTestCase()
    {
        m_cluster.reset();
    }

    void severalWorkstations_onOneDatabase_data()
    {
        addDialectRows();
    }

    void severalWorkstations_onOneDatabase()
    {
        QFETCH(Dialect, dialect);
        ScratchDatabase database(dialect);
        QVERIFY(database.open());
        fillShop();
        Ledger ledger(dialect, [&](const QString &sqlText) { return database.client(sqlText); });
        // On one file each works in rounds, or one could be through before another begins.
        if (dialect == Dialect::Sqlite)
            letWork(ledger, {2, database.entry()}, 100, 0);
        else
            letWork(ledger, {workstations, database.entry()}, 0, stressSeconds());
    }

    void severalWorkstations_onACluster()
    {
        const QString name = makeClusterDatabase();
        QList<ConnectionEntry> entries;
        for (int i = 0; i < workstations; ++i)
            entries += cluster().entry(i % GaleraCluster::nodeCount, name);
        Ledger ledger(Dialect::MySql, [&](const QString &sqlText) {
            return cluster().client(GaleraCluster::nodeCount - 1, name, sqlText);
        });
        letWork(ledger, entries, 0, stressSeconds());
    }

    void commitRefusedByTheCluster_isPostedAgain_data()
    {
        // meanwhile: on the other node, when the COMMIT is about to go out
        addColumns<QString, PostingOutcome, QString>("meanwhile", "again", "income");
        addRow("posted there", "", PostingOutcome::EmptyList, "1 2\n2 5");
        addRow("changed there", "UPDATE incomeinvoice SET quantity='9' WHERE wareid='1'",
               PostingOutcome::Posted, "1 9\n2 5");
        addRow("deleted there", "DELETE FROM incomeinvoice WHERE wareid='1'",
               PostingOutcome::Posted, "2 5");
        addRow("added there",
               "INSERT INTO incomeinvoice(wareid,incost,outcost,quantity,"
               "inoutratio,userid,timestamp) "
               "VALUES('3','10','20','4','0','7','2026-01-02 03:04:05')",
               PostingOutcome::Posted, "1 2\n2 5\n3 4");
        addRow("stock sold there", "UPDATE warehouse SET quantity=quantity-'50' WHERE id='2'",
               PostingOutcome::Posted, "1 2\n2 5");
    }

    void commitRefusedByTheCluster_isPostedAgain()
    {
        const auto [meanwhile, again, income] = rowValues<QString, PostingOutcome, QString>();
        const QString name = makeClusterDatabase();
        QVERIFY(createConnection(nullptr, cluster().entry(1, name), otherNode));
        shop::logIn({.id = 3, .login = "anna", .name = "Анна", .rights = int(Right::ReceiveGoods)});
        shop::addLine({.wareId = 1, .quantity = 2});
        shop::addLine({.wareId = 2, .quantity = 5});
        bool done = false;
        setStatementObserver(
            [&, meanwhile = meanwhile](const QString &sqlText, const QString &connection) {
                if (done || sqlText != "COMMIT" || connection != mainConnection)
                    return;
                done = true;
                if (!meanwhile.isEmpty())
                    QVERIFY(QueryExec(nullptr, meanwhile, otherNode));
                else
                    QCOMPARE(ReceiptPosting(nullptr, otherNode).post(PaymentType::Cash, {}).outcome,
                             PostingOutcome::Posted);
            });
        const PostingResult refused =
            ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {});
        QVERIFY(done);
        // A line more need not be in the way of those posted.
        const bool mayPass = meanwhile.startsWith("INSERT");
        if (!mayPass || refused.outcome != PostingOutcome::Posted) {
            QCOMPARE(refused.outcome, PostingOutcome::Failed);
            QVERIFY2(refused.details.contains("Deadlock"), qPrintable(refused.message));
            QVERIFY(logText().contains(refused.message));
        }
        QCOMPARE(ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {}).outcome,
                 again);

        const QString sold = meanwhile.contains("warehouse") ? "50" : "0";
        for (int node = 0; node < GaleraCluster::nodeCount; ++node) {
            QCOMPARE(
                cluster().client(node, name,
                                 "SELECT CONCAT(wareid,' ',quantity) FROM income ORDER BY wareid"),
                income);
            QCOMPARE(cluster().client(node, name, "SELECT COUNT(*) FROM incomeinvoice"), "0");
            QCOMPARE(
                cluster().client(node, name,
                                 "SELECT COUNT(*) FROM warehouse LEFT JOIN (SELECT wareid, "
                                 "SUM(quantity) AS came FROM income GROUP BY wareid) AS i ON "
                                 "i.wareid=warehouse.id WHERE quantity<>100*id+COALESCE(came,0)"
                                 "-IF(id=2," +
                                     sold + ",0)"),
                "0");
            QCOMPARE(cluster().client(node, name,
                                      "SELECT COUNT(*) FROM incomereports LEFT JOIN income ON "
                                      "reportid=incomereports.id WHERE reportid IS NULL"),
                     "0");
        }
    }

    void otherNode_seesWhatWasCommitted()
    {
        const QString name = makeClusterDatabase();
        QVERIFY(createConnection(nullptr, cluster().entry(1, name), otherNode));
        // So much that the other node is still at it when the answer has come.
        for (int i = 1; i <= 3; ++i) {
            QVERIFY(QueryExec(nullptr, "INSERT INTO brands(name) SELECT 'x' FROM seq_1_to_20000"));
            QCOMPARE(QueryValue(nullptr, "SELECT COUNT(id) FROM brands", otherNode).toInt(),
                     20000 * i);
        }
    }

private:
    struct Station
    {
        QTemporaryDir home;
        QProcess process;
    };
    using Stations = std::vector<std::unique_ptr<Station>>;

    static void fillShop()
    {
        QVERIFY(shop::create());
        for (int id = 1; id <= hotProducts; ++id)
            shop::addProduct({.id = qulonglong(id), .stock = 100.0 * id});
        QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
    }

    GaleraCluster &cluster()
    {
        if (!m_cluster)
            m_cluster = std::make_unique<GaleraCluster>();
        return *m_cluster;
    }

    /// A filled shop on the cluster, the main connection on the first node. Returns its name.
    QString makeClusterDatabase()
    {
        static int count = 0;
        QString name = QString("shop%1").arg(++count);
        cluster().client(
            0, "mysql", "CREATE DATABASE " + name + " CHARACTER SET utf8 COLLATE utf8_general_ci;");
        if (createConnection(nullptr, cluster().entry(0, name), mainConnection))
            fillShop();
        return name;
    }

    /// All of them at once, every round anew.
    static void startTogether(const Stations &stations, int rounds)
    {
        for (int start = 0; start < std::max(1, rounds); ++start) {
            for (const auto &station : stations) {
                while (!station->process.canReadLine()) {
                    if (!station->process.waitForReadyRead(patience))
                        qFatal("A workstation does not start");
                }
                station->process.readLine();
            }
            for (const auto &station : stations) {
                station->process.write("go\n");
                station->process.waitForBytesWritten(patience);
            }
        }
    }

    /// Lets a workstation work on each entry and compares what they were told with the books.
    static void letWork(Ledger &ledger, const QList<ConnectionEntry> &entries, int rounds,
                        int seconds)
    {
        Stations stations;
        for (int i = 0; i < entries.size(); ++i) {
            auto station = std::make_unique<Station>();
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("HOME", station->home.path());
            station->process.setProcessEnvironment(environment);
            station->process.setStandardErrorFile(station->home.filePath("stderr"));
            const WorkstationOrder order{.number = i + 1,
                                         .seed = seed + quint32(i),
                                         .rounds = rounds,
                                         .seconds = seconds,
                                         .journal = station->home.filePath("journal"),
                                         .entry = entries.at(i)};
            station->process.start(QCoreApplication::applicationFilePath(), order.arguments());
            stations.push_back(std::move(station));
        }
        startTogether(stations, rounds);

        QList<WorkstationJournal> journals;
        QStringList faults;
        QMap<QString, int> kinds;
        int actions = 0;
        qsizetype postings = 0;
        for (const auto &station : stations) {
            station->process.waitForFinished(seconds * 1000 + 4 * patience);
            const auto journal = WorkstationJournal::read(station->home.filePath("journal"));
            if (station->process.exitStatus() != QProcess::NormalExit ||
                station->process.exitCode() != 0 || !journal.finished)
                faults += "a workstation did not come to its end";
            const QString log =
                QString::fromUtf8(readFile(station->home.filePath(".lavkor/Lavkor_log.txt")));
            for (const QString &refusal : journal.refusals) {
                ++kinds[refusal.simplified().left(70)];
                if (refusal.isEmpty() || !log.contains(refusal))
                    faults += "without a word, or not in the log: " + refusal;
            }
            actions += journal.actions;
            postings += journal.receipts.size();
            journals += journal;
        }
        faults = ledger.complaints(journals) + faults;
        qInfo("%d actions, %lld postings; refused:", actions, qlonglong(postings));
        for (auto it = kinds.cbegin(); it != kinds.cend(); ++it)
            qInfo("%5d  %s", it.value(), qPrintable(it.key()));
        if (!faults.isEmpty())
            QTest::qFail(qPrintable(faults.mid(0, 20).join('\n')), __FILE__, __LINE__);
    }

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<GaleraCluster> m_cluster;
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.contains(workstationMode))
        return runWorkstation(WorkstationOrder::fromArguments(arguments));
    TestWorkstations test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_workstations.moc"
