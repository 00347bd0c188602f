// Encrypted connections to MariaDB: what the TLS keys of a settings entry promise.
#include "db/query.h"
#include "tests/support/certificates.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"

#include <QTest>

class TestTls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();
    void authority_decidesOnTheConnection_data();
    void authority_decidesOnTheConnection();
    void clientCertificate_isShownToTheServer_data();
    void clientCertificate_isShownToTheServer();
    void reopenedConnection_isEncryptedAgain();
    void serverWithoutTls_isRefusedWhenTlsIsAsked();

private:
    QString cipher() const;

    TestHome m_home;
    QueuedBoxes m_boxes;
    Certificates m_certificates;
    Certificates m_strangers;
};

void TestTls::initTestCase()
{
    m_certificates.sign("server");
    m_certificates.sign("client");
    m_strangers.sign("client");
    TestServers::instance().restartMariaDb({"--ssl-ca=" + m_certificates.authority(),
                                            "--ssl-cert=" + m_certificates.path("server.crt"),
                                            "--ssl-key=" + m_certificates.path("server.key")});
    TestServers::instance().client(
        Dialect::MySql, "mysql",
        "CREATE USER 'certified'@'%' IDENTIFIED BY 'lavkor' REQUIRE X509; "
        "GRANT ALL PRIVILEGES ON *.* TO 'certified'@'%';");
}

void TestTls::cleanup()
{
    removeConnection(mainConnection);
    QVERIFY(m_boxes.verify());
}

void TestTls::cleanupTestCase()
{
    TestServers::instance().restartMariaDb({});
}

/// The cipher of the connection, empty without encryption.
QString TestTls::cipher() const
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, "SHOW STATUS LIKE 'Ssl_cipher';", rows) || rows.size() != 1)
        return "no answer";
    return rows.first().at(1).toString();
}

void TestTls::authority_decidesOnTheConnection_data()
{
    QTest::addColumn<QString>("authority");
    QTest::addColumn<bool>("connects");
    QTest::newRow("the server's own") << m_certificates.authority() << true;
    QTest::newRow("another one") << m_strangers.authority() << false;
    QTest::newRow("a file that is not there") << m_certificates.path("none.crt") << false;
}

void TestTls::authority_decidesOnTheConnection()
{
    QFETCH(QString, authority);
    QFETCH(bool, connects);
    ConnectionEntry entry = TestServers::instance().entry(Dialect::MySql, "mysql");
    entry.dbcacert = authority;
    if (!connects)
        m_boxes.answer("OK");
    QCOMPARE(createConnection(nullptr, entry, mainConnection), connects);
    if (!connects)
        QVERIFY2(m_boxes.lastText().startsWith("Ошибка создания соединения: ") &&
                     m_boxes.lastText().contains("TLS/SSL"),
                 qPrintable(m_boxes.lastText()));
    else
        QVERIFY(!cipher().isEmpty());
}

void TestTls::clientCertificate_isShownToTheServer_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("certificate");
    QTest::addColumn<bool>("connects");
    QTest::newRow("none") << QString() << QString() << false;
    QTest::newRow("of the authority")
        << m_certificates.path("client.key") << m_certificates.path("client.crt") << true;
    QTest::newRow("of another one")
        << m_strangers.path("client.key") << m_strangers.path("client.crt") << false;
}

void TestTls::clientCertificate_isShownToTheServer()
{
    QFETCH(QString, key);
    QFETCH(QString, certificate);
    QFETCH(bool, connects);
    ConnectionEntry entry = TestServers::instance().entry(Dialect::MySql, "mysql");
    entry.dbusername = "certified";
    entry.dbcacert = m_certificates.authority();
    entry.dbclientkey = key;
    entry.dbclientcert = certificate;
    if (!connects)
        m_boxes.answer("OK");
    QCOMPARE(createConnection(nullptr, entry, mainConnection), connects);
    if (connects)
        QCOMPARE(QueryValue(nullptr, "SELECT CURRENT_USER();").toString(), "certified@%");
}

void TestTls::reopenedConnection_isEncryptedAgain()
{
    ConnectionEntry entry = TestServers::instance().entry(Dialect::MySql, "mysql");
    entry.dbcacert = m_certificates.authority();
    QVERIFY(createConnection(nullptr, entry, mainConnection));
    const QString before = cipher();
    TestServers::instance().killClients(Dialect::MySql);
    QCOMPARE(cipher(), before);
}

void TestTls::serverWithoutTls_isRefusedWhenTlsIsAsked()
{
    // The client library itself would go on in clear text.
    ConnectionEntry entry = TestServers::instance().entry(Dialect::MySql, "mysql");
    TestServers::instance().restartMariaDb({"--skip-ssl"});
    QVERIFY(createConnection(nullptr, entry, mainConnection));
    QVERIFY(cipher().isEmpty());
    entry.dbcacert = m_certificates.authority();
    m_boxes.answer("OK");
    QVERIFY(!createConnection(nullptr, entry, mainConnection));
    QCOMPARE(m_boxes.lastText(), "Ошибка создания соединения: Сервер не шифрует соединение, хотя "
                                 "для него указаны ключи TLS.");
    QVERIFY(!openConnection(mainConnection));
}

QTEST_GUILESS_MAIN(TestTls)
#include "tst_tls.moc"
