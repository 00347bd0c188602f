// The goods of the demonstration: whoever scans them must find them, whatever their names hold.
#include "app/demo/demoshop.h"
#include "catalogue/barcode.h"
#include "tests/support/files.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"

#include <QTest>

class TestDemoShop : public QObject
{
    Q_OBJECT

private slots:
    void goods_areFilledOnceAndHaveValidCodes()
    {
        const QString goods = QFINDTESTDATA("../../resources/demo/goods.tsv");
        ScratchDatabase database(Dialect::Sqlite);
        QVERIFY(database.open() && shop::create());
        QString error;
        QVERIFY2(fillDemoShop(goods, mainConnection, &error), qPrintable(error));
        const QString count = QString::number(readFile(goods).count('\n') - 1);
        QVERIFY(fillDemoShop(goods, mainConnection));
        QCOMPARE(database.client("SELECT COUNT(*) FROM warehouse;"), count);

        QCOMPARE(database.client("SELECT w.name, u.name, g.name, p.name, w.incost, w.quantity "
                                 "FROM codes c JOIN warehouse w ON w.id=c.wareid "
                                 "JOIN units u ON u.id=w.unitid JOIN `groups` g ON g.id=w.groupid "
                                 "JOIN `groups` p ON p.id=g.parent "
                                 "WHERE c.code='2100900000105' AND c.packquantity=12;"),
                 "Крупа гречневая ядрица «Полянка» 800 г\tшт\tКрупы\tБакалея\t62.4\t14.0");
        const QStringList codes = database.client("SELECT code FROM codes;").split(u'\n');
        for (const QString &code : codes) {
            QVERIFY2(isInternalCode(code), qPrintable(code));
            QCOMPARE(code.back().digitValue(), ean13CheckDigit(code));
        }
        QCOMPARE(QSet<QString>(codes.begin(), codes.end()).size(), codes.size());
    }

    void brokenTable_leavesNothingBehind()
    {
        const QByteArray good = "А-1\tТовар\tГруппа\tМарка\tшт\t1\t0\t2\t3\t2000000000008\n";
        for (const QByteArray &second :
             {good.mid(good.indexOf('\t') + 1), QByteArray(good).replace("шт", "пуд"),
              QByteArray(good).replace("Группа", "")}) {
            const QString path = m_home.path() + "/goods.tsv";
            writeFile(path, "header\n" + QByteArray(good).replace("008", "015") + second);
            ScratchDatabase database(Dialect::Sqlite);
            QVERIFY(database.open() && shop::create());
            QString error;
            QVERIFY(!fillDemoShop(path, mainConnection, &error));
            QVERIFY2(error.contains("goods.tsv:3:"), qPrintable(error));
            QCOMPARE(database.client("SELECT id FROM warehouse UNION SELECT id FROM codes UNION "
                                     "SELECT id FROM `groups`;"),
                     "");
        }
    }

private:
    TestHome m_home;
};

QTEST_GUILESS_MAIN(TestDemoShop)
#include "tst_demoshop.moc"
