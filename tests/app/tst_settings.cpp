#include "app/configdir.h"
#include "app/settings.h"
#include "tests/support/datatable.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/testhome.h"

#include <QDir>
#include <QFile>

#include <memory>

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home.reset();
        m_home = std::make_unique<TestHome>();
        QVERIFY(ensureConfigDir());
        m_path = settingsFilePath();
    }

    void savedValues_comeBackWhole()
    {
        const QList<ConnectionEntry> entries{Settings::localConnection(),
                                             {.name = "Склад <b>%1</b> «№2»",
                                              .dbtype = "mysql",
                                              .dbhostname = "shop.example:3307",
                                              .dbusername = "kassa",
                                              .dbpassword = "<a & \"b\" 'c'> %1 \\ \t ёлка 🎄 ]]>",
                                              .databasename = "lavkor",
                                              .dbcacert = "/etc/ssl/ca.pem",
                                              .dbclientkey = "/etc/ssl/key.pem",
                                              .dbclientcert = "/etc/ssl/cert.pem",
                                              .other = {{"kassanumber", "7"}}}};
        Settings settings;
        settings.load(m_path);
        settings.setConnections(entries);
        settings.setValue(SettingsKey::Connection, entries.at(1).name);
        settings.setValue(SettingsKey::FontSize, "14");
        QVERIFY(settings.save());

        Settings other;
        QCOMPARE(other.load(m_path), Settings::LoadResult::Loaded);
        QCOMPARE(other.connections(), entries);
        QCOMPARE(other.value(SettingsKey::Connection), entries.at(1).name);
        QCOMPARE(other.intValue(SettingsKey::FontSize), 14);
        QCOMPARE(other.value(SettingsKey::ImagesStoreType), "local");

        // No connections is a state of its own, not a first start.
        other.setConnections({});
        QVERIFY(other.save());
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QVERIFY(settings.connections().isEmpty());
    }

    void savedFile_isReadableByItsOwnerOnly()
    {
        const QFile::Permissions ownerOnly =
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        Settings settings;
        settings.load(m_path);
        QVERIFY(settings.save());
        QCOMPARE(QFile::permissions(m_path), ownerOnly);

        QVERIFY(QFile::setPermissions(m_path, ownerOnly | QFile::ReadGroup | QFile::ReadOther));
        QVERIFY(settings.save());
        QCOMPARE(QFile::permissions(m_path), ownerOnly);
    }

    void foreignContent_survivesSaving()
    {
        writeFile(m_path, "<?xml version=\"1.0\"?>\n"
                          "<settings>\n"
                          "  <printer kind=\"receipt\"><port>9100</port> кассовый </printer>\n"
                          "  <connection><connection>A</connection><dbtype>sqlite</dbtype>"
                          "<own>x</own></connection>\n"
                          "  <section name=\"weights\"><port>COM1</port><tare>5</tare>"
                          "<rows><row>1</row><row>2</row></rows></section>\n"
                          "  <section name=\"sales\"><title>Касса &lt;1&gt;</title></section>\n"
                          "</settings>\n");
        Settings settings;
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QCOMPARE(settings.value(SettingsKey::ScalesPort), "COM1");
        settings.setValue(SettingsKey::ScalesPort, "COM2");
        QVERIFY(settings.save());

        const QByteArray saved = readFile(m_path);
        for (const char *kept :
             {"<printer kind=\"receipt\"><port>9100</port> кассовый </printer>", "<own>x</own>",
              "<tare>5</tare>", "<rows><row>1</row><row>2</row></rows>",
              "<title>Касса &lt;1&gt;</title>", "<port>COM2</port>"})
            QVERIFY2(saved.contains(kept), kept);
        QVERIFY(!saved.contains("COM1"));
        // Saving what was read changes nothing more, be it repeated ever so often.
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QVERIFY(settings.save());
        QCOMPARE(readFile(m_path), saved);
    }

    void charactersThatXmlCannotHold_areLeftOut()
    {
        QString password = "a";
        for (const char16_t c :
             {u'\0', u'\x01', u'\x1b', u'\xD800', u'\xDC00', u'\uFFFE', u'\uFFFF'})
            password += QString(QChar(c)) + u'b';
        ConnectionEntry entry = Settings::localConnection();
        entry.dbpassword = password;
        Settings settings;
        settings.load(m_path);
        settings.setConnections({entry});
        settings.setValue(SettingsKey::Login, "ad\x7mi\rn");
        QVERIFY(settings.save());

        Settings other;
        QCOMPARE(other.load(m_path), Settings::LoadResult::Loaded);
        QCOMPARE(other.connections().first().dbpassword, "abbbbbbb");
        QCOMPARE(other.value(SettingsKey::Login), "admin");
    }

    void connectionsOfOneName_areToldApart()
    {
        writeFile(m_path,
                  "<settings>"
                  "<connection><connection>A</connection><dbtype>sqlite</dbtype></connection>"
                  "<connection><connection>A</connection><dbtype>mysql</dbtype></connection>"
                  "</settings>");
        Settings settings;
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
        QCOMPARE(settings.connections().size(), 2);
        QCOMPARE(settings.findConnection("A")->dbtype, "sqlite");
        QCOMPARE(settings.findConnection("A (2)")->dbtype, "mysql");
    }

    void brokenFile_isKeptAndReported_data()
    {
        addColumns<QByteArray, QString>("content", "line");
        addRow("empty after a power cut", QByteArray(), "строка 1");
        addRow("cut off", QByteArray("<settings>\n<connection>\n<dbtype>mysql</dbt"), "строка 3");
        addRow("wrong end tag", QByteArray("<settings>\n<section name=\"a\">\n</settings>"),
               "строка 3");
        addRow("another document", QByteArray("<html></html>"), "строка 1");
        addRow("rubbish behind", QByteArray("<settings>\n</settings>\n<x/>"), "строка 3");
        addRow("not UTF-8", QByteArray("<settings>\n<x>\xff\xfe</x></settings>"), "строка");
    }

    void brokenFile_isKeptAndReported()
    {
        const auto [content, line] = rowValues<QByteArray, QString>();
        writeFile(m_path, content);

        QueuedBoxes boxes;
        const bool showBox = true;
        Settings settings;
        settings.load(m_path + "none", showBox); // a first start says nothing
        boxes.answer("OK");
        QCOMPARE(settings.load(m_path, showBox), Settings::LoadResult::Broken);
        const QString text = boxes.lastText();
        QVERIFY2(text.startsWith("Файл настроек " + m_path) &&
                     text.endsWith("сохранён как " + m_path + ".broken."),
                 qPrintable(text));
        QVERIFY(boxes.verify());
        QCOMPARE(settings.connections(), QList<ConnectionEntry>{Settings::localConnection()});
        QCOMPARE(readFile(m_path + ".broken"), content);
        const QString log = logText();
        QVERIFY2(log.contains(m_path) && log.contains(line), qPrintable(log));
        QCOMPARE(log.count("\r\n"), 1);

        QVERIFY(settings.save());
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
    }

    void brokenFiles_neverReplaceEachOther()
    {
        Settings settings;
        for (const char *content : {"first", "second", "third"}) {
            writeFile(m_path, content);
            QCOMPARE(settings.load(m_path), Settings::LoadResult::Broken);
        }
        QCOMPARE(readFile(m_path + ".broken"), QByteArray("first"));
        QCOMPARE(readFile(m_path + ".broken.2"), QByteArray("second"));
        QCOMPARE(readFile(m_path + ".broken.3"), QByteArray("third"));
    }

    void unreadableFile_isLeftAlone()
    {
        QVERIFY(QDir().mkpath(m_path)); // not even the administrator can read it
        Settings settings;
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Unreadable);
        QVERIFY(logText().contains(m_path) && !QFile::exists(m_path + ".broken"));
        QVERIFY(QDir().rmdir(m_path));
        writeFile(m_path, "<settings/>");
        QVERIFY(!settings.save());
        QCOMPARE(readFile(m_path), QByteArray("<settings/>"));
    }

    void unwritableDirectory_isReported()
    {
        // A file in the place of the directory also stops the administrator.
        const QString blocked = m_home->path() + "/blocked";
        writeFile(blocked, "x");
        Settings settings;
        QCOMPARE(settings.load(blocked + "/lavkor.settings"), Settings::LoadResult::Missing);
        QString error;
        QVERIFY(!settings.save(&error));
        QVERIFY2(error.startsWith("Не удалось сохранить файл настроек"), qPrintable(error));
        QVERIFY(!settings.save());
    }

private:
    std::unique_ptr<TestHome> m_home;
    QString m_path;
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
