#include "catalogue/barcode.h"

#include <QTest>

class TestBarcode : public QObject
{
    Q_OBJECT

private slots:
    void checkDigit_data();
    void checkDigit();
    void nextCode_data();
    void nextCode();
};

void TestBarcode::checkDigit_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<int>("digit");

    QTest::newRow("12 digits") << "400638133393" << 1;
    QTest::newRow("sum ends in 0") << "200000000006" << 0;
    QTest::newRow("wrong 13th digit is ignored") << "4006381333937" << 1;
    QTest::newRow("text behind is ignored") << "400638133393x12" << 1;
    QTest::newRow("11 digits") << "40063813339" << -1;
    QTest::newRow("empty") << "" << -1;
}

void TestBarcode::checkDigit()
{
    QFETCH(QString, code);
    QTEST(ean13CheckDigit(code), "digit");
}

void TestBarcode::nextCode_data()
{
    QTest::addColumn<QString>("maxCode");
    QTest::addColumn<QString>("next");

    QTest::newRow("first") << ""
                           << "2000000000008";
    QTest::newRow("second") << "2000000000008"
                            << "2000000000015";
    QTest::newRow("carry") << "2000000000091"
                           << "2000000000107";
    QTest::newRow("wrong check digit") << "2000000000099"
                                       << "2000000000107";
    QTest::newRow("last of the range") << "2999999999984"
                                       << "2999999999991";
    QTest::newRow("range used up") << "2999999999991"
                                   << "";
    QTest::newRow("letters") << "2abcdefghijkl"
                             << "";
    QTest::newRow("digits of another script") << "200000000000٨"
                                              << "";
    QTest::newRow("not 13 digits") << "20000000"
                                   << "";
}

void TestBarcode::nextCode()
{
    QFETCH(QString, maxCode);
    QTEST(nextInternalCode(maxCode), "next");
}

QTEST_GUILESS_MAIN(TestBarcode)
#include "tst_barcode.moc"
