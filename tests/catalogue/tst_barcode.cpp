#include "catalogue/barcode.h"
#include "tests/support/datatable.h"

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
    addColumns<QString, int>("code", "digit");

    addRow("12 digits", "400638133393", 1);
    addRow("sum ends in 0", "200000000006", 0);
    addRow("wrong 13th digit is ignored", "4006381333937", 1);
    addRow("text behind is ignored", "400638133393x12", 1);
    addRow("11 digits", "40063813339", -1);
    addRow("empty", "", -1);
}

void TestBarcode::checkDigit()
{
    QFETCH(QString, code);
    QTEST(ean13CheckDigit(code), "digit");
}

void TestBarcode::nextCode_data()
{
    addColumns<QString, QString>("maxCode", "next");

    addRow("first", "", "2000000000008");
    addRow("second", "2000000000008", "2000000000015");
    addRow("carry", "2000000000091", "2000000000107");
    addRow("wrong check digit", "2000000000099", "2000000000107");
    addRow("last of the range", "2999999999984", "2999999999991");
    addRow("range used up", "2999999999991", "");
    addRow("letters", "2abcdefghijkl", "");
    addRow("digits of another script", "200000000000٨", "");
    addRow("not 13 digits", "20000000", "");
}

void TestBarcode::nextCode()
{
    QFETCH(QString, maxCode);
    QTEST(nextInternalCode(maxCode), "next");
}

QTEST_GUILESS_MAIN(TestBarcode)
#include "tst_barcode.moc"
