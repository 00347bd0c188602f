#include "catalogue/barcode.h"

#include <QTest>

class TestBarcode : public QObject
{
    Q_OBJECT

private slots:
    void checkDigit()
    {
        const std::pair<const char *, int> digits[] = {{"400638133393", 1},
                                                       {"200000000006", 0},
                                                       {"400638133393x12", 1}, // what is behind
                                                       {"40063813339", -1}};
        for (const auto &[code, digit] : digits)
            QCOMPARE(ean13CheckDigit(code), digit);
    }

    void nextCode()
    {
        const std::pair<const char *, const char *> codes[] = {
            {"", "2000000000008"},
            {"2000000000099", "2000000000107"}, // its check digit is wrong
            {"2999999999984", "2999999999991"},
            {"2999999999991", ""},
            {"2abcdefghijkl", ""},
            {"200000000000٨", ""},
            {"20000000", ""}};
        for (const auto &[largest, next] : codes)
            QCOMPARE(nextInternalCode(largest), next);
    }
};

QTEST_GUILESS_MAIN(TestBarcode)
#include "tst_barcode.moc"
