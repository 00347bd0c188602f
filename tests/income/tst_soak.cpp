// A long shift at the scanner: many scans with edits, deletions and unknown codes between them, and
// receipts posted. Afterwards the stock is exact and nothing was left behind: no memory, no open
// file, no connection, no widget, no word of trouble in the log.
#include "db/transaction.h"
#include "tests/support/files.h"
#include "windowhands.h"

#include <QDir>
#include <QRandomGenerator>
#include <QSqlDatabase>

#include <malloc.h>

#include <map>

namespace {

constexpr qulonglong firstProduct = 1000;
constexpr int products = 3000;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool memoryIsOurs = false; // freed blocks wait in a quarantine
#else
constexpr bool memoryIsOurs = true;
#endif

QString codeOf(qulonglong wareId)
{
    return QString::number(4600000000000ULL + wareId);
}

/// Resident memory in KiB, without what the allocator only keeps for later.
qint64 residentMemory()
{
    malloc_trim(0);
    static const QRegularExpression pattern("VmRSS:\\s*(\\d+) kB");
    return pattern.match(QString::fromLatin1(readFile("/proc/self/status")))
        .captured(1)
        .toLongLong();
}

/// What the process holds; all but the memory must be the same at the end of the shift.
struct Holdings
{
    qint64 memory = 0;
    QStringList files;
    QStringList connections;
    qsizetype widgets = 0;
    qsizetype objects = 0; ///< of the window

    static Holdings now(const QWidget &window)
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        Holdings held;
        const QDir descriptors("/proc/self/fd");
        const QStringList names = descriptors.entryList(QDir::AllEntries | QDir::System);
        for (const QString &name : names) {
            const QString target = QFile::symLinkTarget(descriptors.filePath(name));
            if (!target.endsWith("/fd")) // the reading itself
                held.files += name + " " + target;
        }
        held.connections = QSqlDatabase::connectionNames();
        held.connections.sort();
        held.widgets = QApplication::allWidgets().size();
        held.objects = window.findChildren<QObject *>().size();
        held.memory = residentMemory();
        return held;
    }
};

} // namespace

class TestSoak : public MainWindowTest
{
    Q_OBJECT

private slots:
    void longShift_leavesNothingBehind()
    {
        const int receipts = isServer() ? 5 : 20;
        const int scans = isServer() ? 200 : 2000;
        Holdings first;
        for (int number = 1; number <= scans; ++number) {
            scanNext();
            if (number % 10 == 4)
                scanUnknown();
            if (number % 10 == 6)
                edit();
            if (number % 20 == 8)
                remove();
            if (number % (scans / receipts) == 0)
                post();
            QCOMPARE(lineCount("incomeinvoiceTableView"), int(m_books.order.size()));
            if (QTest::currentTestFailed())
                return;
            if (number == scans / receipts)
                first = Holdings::now(*m_window);
        }
        const Holdings last = Holdings::now(*m_window);
        QCOMPARE(last.files, first.files);
        QCOMPARE(last.connections, first.connections);
        QCOMPARE(last.connections, QStringList(mainConnection));
        QCOMPARE(last.widgets, first.widgets);
        QCOMPARE(last.objects, first.objects);
        qInfo("memory %lld KiB after the first receipt, %lld KiB at the end", first.memory,
              last.memory);
        QVERIFY(first.memory > 0);
        QVERIFY(!memoryIsOurs || last.memory * 10 <= first.memory * 11);

        std::map<qulonglong, double> found;
        const QStringList read = rows("SELECT id,quantity FROM warehouse ORDER BY id").split('\n');
        for (const QString &row : read)
            found[row.section('\t', 0, 0).toULongLong()] = row.section('\t', 1).toDouble();
        QVERIFY(found == m_books.stock);
        QCOMPARE(rows("SELECT COUNT(*) FROM incomereports"), QString::number(receipts));
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice"), "0");

        QStringList logLines = logText().split("\r\n", Qt::SkipEmptyParts);
        logLines.removeIf([](const QString &line) { return line.contains("Not placed: code 47"); });
        static const QRegularExpression expected(
            "^.{19} (Posting receipt \\d+ with \\d+ lines\\.|Пользователь \\S+ \\(№ \\d+\\): .*)$");
        for (const QString &line : logLines)
            QVERIFY2(expected.match(line).hasMatch(), qPrintable(line));
        QCOMPARE(logLines.filter("проведена").size(), receipts);

        if (isServer())
            QTRY_COMPARE(rows(m_dialect == Dialect::MySql
                                  ? "SELECT COUNT(*) FROM information_schema.processlist "
                                    "WHERE db=DATABASE() AND id<>CONNECTION_ID()"
                                  : "SELECT COUNT(*) FROM pg_stat_activity WHERE "
                                    "datname=current_database() AND pid<>pg_backend_pid() "
                                    "AND backend_type='client backend'"),
                         "1");
    }

private:
    /// What the shop must hold.
    struct Books
    {
        std::map<qulonglong, double> stock;
        std::map<qulonglong, int> list;
        QList<qulonglong> order; ///< of the lines
        bool unknown = false;    ///< a code was not found: each posting asks about it
        QRandomGenerator random{20260102};
    };

    void prepare() override
    {
        // The offscreen platform has no window manager to hint to, all other warnings count.
        QTest::failOnWarning(QRegularExpression("^(?!This plugin does not support)"));
        m_books = {};
        openShop();
        TransactionGuard transaction;
        for (qulonglong id = firstProduct; id < firstProduct + products; ++id) {
            m_books.stock[id] = double(id % 7);
            shop::addProduct({.id = id,
                              .name = shop::nastyName + QString::number(id),
                              .stock = double(id % 7),
                              .article = "А-" + QString::number(id)});
            shop::addCode(id, codeOf(id));
        }
        QVERIFY(transaction.commit());
        openWindow();
    }

    void scanNext()
    {
        const qulonglong id = firstProduct + m_books.random.bounded(quint32(products));
        if (!m_books.list.contains(id))
            m_books.order += id;
        ++m_books.list[id];
        accept();
        scan(codeOf(id));
    }

    void scanUnknown()
    {
        scan("4700000" + QString::number(100000 + m_books.random.bounded(100000)));
        QVERIFY(label("scanLabel").startsWith("Не найдено"));
        m_books.unknown = true;
    }

    int anyRow()
    {
        return m_books.random.bounded(lineCount("incomeinvoiceTableView"));
    }

    void edit()
    {
        const int row = anyRow();
        const int quantity = 1 + m_books.random.bounded(50);
        auto *view = child<QTableView>("incomeinvoiceTableView");
        view->setCurrentIndex(view->model()->index(row, 3));
        accept(QString::number(quantity));
        QTest::keyClick(view, Qt::Key_Return);
        m_books.list[m_books.order.at(row)] = quantity;
    }

    void remove()
    {
        const int row = anyRow();
        activate();
        auto *view = child<QTableView>("incomeinvoiceTableView");
        view->setFocus();
        view->selectRow(row);
        m_boxes->answer("Да");
        QTest::keyClick(view, Qt::Key_Delete);
        m_books.list.erase(m_books.order.takeAt(row));
    }

    void post()
    {
        if (m_books.unknown)
            m_boxes->answer("Продолжить без них");
        m_boxes->answer("Провести (наличными)");
        click(*m_window, "applyIncomeInvoicePushButton");
        QVERIFY(m_boxes->verify());
        for (const auto &[id, quantity] : m_books.list)
            m_books.stock[id] += quantity;
        m_books.list.clear();
        m_books.order.clear();
    }

    Books m_books;
};

int main(int argc, char *argv[])
{
    return runWindowTest<TestSoak>(argc, argv);
}

#include "tst_soak.moc"
