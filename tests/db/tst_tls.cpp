// Encrypted connections to MariaDB: what the TLS keys of a settings entry promise.
#include "db/query.h"
#include "db/transaction.h"
#include "tests/support/certificates.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/datatable.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"

#include <QRegularExpression>

class TestTls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_certificates.sign("server");
        m_certificates.sign("client");
        m_strangers.sign("client");
        m_server.restartMariaDb({"--ssl-ca=" + m_certificates.authority(),
                                 "--ssl-cert=" + m_certificates.path("server.crt"),
                                 "--ssl-key=" + m_certificates.path("server.key")});
        m_server.client(Dialect::MySql, "mysql",
                        "CREATE USER 'certified'@'%' IDENTIFIED BY 'lavkor' REQUIRE X509; "
                        "GRANT ALL PRIVILEGES ON *.* TO 'certified'@'%';");
    }

    void cleanup()
    {
        setStatementObserver({});
        removeConnection(mainConnection);
        QVERIFY(m_boxes.verify());
    }

    void certificates_decideOnTheConnection_data()
    {
        const QString own = m_certificates.authority();
        // told: what the box names when the connection fails
        addColumns<QString, QString, QString, QString>("user", "authority", "client", "told");
        addRow("the server's own authority", "lavkor", own, "", "");
        addRow("another authority", "lavkor", m_strangers.authority(), "", "TLS/SSL");
        addRow("a missing file", "lavkor", m_certificates.path("none.crt"), "", "TLS/SSL");
        addRow("no client certificate", "certified", own, "", "certified");
        addRow("one of the authority", "certified", own, m_certificates.path("client"), "");
        addRow("one of another authority", "certified", own, m_strangers.path("client"), " ");
    }

    void certificates_decideOnTheConnection()
    {
        const auto [user, authority, client, told] =
            rowValues<QString, QString, QString, QString>();
        ConnectionEntry entry = m_server.entry(Dialect::MySql, "mysql");
        entry.dbusername = user;
        entry.dbcacert = authority;
        if (!client.isEmpty()) {
            entry.dbclientkey = client + ".key";
            entry.dbclientcert = client + ".crt";
        }
        if (told.isEmpty()) {
            QVERIFY(createConnection(nullptr, entry, mainConnection));
            QVERIFY(!cipher().isEmpty());
        } else {
            m_boxes.answer("OK");
            QVERIFY(!createConnection(nullptr, entry, mainConnection));
            const QString text = m_boxes.lastText() + m_boxes.requests().last().details;
            QVERIFY2(text.startsWith("Ошибка создания соединения: ") && text.contains(told),
                     qPrintable(text));
        }
    }

    /// The client library has other words for it than on a connection in clear text.
    void lostAnswer_isALostConnection()
    {
        CuttingProxy proxy(m_server.port(Dialect::MySql));
        m_server.client(Dialect::MySql, "mysql", "CREATE DATABASE cut;");
        ConnectionEntry entry = m_server.entry(Dialect::MySql, "cut");
        entry.dbcacert = m_certificates.authority();
        entry.dbhostname = QString("127.0.0.1:%1").arg(proxy.port());
        QVERIFY(createConnection(nullptr, entry, mainConnection));
        const QString before = cipher();
        QVERIFY(QueryExec(nullptr, "CREATE TABLE t(id INTEGER) ENGINE=InnoDB"));
        const auto count = [this] {
            return m_server.client(Dialect::MySql, "cut", "SELECT COUNT(*) FROM t");
        };

        setStatementObserver([&](const QString &sqlText, const QString &) {
            if (sqlText == "COMMIT")
                proxy.cutNext(CuttingProxy::Cut::Answer, "");
        });
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
        QVERIFY(!transactionCommit());
        QVERIFY(lastFailure().text.contains("неизвестно"));
        QCOMPARE(count(), "1");

        setStatementObserver({});
        QCOMPARE(cipher(), before); // connected again, or that would be cut
        proxy.cutNext(CuttingProxy::Cut::Answer, "", false, 100);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("SQL"));
        QVERIFY(!QueryExec(nullptr, "INSERT INTO t(id) VALUES('2'/*" + QString(200, u'-') + "*/)"));
        QVERIFY(proxy.hasCut());
        QVERIFY(lastFailure().text.contains("неизвестно"));
        QCOMPARE(count(), "2");
    }

    void serverWithoutTls_isRefusedWhenTlsIsAsked()
    {
        // The client library itself would go on in clear text.
        ConnectionEntry entry = m_server.entry(Dialect::MySql, "mysql");
        m_server.restartMariaDb({"--skip-ssl"});
        QVERIFY(createConnection(nullptr, entry, mainConnection));
        QVERIFY(cipher().isEmpty());
        entry.dbcacert = m_certificates.authority();
        m_boxes.answer("OK");
        QVERIFY(!createConnection(nullptr, entry, mainConnection));
        QCOMPARE(m_boxes.lastText(),
                 "Ошибка создания соединения: Сервер не шифрует соединение, хотя "
                 "для него указаны ключи TLS.");
        QVERIFY(!openConnection(mainConnection));
    }

private:
    /// The cipher of the connection, empty without encryption.
    QString cipher() const
    {
        QList<SqlRow> rows;
        if (!QueryRows(nullptr, "SHOW STATUS LIKE 'Ssl_cipher';", rows) || rows.size() != 1)
            return "no answer";
        return rows.first().at(1).toString();
    }

    TestServers &m_server = TestServers::instance();
    TestHome m_home;
    QueuedBoxes m_boxes;
    Certificates m_certificates;
    Certificates m_strangers;
};

QTEST_GUILESS_MAIN(TestTls)
#include "tst_tls.moc"
