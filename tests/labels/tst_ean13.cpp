#include "labels/ean13.h"

#include "catalogue/barcode.h"

#include <QProcess>
#include <QTest>

namespace {

/// The modules of a code as another program draws them.
QString drawnByZint(const QString &code)
{
    QProcess zint;
    zint.start("zint", {"--barcode=EANX", "--data=" + code, "--dump"});
    if (!zint.waitForFinished())
        return {};
    // The first row in hexadecimal digits, four modules each.
    const QString line = QString::fromLatin1(zint.readAllStandardOutput()).section(u'\n', 0, 0);
    QString modules;
    for (const QChar c : line) {
        if (!c.isSpace())
            modules += QString::number(QString(c).toInt(nullptr, 16), 2).rightJustified(4, u'0');
    }
    return modules.left(ean13Modules);
}

} // namespace

class TestEan13 : public QObject
{
    Q_OBJECT

private slots:
    void barsAreThoseOfAnotherProgram()
    {
        // Every first digit, and every digit at every place.
        for (int i = 0; i < 20; ++i) {
            QString code = QString::number(i % 10);
            for (int place = 1; place < 12; ++place)
                code += QString::number((i * 7 + place * (i < 10 ? 1 : 3)) % 10);
            code += QString::number(ean13CheckDigit(code));
            QString modules;
            const auto pattern = ean13Pattern(code);
            for (size_t module = 0; module < pattern.size(); ++module)
                modules += pattern.test(module) ? u'1' : u'0';
            QCOMPARE(modules, drawnByZint(code));
            QCOMPARE(ean13Bars(code).size(), 30);
        }
    }

    void codesOfOtherLengths()
    {
        QCOMPARE(ean13Text("12345"), "0000000012345");
        QCOMPARE(ean13Text("12345678901234"), "");
        QCOMPARE(ean13Text(""), "");
        QCOMPARE(ean13Bars("40063A1333931").size(), 28); // the place of the letter stays white
        QVERIFY(!hasOnlyDigits(u"12٣"_qs));
    }
};

QTEST_GUILESS_MAIN(TestEan13)
#include "tst_ean13.moc"
