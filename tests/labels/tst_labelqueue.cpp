#include "labels/labelqueue.h"

#include "labels/sheetprint.h"

#include "tests/support/databasetest.h"

class TestLabelQueue : public DatabaseTest
{
    Q_OBJECT

private slots:
    void aReceiptIsImported()
    {
        rows("INSERT INTO income(reportid,wareid,quantity) VALUES(4,1,2.25),(4,2,1),(4,3,0),"
             "(4,1,-1),(4,99,1),(5,1,7)");
        const NewLabels labels = labelsOfReceipt(nullptr, 4);
        QVERIFY(labels && addLabels(nullptr, *labels));
        QCOMPARE(queue(), "4607004652387 " + shop::nastyName + " 3\n");
        QCOMPARE(totalLabels(nullptr), 3);
        QCOMPARE(labelsOfReceipt(nullptr, 6)->size(), 0);
    }

    void otherSources()
    {
        rows("INSERT INTO incomeinvoice(wareid,quantity) VALUES(3,0.5)");
        const QString second = rows("SELECT id FROM codes WHERE code='22'").trimmed();
        for (const NewLabels &labels :
             {labelsOfWorkingList(nullptr), labelsOfProducts(nullptr, {1, 2}, 5),
              labelsOfCodes(nullptr, {second.toULongLong()}, 6), labelsOfScan(nullptr, " 22\n", 7)})
            QVERIFY(addLabels(nullptr, *labels));
        QVERIFY(addToLabels(nullptr, {1}));
        const QString name = shop::nastyName;
        QCOMPARE(queue(), "2000000000008 Товар 1\n4607004652387 " + name + " 5\n22 " + name +
                              " 6\n22 " + name + " 7\n4607004652387 " + name + " 1\n22 " + name +
                              " 1\n");
        m_boxes->answer("OK");
        QVERIFY(!addToLabels(nullptr, {2}));
        QVERIFY(m_boxes->lastText().contains("ни одного штрих-кода"));
        m_boxes->answer("Отмена");
        QVERIFY(!addLabels(nullptr, {{"1", "x", 1000.5}}));
        QCOMPARE(labelsOfScan(nullptr, "23", 1)->size(), 0);
    }

    void aFailedImportAddsNothing()
    {
        const QList<NewLabel> many(150, {"1", "x", 1});
        int inserts = 0;
        setStatementObserver([&](QString &statement, const QString &) {
            if (statement.startsWith("INSERT INTO labels") && ++inserts % 2 == 0)
                statement = "INSERT INTO nothing VALUES(1)";
        });
        m_boxes->answer("OK");
        QVERIFY(!addLabels(nullptr, many));
        setStatementObserver({});
        QCOMPARE(queue(), "");
        QVERIFY(addLabels(nullptr, many));
        QCOMPARE(totalLabels(nullptr), 150);
    }

    void changesOfAnotherStationAreSeen()
    {
        QVERIFY(addLabels(nullptr, {{"1", "a", 1}, {"2", "b", 2}}));
        const qulonglong id = rows("SELECT MIN(id) FROM labels").trimmed().toULongLong();
        QVariant shown = "a";
        QCOMPARE(editLabel(nullptr, id, "name", &shown, shop::nastyName), LabelEdit::Done);
        rows("UPDATE labels SET quantity=9 WHERE code='1'");
        shown = 1;
        QCOMPARE(editLabel(nullptr, id, "quantity", &shown, 5), LabelEdit::Changed);
        QCOMPARE(shown.toInt(), 9);
        QCOMPARE(editLabel(nullptr, id, "quantity", &shown, 5), LabelEdit::Done);
        QCOMPARE(queue(), "1 " + shop::nastyName + " 5\n2 b 2\n");
        QVERIFY(deleteLabels(nullptr, {id}));
        QCOMPARE(editLabel(nullptr, id, "quantity", &shown, 5), LabelEdit::Gone);
        QVERIFY(deleteAllLabels(nullptr));
        QCOMPARE(totalLabels(nullptr), 0);
    }

    void priceMarksAreStruckOff()
    {
        rows("INSERT INTO changeoutcostinfo(id,wareid,ctime) VALUES(1,1,'a'),(2,1,'b'),(3,2,'c')");
        QList<SqlRow> list;
        QVERIFY(QueryRows(nullptr, priceMarksSelect(), list));
        QCOMPARE(list.size(), 2);
        rows("INSERT INTO changeoutcostinfo(id,wareid,ctime) VALUES(4,2,'d')");
        QVERIFY(strikeOff(nullptr, {{2, 1}, {3, 2}}));
        QCOMPARE(rows("SELECT id FROM changeoutcostinfo").trimmed(), "4");
    }

    void whatStandsOnLabels()
    {
        rows("INSERT INTO labels(code,name,quantity) VALUES('4607004652387','n',1),('22','m',1),"
             "('x1','none',1)");
        rows("UPDATE codes SET packquantity=10, madein='Россия' WHERE code='22'");
        rows("INSERT INTO codes(wareid,code,packquantity) VALUES(2,'22',1)"); // no second label
        rows("INSERT INTO brands(id,name) VALUES(7,'Марка')");
        rows("UPDATE warehouse SET brandid=7, unitid=2, outcost=12.5 WHERE id=1");
        rows("UPDATE units SET name='кг', decimals=3 WHERE id=2");
        QList<SheetPlan::Row> queued;
        for (const QString &id : rows("SELECT id FROM labels ORDER BY id").split('\n'))
            queued += {id.toULongLong(), 1};
        queued[1].labels = 2;
        const SheetPlan plan(queued.first(3), {.rows = 2, .columns = 2}, 0);
        int statements = 0;
        setStatementObserver([&](QString &, const QString &) { ++statements; });
        LabelReader reader;
        QList<PlacedLabel> labels;
        QVERIFY(labelsOfSheet(nullptr, plan, 1, reader, labels));
        setStatementObserver({});
        QCOMPARE(statements, 1);
        QCOMPARE(labels.size(), 4);
        QCOMPARE(labels.at(0).text.price, "Цена: 12 ₽ 50 к./1 кг");
        QCOMPARE(labels.at(0).text.brand, "Марка");
        QCOMPARE(labels.at(2).text.price, "Цена: 125 ₽/10 кг");
        QCOMPARE(labels.at(2).text.brand, "Марка, Россия");
        QCOMPARE(labels.at(3).text.price, "");
        LabelFaults faults;
        for (int i = 0; i < 2; ++i) {
            for (const SheetPlan::Row &row : plan.rows())
                faults.add(*reader.find(row.id), true);
            for (int box = 0; box < 3 && i == 0; ++box)
                m_boxes->answer("OK");
            faults.tell(nullptr);
        }
        QVERIFY(m_boxes->texts().at(0).startsWith("Ошибка 322926: товара с id="));
        QCOMPARE(m_boxes->texts().at(1), "Штрих-код содержит запрещенные символы!\nx1");
        QVERIFY(m_boxes->texts().at(2).endsWith("\n22")); // its last digit is wrong
    }

    void priceLines()
    {
        QCOMPARE(priceLine(12.5, 1, "шт", 0, "₽"), "Цена: 12 ₽ 50 к.");
        QCOMPARE(priceLine(19.99, 100, "шт", 0, "₽"), "Цена: 1999 ₽/100 шт");
        QCOMPARE(priceLine(12.29, 1, "кг", 3, "₽"), "Цена: 12 ₽ 29 к./1 кг");
        QCOMPARE(priceLine(1234567.05, 0.5, "", 0, "₽"), "Цена: 617283 ₽ 52.5 к./0.5");
        QCOMPARE(priceLine(2.99999999, 1, "", 0, "₽"), "Цена: 3 ₽");
    }

protected:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 1, .name = shop::nastyName});
        shop::addProduct({.id = 2});
        shop::addProduct({.id = 3});
        shop::addCode(1, "4607004652387");
        shop::addCode(1, "22");
        shop::addCode(3, "2000000000008");
        rows("DELETE FROM labels");
    }

private:
    QString queue() const
    {
        QString lines;
        QList<SqlRow> found;
        QueryRows(nullptr, labelsSelect(), found);
        for (const SqlRow &row : found)
            lines += row.at(1).toString() + ' ' + row.at(2).toString() + ' ' +
                     row.at(3).toString() + '\n';
        return lines;
    }
};

QTEST_GUILESS_MAIN(TestLabelQueue)
#include "tst_labelqueue.moc"
