// The self-check as a deployment script sees it: the real program, its one line and exit code.
#include "tests/support/datatable.h"
#include "tests/support/files.h"
#include "tests/support/servers.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

class TestCompatCheck : public QObject
{
    Q_OBJECT

private slots:
    void init()
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

    void program_printsOneLineOfJson()
    {
        run({"-platform", "--compat-check"}); // behind an option of the toolkit
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
        QCOMPARE(home.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }

    void configuration_isNeitherLoadedNorChanged()
    {
        // Reading it as settings would set a broken file aside and write a line to the log.
        const QDir directory(m_home->filePath(".lavkor"));
        QVERIFY(QDir().mkpath(directory.path()));
        const QString settings = directory.filePath("lavkor.settings");
        const QByteArray broken = "<settings><connection>";
        writeFile(settings, broken);

        run({"--compat-check"});
        QCOMPARE(m_exitCode, 0);
        QCOMPARE(m_report.value("configuration_preserved"), QJsonValue(true));
        QCOMPARE(directory.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList("lavkor.settings"));
        QCOMPARE(readFile(settings), broken);
    }

    void mySqlServer_isAskedWhenNamed_data()
    {
        addColumns<QString, QString, bool>("database", "password", "passes");
        addRow("ready", "CHARACTER SET utf8mb4", "probe", true);
        addRow("wrong password", "CHARACTER SET utf8mb4", "other", false);
        addRow("cannot hold Cyrillic", "CHARACTER SET latin1", "probe", false);
    }

    void mySqlServer_isAskedWhenNamed()
    {
        const auto [database, password, passes] = rowValues<QString, QString, bool>();
        TestServers &servers = TestServers::instance();
        servers.client(Dialect::MySql, "mysql",
                       "CREATE OR REPLACE DATABASE lavkor_compat_test " + database +
                           "; CREATE OR REPLACE USER 'lavkor_compat'@'%' IDENTIFIED BY 'probe'; "
                           "GRANT ALL PRIVILEGES ON lavkor_compat_test.* TO 'lavkor_compat'@'%';");
        m_environment.insert("LAVKOR_COMPAT_MYSQL_HOST", "127.0.0.1");
        m_environment.insert("LAVKOR_COMPAT_MYSQL_PORT",
                             QString::number(servers.port(Dialect::MySql)));
        m_environment.insert("LAVKOR_COMPAT_MYSQL_PASSWORD", password);

        run({"--compat-check"});
        QCOMPARE(m_report.value("mysql_query_tested"), QJsonValue(true));
        QCOMPARE(m_report.value("mysql_query"), QJsonValue(passes));
        QCOMPARE(m_report.value("passed"), QJsonValue(passes));
        QCOMPARE(m_exitCode, passes ? 0 : 1);
    }

private:
    /// Runs the program in a home of its own, on a machine without a display.
    void run(const QStringList &arguments)
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

    std::unique_ptr<QTemporaryDir> m_home;
    QProcessEnvironment m_environment;
    int m_exitCode = -1;
    QByteArray m_output;
    QJsonObject m_report;
};

QTEST_GUILESS_MAIN(TestCompatCheck)
#include "tst_compatcheck.moc"
