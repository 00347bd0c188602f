// A table that stands on the screen for hours must not hold the database for anybody.
#include "db/query.h"
#include "db/transaction.h"
#include "tests/support/databasetest.h"
#include "widgets/sqltablemodel.h"

#include <QTest>

class TestSqlTableModel : public DatabaseTest
{
    Q_OBJECT

private slots:
    void shownRows_blockNobody();
    void failedSelect_keepsTheRows();

private:
    void prepare() override;
};

void TestSqlTableModel::prepare()
{
    openEmpty();
}

void TestSqlTableModel::shownRows_blockNobody()
{
    constexpr int count = 1000; // more than any driver fetches at once
    QStringList values;
    for (int id = 1; id <= count; ++id)
        values += QStringLiteral("('%1','до')").arg(id);
    QVERIFY(QueryExec(nullptr, "CREATE TABLE t(id INTEGER PRIMARY KEY, name VARCHAR(20))"));
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES" + values.join(',')));

    SqlTableModel model;
    QVERIFY(model.select(nullptr, "SELECT id, name FROM t ORDER BY id"));
    QCOMPARE(model.rowCount(), count);
    // Another process writes, also to the table's shape, then this one does.
    rows("UPDATE t SET name='other' WHERE id=1; ALTER TABLE t ADD note VARCHAR(20);");
    QVERIFY(transactionBegin());
    QVERIFY(QueryExec(nullptr, "UPDATE t SET name='own' WHERE id='1000'"));
    QVERIFY(transactionCommit());
    QCOMPARE(rows("SELECT name FROM t WHERE id IN (1,1000) ORDER BY id"), "other\nown");
    // The rows do not need the connection any more.
    closeConnection(mainConnection);
    QCOMPARE(model.value(count - 1, "name").toString(), "до");
}

void TestSqlTableModel::failedSelect_keepsTheRows()
{
    SqlTableModel model;
    QVERIFY(model.select(nullptr, "SELECT 7 AS id, 'чай' AS name"));
    QVERIFY(!model.select(nullptr, "SELECT nonsense FROM nowhere"));
    QCOMPARE(model.rowOfId(7), 0);
    QCOMPARE(model.data(model.index(0, model.columnOf("name"))).toString(), "чай");
}

QTEST_GUILESS_MAIN(TestSqlTableModel)
#include "tst_sqltablemodel.moc"
