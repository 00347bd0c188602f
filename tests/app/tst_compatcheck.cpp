// The self-check as a deployment script sees it: the real program, its one line and exit code.
#include "app/configdir.h"
#include "tests/support/files.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"

#include <QDir>
#include <QProcess>
#include <QTest>

class TestCompatCheck : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "LAVKOR_COMPAT_MYSQL_HOST"})
            m_environment.remove(name);
        m_environment.insert("QT_QPA_PLATFORM", "xcb");
    }

    void program_printsOneLineOfJsonAndTouchesNothing()
    {
        run({"-platform", "--compat-check"}); // behind an option of the toolkit
        QCOMPARE(m_exitCode, 0);
        const QString expected =
            R"({"architecture":"%1","configuration_preserved":true,"hardware_disabled":true,)"
            R"("hardware_policy":"acquiring","mysql_driver":true,"mysql_query":false,)"
            R"("mysql_query_tested":false,"passed":true,"qt":"%2","sqlite_transaction":true,)"
            R"("tls":true,"tls_backend":"openssl","windows1251":true})";
        QCOMPARE(m_output, expected.arg(QSysInfo::buildCpuArchitecture(), qVersion()) + '\n');
        const auto files = [](const QString &path) {
            return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        };
        QCOMPARE(files(m_home.path()), QStringList());

        // Reading it as settings would set a broken file aside and write a line to the log.
        QVERIFY(ensureConfigDir());
        writeFile(settingsFilePath(), "<settings><connection>");
        run({"--compat-check"});
        QCOMPARE(m_exitCode, 0);
        QCOMPARE(files(configDirPath()), QStringList("lavkor.settings"));
        QCOMPARE(readFile(settingsFilePath()), QByteArray("<settings><connection>"));
    }

    void mySqlServer_isAskedWhenNamed()
    {
        TestServers &servers = TestServers::instance();
        m_environment.insert("LAVKOR_COMPAT_MYSQL_HOST", "127.0.0.1");
        m_environment.insert("LAVKOR_COMPAT_MYSQL_PORT",
                             QString::number(servers.port(Dialect::MySql)));
        for (const auto &[letters, password, passes] : {std::tuple("utf8mb4", "probe", true),
                                                        {"utf8mb4", "other", false},
                                                        {"latin1", "probe", false}}) {
            servers.client(
                Dialect::MySql, "mysql",
                QString("CREATE OR REPLACE DATABASE lavkor_compat_test CHARACTER SET ") + letters +
                    "; CREATE OR REPLACE USER 'lavkor_compat'@'%' IDENTIFIED BY 'probe'; "
                    "GRANT ALL PRIVILEGES ON lavkor_compat_test.* TO 'lavkor_compat'@'%';");
            m_environment.insert("LAVKOR_COMPAT_MYSQL_PASSWORD", password);
            run({"--compat-check"});
            const QString result = passes ? "true" : "false";
            QVERIFY2(m_output.contains("\"mysql_query\":" + result +
                                       ",\"mysql_query_tested\":true,\"passed\":" + result),
                     qPrintable(m_output));
            QCOMPARE(m_exitCode, passes ? 0 : 1);
        }
    }

private:
    /// Runs the program on a machine without a display.
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
    }

    TestHome m_home;
    QProcessEnvironment m_environment;
    int m_exitCode = -1;
    QString m_output;
};

QTEST_GUILESS_MAIN(TestCompatCheck)
#include "tst_compatcheck.moc"
