#include "bench/benchshop.h"

#include "app/settings.h"
#include "db/connections.h"
#include "db/schema.h"
#include "db/sqltext.h"

#include <QFile>
#include <QProcess>

namespace {

QStringList readNames()
{
    const QString path = qEnvironmentVariable("LAVKOR_GOODS_TSV");
    if (path.isEmpty())
        return {};
    QProcess unpack;
    unpack.start("zcat", {"-f", path});
    if (!unpack.waitForFinished(60000))
        qFatal("cannot read %s", qPrintable(path));
    QStringList names;
    const QStringList lines = QString::fromUtf8(unpack.readAllStandardOutput()).split('\n');
    for (const QString &line : lines)
        names += line.section('\t', 1, 1);
    names.removeFirst(); // the header
    return names;
}

constexpr int firstChild = 10;
constexpr int children = 30;

qulonglong groupOf(int product, int products)
{
    if (product % qMax(1, products / 7) == 1)
        return BenchShop::smallGroup;
    if (BenchShop::name(product) > "Х")
        return BenchShop::lastGroup;
    return product % 2 == 0 ? BenchShop::largeGroup : firstChild + product % children;
}

} // namespace

RawSqlite::RawSqlite(const QString &path)
{
    if (sqlite3_open(path.toUtf8().constData(), &m_database) != SQLITE_OK)
        qFatal("cannot open %s", qPrintable(path));
    run("PRAGMA cache_size=-49152");
    run("PRAGMA wal_autocheckpoint=16384");
}

RawSqlite::~RawSqlite()
{
    sqlite3_close(m_database);
}

void RawSqlite::run(const QByteArray &sqlText)
{
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(m_database, sqlText.constData(), int(sqlText.size()), &statement,
                           nullptr) != SQLITE_OK)
        qFatal("%s: %s", sqlite3_errmsg(m_database), sqlText.constData());
    int step = SQLITE_ROW;
    while (step == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column)
            sqlite3_column_text(statement, column);
        step = sqlite3_step(statement);
    }
    if (step != SQLITE_DONE)
        qFatal("%s: %s", sqlite3_errmsg(m_database), sqlText.constData());
    sqlite3_finalize(statement);
}

BenchShop::BenchShop(const QString &path, int products, int cartRows)
    : m_path(path)
{
    QFile::remove(path);
    const QString connection = QStringLiteral("bench");
    if (!createConnection(nullptr, {.name = "bench", .dbtype = "sqlite", .databasename = path},
                          connection) ||
        !createSchema(nullptr, connection))
        qFatal("cannot create %s", qPrintable(path));
    removeConnection(connection);

    RawSqlite raw(path);
    raw.run("BEGIN");
    const QStringList catalogue = fillCatalogue(products);
    for (const QString &statement : catalogue)
        raw.run(statement.toUtf8());
    for (int i = 1; i <= products; ++i) {
        const QString id = QString::number(i);
        raw.run(
            ("INSERT INTO codes(wareid,code,packquantity) VALUES(" + id + ",'" + code(i) + "',1)")
                .toUtf8());
        if (i % 3 == 0)
            raw.run(
                ("INSERT INTO articles(wareid,supplierid,name) VALUES(" + id + ",1,'S" + id + "')")
                    .toUtf8());
    }
    for (int i = 0; i < cartRows; ++i) {
        raw.run(("INSERT INTO cart(orderid,wareid,outcost,quantity) VALUES(1," +
                 QString::number(1 + qlonglong(i) * products / cartRows) + ",20,1)")
                    .toUtf8());
    }
    raw.run("COMMIT");
}

QString BenchShop::path() const
{
    return m_path;
}

QStringList BenchShop::fillCatalogue(int products)
{
    QStringList statements;
    for (int group = BenchShop::smallGroup; group < firstChild + children; ++group)
        statements += QString("INSERT INTO `groups`(id,parent,name) VALUES(%1,%2,'Группа %1')")
                          .arg(group)
                          .arg(group < firstChild ? 0 : BenchShop::parentGroup);
    for (int i = 1; i <= 300; ++i)
        statements += QString("INSERT INTO brands(id,name) VALUES(%1,'Марка %1')").arg(i);
    for (int first = 1; first <= products; first += 1000) {
        QStringList rows;
        for (int i = first; i < qMin(first + 1000, products + 1); ++i) {
            const QString id = QString::number(i);
            rows += '(' + id + ",1,'A" + id + "'," + sql::text(name(i)) + ",5,10,20,'RUB',0,1," +
                    QString::number(groupOf(i, products)) + ',' + QString::number(i % 300) + ')';
        }
        statements += "INSERT INTO warehouse(id,enabled,article,name,quantity,incost,outcost,"
                      "currency,inoutratio,unitid,groupid,brandid) VALUES" +
                      rows.join(',');
    }
    return statements;
}

QString BenchShop::code(int product)
{
    return QString::number(4600000000000LL + product * 10LL);
}

QString BenchShop::name(int product)
{
    static const QStringList names = readNames();
    if (!names.isEmpty())
        return names.at(product % names.size());
    static const QStringList kinds = {"Молоко", "Хлеб", "Чайник", "Стул", "Масло", "Краска"};
    static const QStringList makers = {"Заря", "Полюс", "Искра", "Волна", "Рассвет"};
    return kinds.at(product % kinds.size()) + " «" + makers.at(product % makers.size()) +
           "» образец " + QString::number(product % 7919) + " упаковка № " +
           QString::number(product);
}

QStringList BenchShop::fillList(int lines, int products, int turn)
{
    QStringList statements = {"DELETE FROM incomeinvoice", "DELETE FROM income",
                              "DELETE FROM incomereports"};
    for (int i = 0; i < lines; ++i) {
        // Every second line changes the selling price of goods on the shelf; every one is in a
        // cart.
        const int product = 1 + int((qlonglong(i) * products / lines + 10LL * turn) % products);
        statements += "INSERT INTO incomeinvoice(wareid,incost,inoutratio,outcost,quantity,userid,"
                      "timestamp) VALUES(" +
                      QString::number(product) + ",11.5,0," +
                      QString::number(20 + (i % 2) * (1 + i % 50)) + ",3,1,'2026-01-02 03:04:05')";
    }
    statements += "UPDATE warehouse SET outcost=20, quantity=5 WHERE id IN (SELECT wareid FROM "
                  "incomeinvoice)";
    return statements;
}
