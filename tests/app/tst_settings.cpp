#include "app/configdir.h"
#include "app/messages.h"
#include "app/settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

ConnectionEntry serverConnection(const QString &name)
{
    ConnectionEntry entry;
    entry.name = name;
    entry.dbtype = QStringLiteral("mysql");
    entry.dbhostname = QStringLiteral("shop.example:3307");
    entry.dbusername = QStringLiteral("kassa");
    entry.dbpassword = QStringLiteral("<a & \"b\" 'c'> %1 \\ \t ёлка 🎄 ]]>");
    entry.databasename = QStringLiteral("lavkor");
    entry.dbcacert = QStringLiteral("/etc/ssl/ca.pem");
    entry.dbclientkey = QStringLiteral("/etc/ssl/key.pem");
    entry.dbclientcert = QStringLiteral("/etc/ssl/cert.pem");
    entry.other = {{QStringLiteral("kassanumber"), QStringLiteral("7")}};
    return entry;
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void missingFile_offersTheLocalConnection();
    void savedValues_comeBackWhole();
    void savedFile_isReadableByItsOwnerOnly();
    void foreignContent_survivesSaving();
    void charactersThatXmlCannotHold_areLeftOut();
    void connectionsOfOneName_areToldApart();
    void brokenFile_isKeptAndReported_data();
    void brokenFile_isKeptAndReported();
    void brokenFile_isShownAtTheStart();
    void brokenFiles_neverReplaceEachOther();
    void unwritableDirectory_isReported();

private:
    std::unique_ptr<QTemporaryDir> m_home;
    QString m_path;
    QString m_log;
};

void TestSettings::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toUtf8());
    QVERIFY(ensureConfigDir());
    m_path = settingsFilePath();
    m_log = configDirPath() + QStringLiteral("/Lavkor_log.txt");
}

void TestSettings::missingFile_offersTheLocalConnection()
{
    Settings settings;
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Missing);
    QCOMPARE(settings.connections().size(), 1);
    const ConnectionEntry entry = settings.connections().first();
    QCOMPARE(entry.name, QStringLiteral("Локальная база"));
    QCOMPARE(entry.dbtype, QStringLiteral("sqlite"));
    QCOMPARE(entry.databasename, QStringLiteral("lavkor.sqlite"));
    QCOMPARE(settings.value(SettingsKey::ImagesStoreType), QStringLiteral("local"));
    QCOMPARE(settings.intValue(SettingsKey::Sounds), 1);
    QVERIFY(!QFile::exists(m_log));
}

void TestSettings::savedValues_comeBackWhole()
{
    const QList<ConnectionEntry> entries{Settings::localConnection(),
                                         serverConnection(QStringLiteral("Склад <b>%1</b> «№2»"))};
    Settings settings;
    settings.load(m_path);
    settings.setConnections(entries);
    settings.setValue(SettingsKey::Connection, entries.at(1).name);
    settings.setValue(SettingsKey::FontSize, QStringLiteral("14"));
    settings.setValue(SettingsKey::ScalesPort, QStringLiteral("/dev/ttyS0"));
    QVERIFY(settings.save());

    Settings other;
    QCOMPARE(other.load(m_path), Settings::LoadResult::Loaded);
    QCOMPARE(other.connections(), entries);
    QCOMPARE(other.value(SettingsKey::Connection), entries.at(1).name);
    QCOMPARE(other.intValue(SettingsKey::FontSize), 14);
    QCOMPARE(other.value(SettingsKey::ScalesPort), QStringLiteral("/dev/ttyS0"));
    QCOMPARE(other.value(SettingsKey::ImagesStoreType), QStringLiteral("local"));

    // No connections is a state of its own, not a first start.
    other.setConnections({});
    QVERIFY(other.save());
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
    QVERIFY(settings.connections().isEmpty());
}

void TestSettings::savedFile_isReadableByItsOwnerOnly()
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

void TestSettings::foreignContent_survivesSaving()
{
    QVERIFY(writeFile(m_path, "<?xml version=\"1.0\"?>\n"
                              "<settings>\n"
                              "  <printer kind=\"receipt\"><port>9100</port> кассовый </printer>\n"
                              "  <connection><connection>A</connection><dbtype>sqlite</dbtype>"
                              "<own>x</own></connection>\n"
                              "  <section name=\"weights\"><port>COM1</port><tare>5</tare>"
                              "<rows><row>1</row><row>2</row></rows></section>\n"
                              "  <section name=\"sales\"><title>Касса &lt;1&gt;</title></section>\n"
                              "</settings>\n"));
    Settings settings;
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
    QCOMPARE(settings.value(SettingsKey::ScalesPort), QStringLiteral("COM1"));
    settings.setValue(SettingsKey::ScalesPort, QStringLiteral("COM2"));
    QVERIFY(settings.save());

    const QByteArray saved = readFile(m_path);
    QVERIFY(saved.contains("<printer kind=\"receipt\"><port>9100</port> кассовый </printer>"));
    QVERIFY(saved.contains("<own>x</own>"));
    QVERIFY(saved.contains("<tare>5</tare>"));
    QVERIFY(saved.contains("<rows><row>1</row><row>2</row></rows>"));
    QVERIFY(saved.contains("<title>Касса &lt;1&gt;</title>"));
    QVERIFY(saved.contains("<port>COM2</port>"));
    QVERIFY(!saved.contains("COM1"));

    // Saving what was read changes nothing more, be it repeated ever so often.
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
    QVERIFY(settings.save());
    QCOMPARE(readFile(m_path), saved);
}

void TestSettings::charactersThatXmlCannotHold_areLeftOut()
{
    QString password = QStringLiteral("a");
    for (const char16_t c : {u'\0', u'\x01', u'\x1b', u'\xD800', u'\xDC00', u'\uFFFE', u'\uFFFF'})
        password += QString(QChar(c)) + u'b';
    ConnectionEntry entry = Settings::localConnection();
    entry.dbpassword = password;
    Settings settings;
    settings.load(m_path);
    settings.setConnections({entry});
    settings.setValue(SettingsKey::Login, QStringLiteral("ad\x7mi\rn"));
    QVERIFY(settings.save());

    Settings other;
    QCOMPARE(other.load(m_path), Settings::LoadResult::Loaded);
    QCOMPARE(other.connections().first().dbpassword, QStringLiteral("abbbbbbb"));
    QCOMPARE(other.value(SettingsKey::Login), QStringLiteral("admin"));
}

void TestSettings::connectionsOfOneName_areToldApart()
{
    QVERIFY(writeFile(m_path, "<settings>"
                              "<connection><connection>A</connection><dbtype>sqlite</dbtype>"
                              "</connection>"
                              "<connection><connection>A</connection><dbtype>mysql</dbtype>"
                              "</connection>"
                              "</settings>"));
    Settings settings;
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
    QCOMPARE(settings.connections().size(), 2);
    QCOMPARE(settings.findConnection(QStringLiteral("A"))->dbtype, QStringLiteral("sqlite"));
    QCOMPARE(settings.findConnection(QStringLiteral("A (2)"))->dbtype, QStringLiteral("mysql"));
}

void TestSettings::brokenFile_isKeptAndReported_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("line");
    QTest::newRow("empty after a power cut") << QByteArray() << QStringLiteral("строка 1");
    QTest::newRow("cut off") << QByteArray("<settings>\n<connection>\n<dbtype>mysql</dbt")
                             << QStringLiteral("строка 3");
    QTest::newRow("wrong end tag") << QByteArray("<settings>\n<section name=\"a\">\n</settings>")
                                   << QStringLiteral("строка 3");
    QTest::newRow("another document") << QByteArray("<html></html>") << QStringLiteral("строка 1");
    QTest::newRow("rubbish behind")
        << QByteArray("<settings>\n</settings>\n<x/>") << QStringLiteral("строка 3");
    QTest::newRow("not UTF-8") << QByteArray("<settings>\n<x>\xff\xfe</x></settings>")
                               << QStringLiteral("строка");
}

void TestSettings::brokenFile_isKeptAndReported()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, line);
    QVERIFY(writeFile(m_path, content));

    Settings settings;
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Broken);
    QCOMPARE(settings.connections(), QList<ConnectionEntry>{Settings::localConnection()});
    QCOMPARE(readFile(m_path + QStringLiteral(".broken")), content);
    const QString log = QString::fromUtf8(readFile(m_log));
    QVERIFY2(log.contains(m_path) && log.contains(line), qPrintable(log));
    QCOMPARE(log.count(QStringLiteral("\r\n")), 1);

    QVERIFY(settings.save());
    QCOMPARE(settings.load(m_path), Settings::LoadResult::Loaded);
}

void TestSettings::brokenFile_isShownAtTheStart()
{
    QStringList boxes;
    const BoxHandler former = setBoxHandler([&boxes](QWidget *, const BoxRequest &request) {
        boxes += request.text;
        return 0;
    });
    Settings settings;
    const bool showBox = true;
    settings.load(m_path, showBox); // a first start says nothing
    QVERIFY(boxes.isEmpty());
    QVERIFY(writeFile(m_path, "<settings>\n<connection>"));
    settings.load(m_path, showBox);
    setBoxHandler(former);
    QCOMPARE(boxes.size(), 1);
    QVERIFY2(boxes.first().startsWith(QStringLiteral("Файл настроек ") + m_path) &&
                 boxes.first().contains(QStringLiteral("строка 2")) &&
                 boxes.first().endsWith(QStringLiteral("сохранён как ") + m_path +
                                        QStringLiteral(".broken.")),
             qPrintable(boxes.first()));
}

void TestSettings::brokenFiles_neverReplaceEachOther()
{
    Settings settings;
    for (const char *content : {"first", "second", "third"}) {
        QVERIFY(writeFile(m_path, content));
        QCOMPARE(settings.load(m_path), Settings::LoadResult::Broken);
    }
    QCOMPARE(readFile(m_path + QStringLiteral(".broken")), QByteArray("first"));
    QCOMPARE(readFile(m_path + QStringLiteral(".broken.2")), QByteArray("second"));
    QCOMPARE(readFile(m_path + QStringLiteral(".broken.3")), QByteArray("third"));
}

void TestSettings::unwritableDirectory_isReported()
{
    // A file in the place of the directory also stops the administrator.
    const QString blocked = m_home->filePath(QStringLiteral("blocked"));
    QVERIFY(writeFile(blocked, "x"));
    Settings settings;
    QCOMPARE(settings.load(blocked + QStringLiteral("/lavkor.settings")),
             Settings::LoadResult::Missing);
    QString error;
    QVERIFY(!settings.save(&error));
    QVERIFY2(error.startsWith(QStringLiteral("Не удалось сохранить файл настроек")),
             qPrintable(error));
    QVERIFY(!settings.save());
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
