// A table that stands on the screen for hours must not hold the database for anybody, and shows a
// long list as it is while others write.
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "tests/support/databasetest.h"
#include "tests/support/servers.h"
#include "widgets/tableplace.h"

#include <QTest>

class TestSqlTableModel : public DatabaseTest
{
    Q_OBJECT

private slots:
    void shownRows_blockNobody()
    {
        fill(1000); // more than any driver fetches at once
        SqlTableModel model;
        QVERIFY(model.select(nullptr, "SELECT id, name FROM t ORDER BY id"));
        QVERIFY(!model.select(nullptr, "SELECT nonsense FROM nowhere"));
        // Another process writes, also to the table's shape, then this one does.
        rows("UPDATE t SET name='other' WHERE id=1; ALTER TABLE t ADD note VARCHAR(20);");
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(nullptr, "UPDATE t SET name='own' WHERE id='1000'"));
        QVERIFY(transactionCommit());
        // The rows do not need the connection any more.
        closeConnection(mainConnection);
        QCOMPARE(model.value(model.rowOfId(1000), "name").toString(), "");
    }

    void pages_bringEveryRowOnce_data()
    {
        addColumns<bool>("searched");
        addRow("parts", false);
        addRow("search", true);
    }

    void pages_bringEveryRowOnce()
    {
        QFETCH(bool, searched);
        fill(45000);     // a search looks at 20,000 in one statement
        if (!isServer()) // which would not take such names
            rows("UPDATE t SET name=CASE WHEN id%2 THEN CAST(name AS BLOB) ELSE name||char(0) END "
                 "WHERE id%4000>3500");
        const QString all = rows("SELECT id FROM t WHERE part<2 ORDER BY name, id");
        SqlTableModel model;
        describe(model);
        QVERIFY(model.selectPages(nullptr, list(searched)));
        QVERIFY(model.rowCount() < 1000);
        QVERIFY(QueryExec(nullptr, "UPDATE t SET name='яя' WHERE id='" + sql::id(model.idOf(0)) +
                                       "'")); // comes a second time
        for (int turn = 0; model.canFetchMore({}) || model.isReading(); ++turn) {
            model.fetchMore({});
            QCoreApplication::processEvents(); // a search goes on by itself
            // Others take away a row above and put others above and below.
            if (turn == 0)
                rows("DELETE FROM t WHERE id=" + sql::id(model.idOf(1)) +
                     "; INSERT INTO t VALUES(50001,1,NULL),(50002,1,'чай'),(50003,2,'чай');");
        }
        QStringList shown;
        for (int row = 0; row < model.rowCount(); ++row)
            shown += sql::id(model.idOf(row));
        shown.removeAll("50001"); // was above on some databases
        QVERIFY(shown.removeOne("50002"));
        QCOMPARE(shown.join('\n'), all);
        // Values that were let go of are read again, by row.
        rows("UPDATE t SET name='новое' WHERE id=" + sql::id(model.idOf(2)));
        QCOMPARE(model.value(2, "name").toString(), "новое");
    }

    void place_isKeptDeepInTheList()
    {
        fill(6000);
        SqlTableModel model;
        describe(model);
        QTableView view;
        view.setModel(&model);
        view.setSelectionBehavior(QAbstractItemView::SelectRows);
        view.show();
        QVERIFY(model.selectPages(nullptr, list()));
        view.selectRow(0);
        while (view.currentIndex().row() < 2500)
            QTest::keyClick(&view, Qt::Key_PageDown);
        view.selectRow(view.currentIndex().row());
        const qulonglong id = model.idOf(view.currentIndex().row());
        const int top = view.rowAt(0);
        const auto refresh = [&] {
            const TablePlace place(&view, &model);
            QVERIFY(model.selectPages(nullptr, list(), place.rows()));
            place.restore();
            QCOMPARE(model.idOf(view.currentIndex().row()), id);
            QCOMPARE(view.selectionModel()->selectedRows(),
                     {view.currentIndex().siblingAtColumn(0)});
        };
        refresh();
        QCOMPARE(view.rowAt(0), top);
        rows("UPDATE t SET name='яя' WHERE id=" + sql::id(id)); // now far behind what was read
        refresh();
        QVERIFY(model.rowCount() > 3000);
        QCOMPARE(model.findRow(2), -1); // of another part
    }

    void failedPage_isTriedAgainLater()
    {
        fill(2000);
        SqlTableModel model;
        describe(model);
        QVERIFY(model.selectPages(nullptr, list()));
        const int count = model.rowCount();
        if (isServer())
            TestServers::instance().killClients(m_dialect);
        model.fetchMore({});
        QCOMPARE(model.rowCount(), 2 * count);
        setStatementObserver(
            [](QString &sqlText, const QString &) { sqlText = "SELECT nonsense"; });
        model.fetchMore({});
        setStatementObserver({});
        QCOMPARE(model.rowCount(), 2 * count);
        QVERIFY(!model.canFetchMore({})); // not with every turn of the wheel
        QTRY_VERIFY(model.canFetchMore({}));
        QVERIFY(transactionBegin());
        QVERIFY(!model.canFetchMore({}));
        QVERIFY(transactionRollback());
        model.fetchMore({});
        QCOMPARE(model.rowCount(), 3 * count);
    }

private:
    void prepare() override
    {
        openEmpty();
        QVERIFY(
            QueryExec(nullptr, "CREATE TABLE t(id INTEGER PRIMARY KEY, part INTEGER, name TEXT)"));
    }

    /// Names of all kinds, each often enough to stand over the border of two pages.
    static void fill(int rows)
    {
        const QStringList names = {"NULL",        "''",     "'чай'", "'Чай '",
                                   "'О''Нил \\'", "'зонт'", "'100%'"};
        QStringList values;
        for (int id = 1; id <= rows; ++id)
            values += QString("(%1,%2,%3)").arg(id).arg(id % 3).arg(names.at(id % 4000 * 7 / 4000));
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,part,name) VALUES" + values.join(',')));
    }

    static PagedSelect list(bool searched = false)
    {
        const QString parts = searched ? "part<2" : "part=0;part=1";
        return {.select = "SELECT t.id, t.name  FROM t",
                .table = "t",
                .order = "name",
                .conditions = {" part<2"},
                .parts = parts.split(';'),
                .searched = searched};
    }

    static void describe(SqlTableModel &model)
    {
        model.setColumns({{"id", "t.id"}, {"name", "t.name"}});
    }
};

QTEST_MAIN(TestSqlTableModel)
#include "tst_sqltablemodel.moc"
