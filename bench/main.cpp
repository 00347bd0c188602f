// Speed and size, each figure as a ratio of two measurements in one run.
#include "bench/benchshop.h"
#include "bench/benchwindow.h"
#include "bench/cards.h"
#include "bench/children.h"
#include "bench/figures.h"
#include "bench/firstpaint.h"
#include "bench/gallery.h"
#include "bench/labels.h"
#include "bench/lists.h"
#include "bench/pictures.h"
#include "bench/screen.h"
#include "catalogue/productlist.h"
#include "db/engine.h"
#include "db/query.h"
#include "db/schema.h"
#include "db/session.h"
#include "income/incomeinvoicewindow.h"
#include "income/receiptline.h"
#include "income/receiptlist.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/testhome.h"
#include "widgets/sound.h"

#include "ui_quantityrestdialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QSettings>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int repetitions = 7;

void runAll(const QStringList &statements)
{
    if (!QueryExec(nullptr, "BEGIN"))
        qFatal("no transaction");
    for (const QString &statement : statements) {
        if (!QueryExec(nullptr, statement))
            qFatal("%s", qPrintable(statement));
    }
    QueryExec(nullptr, "COMMIT");
}

/// Posts the list through the window and returns the statements that it took.
QStringList postRecorded(IncomeInvoiceWindow &window, double &time)
{
    QStringList statements;
    setStatementObserver([&](QString &sqlText, const QString &) { statements += sqlText; });
    time = milliseconds([&] {
        if (window.postReceipt(PaymentType::Cash).outcome != PostingOutcome::Posted)
            qFatal("the posting failed");
    });
    setStatementObserver({});
    return statements;
}

/// Postings of one size on one SQLite shop, each the second of a program just started, timed
/// against their statements through the C interface.
class SqlitePosting
{
public:
    SqlitePosting(const QString &path, int lines, int products)
        : m_path(path),
          m_lines(lines),
          m_products(products)
    {
    }

    void measure(int turn)
    {
        const auto window = openBenchWindow(sqliteEntry(m_path));
        // The first receipt of the day makes the write-ahead log that the others use again.
        double time = 0;
        fill(2 * turn);
        postRecorded(*window, time);
        checkpointWhenIdle(mainConnection);

        fill(2 * turn + 1);
        scanLines();
        const QStringList statements = postRecorded(*window, time);
        m_program.push_back(time);
        m_statementsPerLine = double(statements.size()) / m_lines;
        checkpointWhenIdle(mainConnection);

        fill(2 * turn + 1);
        QList<QByteArray> texts;
        for (const QString &statement : statements)
            texts += statement == "BEGIN" ? QByteArray("BEGIN IMMEDIATE") : statement.toUtf8();
        RawSqlite raw(m_path);
        // What scanLines() has read for the program.
        raw.run("SELECT COUNT(name) FROM incomeinvoice LEFT JOIN warehouse ON warehouse.id=wareid");
        m_floor.push_back(milliseconds([&] {
            for (const QByteArray &text : std::as_const(texts))
                raw.run(text);
        }));
    }

    double program() const
    {
        return median(m_program);
    }

    double floor() const
    {
        return median(m_floor);
    }

    double statementsPerLine() const
    {
        return m_statementsPerLine;
    }

private:
    void fill(int turn) const
    {
        RawSqlite raw(m_path);
        raw.run("BEGIN");
        const QStringList statements = BenchShop::fillList(m_lines, m_products, turn);
        for (const QString &statement : statements)
            raw.run(statement.toUtf8());
        raw.run("COMMIT");
        raw.run("PRAGMA wal_checkpoint(PASSIVE)");
    }

    /// Reads what the scans of the lines would have read.
    static void scanLines()
    {
        QList<SqlRow> lines;
        QueryRows(nullptr, "SELECT wareid FROM incomeinvoice", lines);
        for (const SqlRow &line : std::as_const(lines)) {
            ReceiptEntry entry;
            if (entry.load(nullptr, {.wareid = line.first().toULongLong()}) != LoadState::Loaded)
                qFatal("a product cannot be read");
        }
    }

    QString m_path;
    int m_lines;
    int m_products;
    double m_statementsPerLine = 0;
    std::vector<double> m_program;
    std::vector<double> m_floor;
};

/// The SQLite shops by their number of products, each made when first needed.
class Shops
{
public:
    explicit Shops(const QString &directory)
        : m_directory(directory)
    {
    }

    QString path(int products)
    {
        QString file = m_directory + "/" + QString::number(products) + ".sqlite";
        if (!QFile::exists(file)) {
            const BenchShop shop(file, products, qMax(1, products / 10));
            prepareLogin(sqliteEntry(file));
        }
        return file;
    }

private:
    QString m_directory;
};

void benchSqlitePosting(Table &table, Shops &shops)
{
    for (const int lines : {1000, 10000}) {
        SqlitePosting posting(shops.path(100000), lines, 100000);
        for (int turn = 0; turn < repetitions; ++turn)
            posting.measure(turn);
        table.row(QString("SQLite: posting %1 lines, 100,000 products / C interface").arg(lines),
                  posting.program(), posting.floor(), 2);
        table.note(
            QString("    statements per line: %1").arg(posting.statementsPerLine(), 0, 'f', 2));
    }
    SqlitePosting few(shops.path(10000), 1000, 10000);
    SqlitePosting many(shops.path(1000000), 1000, 1000000);
    for (int turn = 0; turn < repetitions; ++turn) {
        few.measure(turn);
        many.measure(turn);
    }
    table.row("SQLite: posting 1000 lines, 1,000,000 products / 10,000", many.program(),
              few.program(), 1.5);
    table.note(QString("    the C interface alone: %1 ms and %2 ms")
                   .arg(many.floor(), 0, 'f', 0)
                   .arg(few.floor(), 0, 'f', 0));
}

/// An empty shop on a server, ready for the login.
ConnectionEntry prepareShop(const ScratchDatabase &database)
{
    ConnectionEntry entry = database.entry();
    entry.name = "bench";
    const QString filling = QStringLiteral("filling");
    if (!createConnection(nullptr, entry, filling) || !createSchema(nullptr, filling))
        qFatal("no schema");
    removeConnection(filling);
    prepareLogin(entry);
    return entry;
}

void benchServerPosting(Table &table, Dialect dialect)
{
    constexpr int lines = 1000;
    const ScratchDatabase database(dialect);
    const ConnectionEntry entry = prepareShop(database);
    const auto window = openBenchWindow(entry);
    QStringList products;
    for (int i = 1; i <= 10000; ++i)
        products += "INSERT INTO warehouse(id,name,quantity,incost,outcost,currency) VALUES('" +
                    QString::number(i) + "','x','5','10','20','RUB')";
    runAll(products);
    const QStringList fill = BenchShop::fillList(lines, 10000);

    double time = 0;
    runAll(fill);
    const QStringList statements = postRecorded(*window, time);
    std::vector<double> program;
    std::vector<double> floor;
    const auto post = [&] {
        runAll(fill);
        postRecorded(*window, time);
        program.push_back(time);
    };
    const auto runBare = [&] {
        runAll(fill);
        floor.push_back(milliseconds([&] {
            for (const QString &statement : statements) {
                QSqlQuery query(QSqlDatabase::database(mainConnection));
                if (!query.exec(statement))
                    qFatal("%s", qPrintable(statement));
                while (query.next()) {
                }
            }
        }));
    };
    // Who comes second finds the server warmer.
    for (int turn = 0; turn < repetitions; ++turn) {
        for (const bool first : {true, false})
            (turn % 2 == 0) == first ? post() : runBare();
    }
    const QString name = dialect == Dialect::MySql ? "MariaDB" : "PostgreSQL";
    table.row(name + ": posting 1000 lines / bare QSqlQuery", median(program), median(floor), 1.3);
    table.note(
        QString("    statements per line: %1").arg(double(statements.size()) / lines, 0, 'f', 2));
}

void benchScan(Table &table, const QString &path)
{
    const auto window = openBenchWindow(sqliteEntry(path));
    auto *field = window->findChild<QLineEdit *>("codeLineEdit");
    std::vector<double> scans;
    std::vector<double> empties;
    for (int i = 0; i < 15; ++i) {
        field->setText(BenchShop::code(1 + i * 66666));
        scans.push_back(FirstPaint("QuantityRestDialog").elapsed([&] {
            QTest::keyClick(field, Qt::Key_Return);
        }));
        empties.push_back(FirstPaint("QDialog").elapsed([&] {
            QDialog dialog(window.get());
            Ui::QuantityRestDialog form;
            form.setupUi(&dialog);
            dialog.exec();
        }));
    }
    table.row("Return to QuantityRestDialog, 1,000,000 codes / empty form", median(scans),
              median(empties), 3);
}

void benchStart(Table &table, Shops &shops)
{
    const QTemporaryDir home;
    QSettings(home.filePath(".config/Lavkor/Lavkor.conf"), QSettings::IniFormat)
        .setValue("acceptedEula", true);
    const QString programs = QCoreApplication::applicationDirPath();
    VirtualScreen screen;
    std::vector<double> first;
    std::vector<double> empty;
    for (int i = 0; i < 3 * repetitions; ++i) {
        empty.push_back(screen.timeFirstWindow(programs + "/lavkor_emptywindow", home.path()));
        first.push_back(screen.timeFirstWindow(programs + "/../lavkor", home.path()));
    }
    table.row("process start to the first window / empty Qt window", median(first), median(empty),
              3);
    std::vector<double> few;
    std::vector<double> many;
    const QString small = shops.path(10000);
    const QString large = shops.path(1000000);
    for (int i = 0; i < repetitions; ++i) {
        few.push_back(startChild({"--shop-window", small}).milliseconds);
        many.push_back(startChild({"--shop-window", large}).milliseconds);
    }
    table.row("start to the main window, login included, 1,000,000 / 10,000", median(many),
              median(few), 1.5);
    for (const int products : {100000, 1000000}) {
        const double limit = products == 1000000 ? 160 : 200;
        const QString name = QString("memory, %1 products, ").arg(products);
        const QString against = QString(" / %1 MB").arg(limit);
        const QString path = shops.path(products);
        table.row(name + "at the start" + against, startChild({"--shop-window", path}).megabytes,
                  limit, 1, "MB");
        table.row(name + "at work, the most" + against,
                  startChild({"--shop-at-work", path}).megabytes, limit, 1, "MB");
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setOrganizationName("LavkorBench");
    QCoreApplication::setApplicationName("Lavkor");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    QApplication application(argc, argv);
    setSoundHandler([](Sound) {});
    const int child = runChild(QCoreApplication::arguments());
    if (child >= 0)
        return child;

    const TestHome home;
    const QTemporaryDir directory;
    // Where the shops are kept for the next run, if anywhere.
    const QString kept = qEnvironmentVariable("LAVKOR_BENCH_SHOPS");
    Settings::instance().load(home.path() + "/none");
    // Without arguments everything, else the named parts.
    const auto wanted = [](const char *part) {
        const QStringList arguments = QCoreApplication::arguments();
        return arguments.size() < 2 || arguments.contains(QLatin1String(part));
    };
    Shops shops(kept.isEmpty() ? directory.path() : kept);
    Table table;
    if (wanted("posting"))
        benchSqlitePosting(table, shops);
    if (wanted("scan"))
        benchScan(table, shops.path(1000000));
    if (wanted("lists"))
        benchLists(table, shops.path(100000));
    if (wanted("million"))
        benchFirstScreens(table, shops.path(10000), shops.path(1000000));
    if (wanted("card")) {
        // They leave another shop behind.
        const QString copy = directory.filePath("cards.sqlite");
        QFile::copy(shops.path(100000), copy);
        benchCard(table, copy);
        benchGroupDeletion(table, copy);
    }
    if (wanted("labels")) {
        const QString copy = directory.filePath("labels.sqlite");
        QFile::copy(shops.path(10000), copy);
        const auto window = openBenchWindow(sqliteEntry(copy));
        benchLabels(table);
    }
    if (wanted("gallery")) {
        const QString copy = directory.filePath("gallery.sqlite");
        QFile::copy(shops.path(10000), copy);
        const auto window = openBenchWindow(sqliteEntry(copy));
        benchGallery(table);
    }
    if (wanted("pictures"))
        benchPictures(table);
    if (wanted("start"))
        benchStart(table, shops);
    for (const auto &[part, dialect] :
         {std::pair("mariadb", Dialect::MySql), std::pair("postgresql", Dialect::PostgreSql)}) {
        if (!wanted(part))
            continue;
        benchServerPosting(table, dialect);
        const ScratchDatabase database(dialect);
        benchServerScreens(table, prepareShop(database));
    }
    return table.exitCode();
}
