// The self-check as a deployment script sees it: the real program, its one line and exit code.
#include "app/program/compatcheck.h"
#include "tests/support/servers.h"

#include <QDir>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <vector>

class TestCompatCheck : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void argument_isFoundAnywhereWhenSpelledExactly_data();
    void argument_isFoundAnywhereWhenSpelledExactly();
    void program_printsOneLineOfJson_data();
    void program_printsOneLineOfJson();
    void configuration_isNeitherLoadedNorChanged();
    void mySqlServer_isAskedWhenNamed_data();
    void mySqlServer_isAskedWhenNamed();

private:
    /// Runs the program in a home of its own, on a machine without a display.
    void run(const QStringList &arguments);

    std::unique_ptr<QTemporaryDir> m_home;
    QProcessEnvironment m_environment;
    int m_exitCode = -1;
    QByteArray m_output;
    QJsonObject m_report;
};

void TestCompatCheck::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    m_environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "LAVKOR_COMPAT_MYSQL_HOST",
                             "LAVKOR_COMPAT_MYSQL_PORT", "LAVKOR_COMPAT_MYSQL_PASSWORD"})
        m_environment.remove(name);
    m_environment.insert("QT_QPA_PLATFORM", "xcb");
    m_environment.insert("HOME", m_home->path());
}

void TestCompatCheck::run(const QStringList &arguments)
{
    QProcess program;
    program.setProcessEnvironment(m_environment);
    program.start(LAVKOR_PROGRAM, arguments);
    program.closeWriteChannel();
    QVERIFY2(program.waitForFinished(60'000), qPrintable(program.errorString()));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    m_exitCode = program.exitCode();
    m_output = program.readAllStandardOutput();
    m_report = QJsonDocument::fromJson(m_output).object();
}

void TestCompatCheck::argument_isFoundAnywhereWhenSpelledExactly_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<bool>("found");
    QTest::newRow("first") << QByteArrayList{"lavkor", "--compat-check"} << true;
    QTest::newRow("behind others")
        << QByteArrayList{"lavkor", "-debug", "x", "--compat-check"} << true;
    QTest::newRow("name of the program") << QByteArrayList{"--compat-check"} << true;
    QTest::newRow("none") << QByteArrayList{"lavkor"} << false;
    QTest::newRow("upper case") << QByteArrayList{"lavkor", "--COMPAT-CHECK"} << false;
    QTest::newRow("one dash") << QByteArrayList{"lavkor", "-compat-check"} << false;
    QTest::newRow("more behind it") << QByteArrayList{"lavkor", "--compat-check=1"} << false;
}

void TestCompatCheck::argument_isFoundAnywhereWhenSpelledExactly()
{
    QFETCH(QByteArrayList, arguments);
    std::vector<const char *> argv;
    for (const QByteArray &argument : arguments)
        argv.push_back(argument.constData());
    argv.push_back(nullptr);
    QTEST(wantsCompatCheck(int(arguments.size()), argv.data()), "found");
}

void TestCompatCheck::program_printsOneLineOfJson_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("alone") << QStringList{"--compat-check"};
    QTest::newRow("first") << QStringList{"--compat-check", "-debug"};
    QTest::newRow("last") << QStringList{"-debug", "receipt", "--compat-check"};
    QTest::newRow("behind an option of the toolkit") << QStringList{"-platform", "--compat-check"};
}

void TestCompatCheck::program_printsOneLineOfJson()
{
    QFETCH(QStringList, arguments);
    run(arguments);
    QCOMPARE(m_exitCode, 0);
    QCOMPARE(m_output, QJsonDocument(m_report).toJson(QJsonDocument::Compact) + '\n');
    const QJsonObject expected = {{"passed", true},
                                  {"qt", QString::fromLatin1(qVersion())},
                                  {"architecture", QSysInfo::buildCpuArchitecture()},
                                  {"sqlite_transaction", true},
                                  {"mysql_driver", true},
                                  {"mysql_query_tested", false},
                                  {"mysql_query", false},
                                  {"hardware_disabled", true},
                                  {"hardware_policy", "acquiring"},
                                  {"configuration_preserved", true},
                                  {"windows1251", true},
                                  {"tls", true},
                                  {"tls_backend", "openssl"}};
    QCOMPARE(m_report, expected);
    // Not even the configuration directory was made.
    const QDir home(m_home->path());
    QCOMPARE(home.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
}

void TestCompatCheck::configuration_isNeitherLoadedNorChanged()
{
    // Reading it as settings would set a broken file aside and write a line to the log.
    const QDir directory(m_home->filePath(".lavkor"));
    QVERIFY(QDir().mkpath(directory.path()));
    QFile settings(directory.filePath("lavkor.settings"));
    const QByteArray broken = "<settings><connection>";
    QVERIFY(settings.open(QIODevice::ReadWrite));
    settings.write(broken);
    QVERIFY(settings.flush());

    run({"--compat-check"});
    QCOMPARE(m_exitCode, 0);
    QCOMPARE(m_report.value("configuration_preserved"), QJsonValue(true));
    QCOMPARE(directory.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList("lavkor.settings"));
    QVERIFY(settings.seek(0));
    QCOMPARE(settings.readAll(), broken);
}

void TestCompatCheck::mySqlServer_isAskedWhenNamed_data()
{
    QTest::addColumn<QString>("database");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("passes");
    QTest::newRow("ready") << "CHARACTER SET utf8mb4"
                           << "probe" << true;
    QTest::newRow("wrong password") << "CHARACTER SET utf8mb4"
                                    << "other" << false;
    QTest::newRow("cannot hold Cyrillic") << "CHARACTER SET latin1"
                                          << "probe" << false;
}

void TestCompatCheck::mySqlServer_isAskedWhenNamed()
{
    QFETCH(QString, database);
    QFETCH(QString, password);
    QFETCH(bool, passes);
    TestServers &servers = TestServers::instance();
    servers.client(Dialect::MySql, "mysql",
                   "CREATE OR REPLACE DATABASE lavkor_compat_test " + database +
                       "; CREATE OR REPLACE USER 'lavkor_compat'@'%' IDENTIFIED BY 'probe'; "
                       "GRANT ALL PRIVILEGES ON lavkor_compat_test.* TO 'lavkor_compat'@'%';");
    m_environment.insert("LAVKOR_COMPAT_MYSQL_HOST", "127.0.0.1");
    m_environment.insert("LAVKOR_COMPAT_MYSQL_PORT", QString::number(servers.port(Dialect::MySql)));
    m_environment.insert("LAVKOR_COMPAT_MYSQL_PASSWORD", password);

    run({"--compat-check"});
    QCOMPARE(m_report.value("mysql_query_tested"), QJsonValue(true));
    QCOMPARE(m_report.value("mysql_query"), QJsonValue(passes));
    QCOMPARE(m_report.value("passed"), QJsonValue(passes));
    QCOMPARE(m_exitCode, passes ? 0 : 1);
}

QTEST_GUILESS_MAIN(TestCompatCheck)
#include "tst_compatcheck.moc"
