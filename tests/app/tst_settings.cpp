#include "app/configdir.h"
#include "app/settings.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/testhome.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <optional>

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home.emplace();
        QVERIFY(ensureConfigDir());
        m_path = settingsFilePath();
    }

    void savedValues_comeBackWhole()
    {
        QList<ConnectionEntry> entries{Settings::localConnection(),
                                       {.name = "Склад <b>%1</b> «№2»",
                                        .dbtype = "mysql",
                                        .dbhostname = "shop.example:3307",
                                        .dbusername = "kassa",
                                        .dbpassword = "<a & \"b\" 'c'> %1 \\ \t ёлка 🎄 ]]>",
                                        .databasename = "lavkor",
                                        .dbcacert = "/etc/ssl/ca.pem",
                                        .dbclientkey = "/etc/ssl/key.pem",
                                        .dbclientcert = "/etc/ssl/cert.pem"}};
        // No XML file can hold these.
        entries[0].dbpassword = "a";
        for (const char16_t c :
             {u'\0', u'\x01', u'\x1b', u'\xD800', u'\xDC00', u'\uFFFE', u'\uFFFF'})
            entries[0].dbpassword += QString(QChar(c)) + u'b';
        Settings settings;
        settings.load(m_path);
        settings.setConnections(entries);
        settings.setValue(SettingsKey::Login, "ad\x7mi\rn");
        settings.setValue(SettingsKey::FontSize, "14");
        // A file that holds passwords is for its owner only, also when it was not.
        writeFile(m_path, "<settings/>");
        const QFile::Permissions ownerOnly =
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        QVERIFY(QFile::setPermissions(m_path, ownerOnly | QFile::ReadGroup | QFile::ReadOther));
        QVERIFY(settings.save());
        QCOMPARE(QFile::permissions(m_path), ownerOnly);

        Settings other;
        QCOMPARE(other.load(m_path), Settings::LoadResult::Loaded);
        entries[0].dbpassword = "abbbbbbb";
        QCOMPARE(other.connections(), entries);
        QCOMPARE(other.value(SettingsKey::Login), "admin");
        QCOMPARE(other.intValue(SettingsKey::FontSize), 14);
        QCOMPARE(other.value(SettingsKey::ImagesStoreType), "local");

        // No connections is a state of its own, not a first start.
        other.setConnections({});
        QVERIFY(other.save());
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QVERIFY(settings.connections().isEmpty());
    }

    void foreignContent_survivesSaving()
    {
        writeFile(m_path, "<?xml version=\"1.0\"?>\n"
                          "<settings>\n"
                          "  <printer kind=\"receipt\"><port>9100</port> кассовый </printer>\n"
                          "  <connection><connection>A</connection><dbtype>sqlite</dbtype>"
                          "<own>x</own></connection>\n"
                          "  <connection><connection>A</connection><dbtype>mysql</dbtype>"
                          "</connection>\n"
                          "  <section name=\"weights\"><port>COM1</port><tare>5</tare>"
                          "<rows><row>1</row><row>2</row></rows></section>\n"
                          "  <section name=\"sales\"><title>Касса &lt;1&gt;</title></section>\n"
                          "</settings>\n");
        Settings settings;
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QCOMPARE(settings.value(SettingsKey::ScalesPort), "COM1");
        QCOMPARE(settings.findConnection("A")->dbtype, "sqlite");
        QCOMPARE(settings.findConnection("A (2)")->dbtype, "mysql");
        settings.setValue(SettingsKey::ScalesPort, "COM2");
        QVERIFY(settings.save());

        const QByteArray saved = readFile(m_path);
        for (const char *kept :
             {"<printer kind=\"receipt\"><port>9100</port> кассовый </printer>", "<own>x</own>",
              "<tare>5</tare>", "<rows><row>1</row><row>2</row></rows>",
              "<title>Касса &lt;1&gt;</title>", "<port>COM2</port>"})
            QVERIFY2(saved.contains(kept), kept);
        // Saving what was read changes nothing more, be it repeated ever so often.
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QVERIFY(settings.save());
        QCOMPARE(readFile(m_path), saved);
    }

    void brokenFiles_areKeptAndReported()
    {
        const std::pair<QByteArray, QString> files[] = {
            {"", "строка 1"}, // after a power cut
            {"<settings>\n<connection>\n<dbtype>mysql</dbt", "строка 3"},
            {"<html></html>", "строка 1"},
            {"<settings>\n</settings>\n<x/>", "строка 3"},
            {"<settings>\n<x>\xff\xfe</x></settings>", "строка"}};
        QueuedBoxes boxes;
        Settings settings;
        settings.load(m_path, true); // a first start says nothing
        QStringList kept;
        for (const auto &[content, line] : files) {
            writeFile(m_path, content);
            kept +=
                m_path + ".broken" + (kept.isEmpty() ? "" : "." + QString::number(kept.size() + 1));
            boxes.answer("OK");
            QCOMPARE(settings.load(m_path, true), Settings::LoadResult::Broken);
            const QString text = boxes.lastText();
            QVERIFY2(text.startsWith("Файл настроек " + m_path) && text.contains(line) &&
                         text.endsWith("сохранён как " + kept.last() + "."),
                     qPrintable(text));
            QVERIFY(logText().endsWith(" " + text + "\r\n"));
            QCOMPARE(settings.connections(), QList<ConnectionEntry>{Settings::localConnection()});
        }
        QVERIFY(boxes.verify());
        QVERIFY(settings.save());
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        for (const auto &[content, line] : files)
            QCOMPARE(readFile(kept.takeFirst()), content);
    }

    void unreadableFile_isLeftAlone()
    {
        QueuedBoxes boxes;
        QVERIFY(QDir().mkpath(m_path)); // not even the administrator can read it
        Settings settings;
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Unreadable);
        QVERIFY(logText().contains(m_path) && !QFile::exists(m_path + ".broken"));
        QVERIFY(boxes.verify()); // none was wanted
        QVERIFY(QDir().rmdir(m_path));
        writeFile(m_path, "<settings/>");
        QVERIFY(!settings.save());
        QCOMPARE(readFile(m_path), QByteArray("<settings/>"));
    }

private:
    std::optional<TestHome> m_home;
    QString m_path;
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
