#include "labels/labelpresets.h"

#include "tests/support/files.h"
#include "tests/support/testhome.h"

#include <QDir>
#include <QLockFile>
#include <QTest>

using namespace presets;

class TestPresets : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home.reset();
        m_home = std::make_unique<TestHome>();
        m_wanted = {};
    }

    void bytesOfTheFile()
    {
        LabelPreset preset = readyMade().list.at(0);
        preset.name = QString(300, u'ы') + "x";
        preset.settings.organisation = QString::fromUcs4(U"\U0001F600", 1);
        preset.settings.blocks[4] = {-1.5, 7, true};
        preset.settings.dpi = 258;
        QVERIFY(add(m_wanted, preset));
        const QByteArray image = packed(m_wanted);
        QCOMPARE(image.size(), 34568);
        QCOMPARE(image.first(12).toHex(), "01000000000000004b040000");
        QCOMPARE(image.mid(8 + 198 * 4, 8).toHex(), "0000000000000000");
        QCOMPARE(image.mid(8 + 800, 8).toHex(), "00f6010000000000");
        const qsizetype settings = 8 + 1600;
        QCOMPARE(image.mid(settings + 64, 16).toHex(), "000000000000f8bf0700000001000000");
        QCOMPARE(image.mid(settings + 80, 16).toHex(), "00000000080000000300000002010000");
        QCOMPARE(image.mid(settings + 120, 8).toHex(), "0000000000000000");
        preset.name = QString(198, u'ы');
        QCOMPARE(unpacked(image).value().list, QList{preset});
    }

    void damagedFilesAreKept_data()
    {
        QTest::addColumn<QByteArray>("image");
        const QByteArray good = packed(readyMade());
        const auto with = [&](qsizetype at, const QByteArray &bytes) {
            return QByteArray(good).replace(at, bytes.size(), bytes);
        };
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("short") << good.chopped(1);
        QTest::newRow("long") << good + '\0';
        QTest::newRow("count") << with(0, "\x15");
        QTest::newRow("current") << with(4, QByteArray("\x04\0\0\0", 4));
        QTest::newRow("name without an end") << with(8, QByteArray(800, 'a'));
        QTest::newRow("no sign") << with(8, QByteArray("\0\xd8\0\0", 4));
        QTest::newRow("no columns") << with(8 + 1600 + 88, QByteArray(4, '\0'));
        QTest::newRow("no number") << with(8 + 1600, QByteArray(8, '\xff'));
        QTest::newRow("huge offset") << with(8 + 1600, QByteArray("\0\0\0\0\0\0\xf0\x7e", 8));
    }

    void damagedFilesAreKept()
    {
        QFETCH(QByteArray, image);
        QVERIFY(QDir().mkpath(m_home->path() + "/.lavkor"));
        writeFile(filePath(), image);
        LabelPresets shown = m_wanted;
        QCOMPARE(read(shown), Read::Damaged);
        const auto addOne = [](LabelPresets &all) {
            return add(all, readyMade().list.at(0));
        };
        QCOMPARE(change(shown, addOne), Write::Damaged);
        QCOMPARE(shown, m_wanted);
        QCOMPARE(readFile(filePath()), image);
        QCOMPARE(change(shown, addOne, true), Write::Done);
        QCOMPARE(shown.list.size(), 5);
        QCOMPARE(readFile(filePath() + ".broken"), image);
    }

    void changesOfTwoProgramsAreBothKept()
    {
        LabelPresets first;
        QCOMPARE(read(first), Read::Missing);
        QCOMPARE(first.list.size(), 4);
        LabelPresets second = first;
        const auto adding = [](const QString &name) {
            return [name](LabelPresets &all) {
                return add(all, {name, {}});
            };
        };
        QCOMPARE(change(first, adding("a")), Write::Done);
        QCOMPARE(change(second, adding("b")), Write::Done);
        QCOMPARE(second.list.size(), 6);
        QCOMPARE(second.current, 5);
        {
            QLockFile other(filePath() + ".lock");
            QVERIFY(other.lock());
            QCOMPARE(change(second, adding("c")), Write::Failed);
        }
        LabelPresets stored;
        QCOMPARE(read(stored), Read::Done);
        QCOMPARE(stored, second);
    }

    void twentyAndNoMore()
    {
        LabelPresets all = readyMade();
        while (all.list.size() < most)
            QVERIFY(add(all, {QString::number(all.list.size()), {}}));
        QVERIFY(!add(all, {"x", {}}));
        QVERIFY(!removeAt(all, 19));
        QVERIFY(!removeAt(all, -1));
        QVERIFY(removeAt(all, 18));
        QCOMPARE(all.list.last().name, "19");
        QCOMPARE(all.current, -1);
        QCOMPARE(unpacked(packed(all)).value(), all);
    }

private:
    std::unique_ptr<TestHome> m_home;
    LabelPresets m_wanted;
};

QTEST_GUILESS_MAIN(TestPresets)
#include "tst_presets.moc"
