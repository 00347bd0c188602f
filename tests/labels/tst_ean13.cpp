#include "labels/ean13.h"

#include "tests/labels/mixedcodes.h"

#include <QProcess>
#include <QTemporaryFile>
#include <QTest>

namespace {

/// The modules of codes as another program draws them.
QStringList drawnByZint(const QStringList &codes)
{
    QTemporaryFile file;
    if (!file.open())
        return {};
    file.write(codes.join(u'\n').toUtf8() + '\n');
    file.close();
    QProcess zint;
    zint.start("zint", {"--barcode=EANX", "--batch", "--dump", "-i", file.fileName()});
    zint.waitForFinished();
    // A line for each code, in hexadecimal digits of four modules.
    QStringList drawn;
    for (const QByteArray &line : zint.readAllStandardOutput().trimmed().split('\n')) {
        QString modules;
        const QByteArray digits = QByteArray(line).replace(' ', "");
        for (const char digit : digits)
            modules +=
                QString::number(QByteArray(1, digit).toInt(nullptr, 16), 2).rightJustified(4, u'0');
        drawn += modules.left(ean13Modules);
    }
    return drawn;
}

} // namespace

class TestEan13 : public QObject
{
    Q_OBJECT

private slots:
    void barsAreThoseOfAnotherProgram()
    {
        QStringList codes;
        for (const QString &code : mixedCodes(1000))
            codes += ean13Text(code);
        const QStringList drawn = drawnByZint(codes);
        QCOMPARE(drawn.size(), codes.size());
        for (int i = 0; i < codes.size(); ++i) {
            QString modules;
            const auto pattern = ean13Pattern(codes.at(i));
            for (size_t module = 0; module < pattern.size(); ++module)
                modules += pattern.test(module) ? u'1' : u'0';
            QCOMPARE(modules, drawn.at(i));
            QCOMPARE(ean13Bars(codes.at(i)).size(), 30);
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
