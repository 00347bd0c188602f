// A table that stands on the screen for hours must not hold the database for anybody.
#include "db/query.h"
#include "db/transaction.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"
#include "widgets/sqltablemodel.h"

#include <QTest>

class TestSqlTableModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void shownRows_blockNobody();
    void failedSelect_keepsTheRows();
};

void TestSqlTableModel::initTestCase_data()
{
    addDialectRows();
}

void TestSqlTableModel::shownRows_blockNobody()
{
    QFETCH_GLOBAL(Dialect, dialect);
    constexpr int count = 1000; // more than any driver fetches at once
    const TestHome home;
    ScratchDatabase database(dialect);
    QVERIFY(database.open());
    QStringList values;
    for (int id = 1; id <= count; ++id)
        values += QStringLiteral("('%1','до')").arg(id);
    QVERIFY(QueryExec(nullptr, "CREATE TABLE t(id INTEGER PRIMARY KEY, name VARCHAR(20))"));
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES" + values.join(',')));

    SqlTableModel model;
    QVERIFY(model.select(nullptr, "SELECT id, name FROM t ORDER BY id"));
    QCOMPARE(model.rowCount(), count);
    // Another process writes, also to the table's shape, then this one does.
    database.client("UPDATE t SET name='other' WHERE id=1; ALTER TABLE t ADD note VARCHAR(20);");
    QVERIFY(transactionBegin());
    QVERIFY(QueryExec(nullptr, "UPDATE t SET name='own' WHERE id='1000'"));
    QVERIFY(transactionCommit());
    QCOMPARE(database.client("SELECT name FROM t WHERE id IN (1,1000) ORDER BY id"), "other\nown");
    // The rows do not need the connection any more.
    closeConnection(mainConnection);
    QCOMPARE(model.value(count - 1, "name").toString(), "до");
}

void TestSqlTableModel::failedSelect_keepsTheRows()
{
    QFETCH_GLOBAL(Dialect, dialect);
    const TestHome home;
    QueuedBoxes boxes;
    ScratchDatabase database(dialect);
    QVERIFY(database.open());
    SqlTableModel model;
    QVERIFY(model.select(nullptr, "SELECT 7 AS id, 'чай' AS name"));
    QVERIFY(!model.select(nullptr, "SELECT nonsense FROM nowhere"));
    QCOMPARE(model.rowOfId(7), 0);
    QCOMPARE(model.data(model.index(0, model.columnOf("name"))).toString(), "чай");
    QVERIFY(boxes.verify());
}

QTEST_GUILESS_MAIN(TestSqlTableModel)
#include "tst_sqltablemodel.moc"
