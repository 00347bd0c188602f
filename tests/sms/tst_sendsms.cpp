#include "sms/sendsmsdialog.h"

#include "app/configdir.h"
#include "app/logging.h"
#include "app/settings.h"
#include "db/connections.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "sms/smsrequest.h"
#include "tests/support/certificates.h"
#include "tests/support/datatable.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/testhome.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

const QString phone = "+7 (912) 345-67-89";
const QString login = "лавка&login";
const QString password = "p@ss=%20 word+/?";

QString seenOutput;

void keepOutput(QtMsgType, const QMessageLogContext &, const QString &text)
{
    seenOutput += text + u'\n';
}

/// A gateway on the loopback: keeps the requests and answers each as the test says.
class GatewayServer : public QSslServer
{
public:
    explicit GatewayServer(const QSslConfiguration &configuration)
    {
        setSslConfiguration(configuration);
        connect(this, &QTcpServer::pendingConnectionAvailable, this, &GatewayServer::serve);
        if (!listen(QHostAddress::LocalHost))
            qFatal("The test gateway cannot listen");
        Settings::instance().setValue(SettingsKey::SmsGateHost,
                                      "127.0.0.1:" + QString::number(serverPort()));
    }

    std::function<void(QTcpSocket *)> onRequest = [](QTcpSocket *) {
    };
    QByteArray received;

    void reply(const QByteArray &bytes)
    {
        onRequest = [bytes](QTcpSocket *socket) {
            socket->write(bytes);
            socket->disconnectFromHost();
        };
    }

private:
    void serve()
    {
        received.clear();
        QTcpSocket *socket = nextPendingConnection();
        const auto read = [this, socket] {
            received += socket->readAll();
            if (received.endsWith("\r\n\r\n"))
                onRequest(socket);
        };
        connect(socket, &QTcpSocket::readyRead, this, read);
        read();
    }
};

} // namespace

class TestSendSms : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_certificates.sign("gateway");
        m_serverConfiguration = QSslConfiguration::defaultConfiguration();
        m_serverConfiguration.setLocalCertificateChain(
            QSslCertificate::fromPath(m_certificates.path("gateway.crt")));
        m_serverConfiguration.setPrivateKey(
            QSslKey(readFile(m_certificates.path("gateway.key")), QSsl::Rsa));
        m_untrusting = QSslConfiguration::defaultConfiguration();
        m_trusting = m_untrusting;
        m_trusting.addCaCertificates(m_certificates.authority());

        ScratchDatabase database(Dialect::Sqlite);
        QVERIFY(database.open());
        database.client("CREATE TABLE currencies(id INTEGER, c_code, symbol, value);"
                        "CREATE TABLE options(id INTEGER, name TEXT, value TEXT);"
                        "INSERT INTO options(name,value) VALUES('SMS_GATE_LOGIN'," +
                        sql::text(login) + "),('SMS_GATE_PASSWORD'," + sql::text(password) +
                        "),('SMS_GATE_SENDER','Лавка');");
        QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
        QSslConfiguration::setDefaultConfiguration(m_trusting);
        SendSmsDialog::setTimeouts(30s, 30s);
        QFile::remove(configDirPath() + "/Lavkor_log.txt");
    }

    void cleanup()
    {
        QVERIFY(m_boxes.verify());
    }

    void wrongNumber_isToldAndNotSent()
    {
        QVERIFY(sms::isMobilePhone(sms::cleanPhone(phone)));
        for (const char *wrong : {"8 912 345-67-89", "7912345678", "791234567890", "7912345678٩"})
            QVERIFY2(!sms::isMobilePhone(sms::cleanPhone(wrong)), wrong);
        m_boxes.answer("OK");
        QVERIFY(!sendSms(nullptr, "нет %1 %2", "Текст"));
        QCOMPARE(m_boxes.lastText(),
                 "СМС не отправлена, неправильный телефонный номер: 12 размер 2");
    }

    void gatewayAddresses_data()
    {
        // host: empty when it is no address
        addColumns<QString, QString, quint16>("text", "host", "port");
        addRow("name", " sms.example ", "sms.example", quint16(443));
        addRow("name and port", "sms.example:8443", "sms.example", quint16(8443));
        addRow("Cyrillic name", "смс.рф", "xn--l1ajb.xn--p1ai", quint16(443));
        addRow("IPv6 and port", "[::1]:8443", "::1", quint16(8443));
        addRow("empty", " ", "", quint16(0));
        addRow("port 0", "sms.example:0", "", quint16(0));
        addRow("port too great", "sms.example:65536", "", quint16(0));
        addRow("URL", "https://sms.example/", "", quint16(0));
        addRow("a second header line", "sms.example\r\nX: y", "", quint16(0));
    }

    void gatewayAddresses()
    {
        const auto [text, host, port] = rowValues<QString, QString, quint16>();
        const std::optional<sms::Gateway> gateway = sms::parseGateway(text);
        QCOMPARE(gateway.has_value(), !host.isEmpty());
        QCOMPARE(gateway ? gateway->host : QString(), host);
        QCOMPARE(gateway ? gateway->port : quint16(0), port);
    }

    void requestIsExact()
    {
        GatewayServer server(m_serverConfiguration);
        server.reply("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n12345: accepted");
        SendSmsDialog dialog(nullptr, phone, "Чай & кофе");
        QCOMPARE(dialog.exec(), 1);
        QCOMPARE(dialog.gatewayAnswer(), "12345: accepted");
        QCOMPARE(server.received,
                 "GET /outbox/send/?login=%D0%BB%D0%B0%D0%B2%D0%BA%D0%B0%26login"
                 "&password=p%40ss%3D%2520%20word%2B%2F%3F&target=79123456789"
                 "&sender=%D0%9B%D0%B0%D0%B2%D0%BA%D0%B0"
                 "&message=%D0%A7%D0%B0%D0%B9%20%26%20%D0%BA%D0%BE%D1%84%D0%B5 HTTP/1.1\r\n"
                 "Host: 127.0.0.1:" +
                     QByteArray::number(server.serverPort()) +
                     "\r\n"
                     "Accept:*/*\r\n"
                     "User-agent:Opera 10.00\r\n"
                     "Connection:Close\r\n"
                     "\r\n");
        const sms::Message message{"l", "p", "7", "s", "t"};
        QVERIFY(sms::requestBytes({.host = "sms.example"}, message)
                    .contains("\r\nHost: sms.example\r\n"));
        QVERIFY(sms::requestBytes({.host = "::1"}, message).contains("\r\nHost: [::1]\r\n"));
    }

    void textArrivesIntact()
    {
        for (const QString text :
             {"a&target=70000000000&b=c", "100% %20 %1 %2", "1+1 #2 a/b? ;,:@$!*'()",
              "x\r\n\r\nGET / HTTP/1.1\r\n\r\n", "«ёлка» \"\\ 🎄"}) {
            const QByteArray path = sms::requestPath({"l", "p", "7", "s", text});
            QCOMPARE(path.count('&'), 4);
            QVERIFY(!path.contains('\r') && !path.contains(' ') && !path.contains('#'));
            QCOMPARE(QUrl::fromPercentEncoding(path.mid(path.lastIndexOf('=') + 1)), text);
        }
    }

    void replyDecides_data()
    {
        // shown: status at the end when not accepted
        addColumns<QByteArrayList, bool, bool, QString>("pieces", "closes", "accepted", "shown");
        QByteArrayList bytewise;
        for (const char c : QByteArray("HTTP/1.1 200 OK\r\n\r\n"))
            bytewise += QByteArray(1, c);
        const QByteArray error = "HTTP/1.1 403 Forbidden\r\nServer: x\r\n\r\nнет денег";
        const QString failed = "Ошибка отправки SMS: ";

        addRow("accepted, connection stays", QByteArrayList{"HTTP/1.1 200 OK\r\n\r\n1"}, false,
               true, QString());
        const QByteArray quoting = "HTTP/1.1 500 Error\r\nX: 200 OK\r\n\r\n200 OK";
        addRow("error that speaks of 200 OK", QByteArrayList{quoting}, true, false,
               failed + QString::fromUtf8(quoting));
        addRow("accepted byte by byte", bytewise, false, true, QString());
        addRow("error", QByteArrayList{error}, true, false, failed + QString::fromUtf8(error));
        addRow("error in two packets, connection stays",
               QByteArrayList{error.left(35), error.mid(35)}, false, false,
               failed + "HTTP/1.1 403 Forbidden\r\nServer: x");
        addRow("closed at once", QByteArrayList{}, true, false, failed);
        addRow("closed within the reply", QByteArrayList{"HTTP/1.1 200 O"}, true, false,
               failed + "HTTP/1.1 200 O");
        addRow("endless rubbish", QByteArrayList{QByteArray(300000, 'x')}, false, false,
               failed + "xxx");
    }

    void replyDecides()
    {
        const auto [pieces, closes, accepted, shown] =
            rowValues<QByteArrayList, bool, bool, QString>();
        GatewayServer server(m_serverConfiguration);
        server.onRequest = [pieces = pieces, closes = closes](QTcpSocket *socket) {
            // One piece per turn of the event loop, so that they leave in packets of their own.
            auto *timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [=]() mutable {
                if (!pieces.isEmpty()) {
                    socket->write(pieces.takeFirst());
                    socket->flush();
                } else {
                    timer->stop();
                    if (closes)
                        socket->disconnectFromHost();
                }
            });
            timer->start(0);
        };
        if (!closes)
            SendSmsDialog::setTimeouts(30s, 50ms);

        SendSmsDialog dialog(nullptr, phone, "Текст");
        QCOMPARE(dialog.exec(), accepted ? 1 : 0);
        if (!accepted) {
            QVERIFY2(status(dialog).startsWith(shown), qPrintable(status(dialog)));
            QVERIFY(status(dialog).size() < 500);
            QCOMPARE(dialog.gatewayAnswer(), QByteArray());
            QCOMPARE(logText().count("\r\n"), 1);
        }
    }

    void unknownCertificateAsks()
    {
        QSslConfiguration::setDefaultConfiguration(m_untrusting);
        GatewayServer server(m_serverConfiguration);
        server.reply("HTTP/1.1 200 OK\r\n\r\n");
        for (const bool sent : {true, false}) {
            server.received.clear();
            SendSmsDialog dialog(nullptr, phone, "Текст");
            QString statusMeanwhile;
            m_boxes.answer(sent ? "Продолжить" : "Отмена",
                           [&] { statusMeanwhile = status(dialog); });
            QCOMPARE(dialog.exec(), sent ? 1 : 0);
            QCOMPARE(!server.received.isEmpty(), sent);

            const BoxRequest request = m_boxes.requests().last();
            QCOMPARE(request.buttons, QStringList({"Продолжить", "Отмена"}));
            QCOMPARE(request.buttons.value(request.escapeButton), "Отмена");
            QVERIFY(!request.html);
            QCOMPARE(request.text,
                     "Обнаружены ошибки ssl:\r\n" + statusMeanwhile.mid(12) + "\r\nПродолжить?");
            QVERIFY(statusMeanwhile.startsWith("Ошибки ssl: ") && statusMeanwhile.size() > 20);
        }
    }

    void aRunAsksOnceAndTellsHowItEnded()
    {
        QSslConfiguration::setDefaultConfiguration(m_untrusting);
        GatewayServer server(m_serverConfiguration);
        server.reply("HTTP/1.1 200 OK\r\n\r\n12: " + password.toUtf8());
        SmsRun run;
        m_boxes.answer("Продолжить");
        for (int i = 0; i < 2; ++i)
            QVERIFY(sendSms(nullptr, phone, "Текст", &run));
        QCOMPARE(run.answer, "12: ***");
        QVERIFY(!sendSms(nullptr, "12345", "Текст", &run));
        QVERIFY(run.reason.contains("неправильный телефонный номер: 12345 размер 5"));
        QVERIFY(!run.over);
        server.onRequest = [](QTcpSocket *) {
            QApplication::activeModalWidget()->close();
        };
        QVERIFY(!sendSms(nullptr, phone, "Текст", &run));
        QVERIFY(run.over && !run.reason.isEmpty());
        run = {};
        m_boxes.answer("Отмена");
        QVERIFY(!sendSms(nullptr, phone, "Текст", &run));
        QVERIFY(run.over && run.reason.contains("Сертификат"));
    }

    void silenceEndsTheWait_data()
    {
        addColumns<bool>("encrypts");
        addRow("after the request", true);
        addRow("before the handshake", false);
    }

    void silenceEndsTheWait()
    {
        QFETCH(bool, encrypts);
        GatewayServer server(m_serverConfiguration);
        QTcpServer deaf;
        if (!encrypts) {
            QVERIFY(deaf.listen(QHostAddress::LocalHost));
            Settings::instance().setValue(SettingsKey::SmsGateHost,
                                          "127.0.0.1:" + QString::number(deaf.serverPort()));
            SendSmsDialog::setTimeouts(50ms, 30s);
        }
        SmsRun run;
        SendSmsDialog dialog(nullptr, phone, "Текст", &run);
        // The stages before the reply keep their long time-out.
        connect(dialog.findChild<QSslSocket *>(), &QSslSocket::connected, this,
                [] { SendSmsDialog::setTimeouts(50ms, 30s); });
        QCOMPARE(dialog.exec(), 0);
        QCOMPARE(status(dialog), "Ошибка отправки SMS: время ожидания истекло");
        QCOMPARE(logText().count("время ожидания истекло\r\n"), 1);
        QVERIFY(run.over);
        if (encrypts)
            QTRY_VERIFY(server.received.contains("message=%D0%A2%D0%B5%D0%BA%D1%81%D1%82 "));
    }

    void withoutGatewayNothingIsSent()
    {
        QTcpServer gone;
        QVERIFY(gone.listen(QHostAddress::LocalHost));
        const QString nobody = "127.0.0.1:" + QString::number(gone.serverPort());
        gone.close();
        const std::pair<QString, QString> told[] = {
            {"", "СМС не отправлена: адрес SMS-шлюза не задан"},
            {"https://sms.example/", "неправильный адрес SMS-шлюза: https://sms.example/"},
            {nobody, "Ошибка отправки SMS: "}};
        for (const auto &[address, text] : told) {
            Settings::instance().setValue(SettingsKey::SmsGateHost, address);
            QVERIFY(!sendSms(nullptr, phone, "Текст"));
            QVERIFY2(logText().section("\r\n", -2).contains(text), qPrintable(logText()));
        }
    }

    void cancelEndsTheWait()
    {
        GatewayServer server(m_serverConfiguration);
        SendSmsDialog dialog(nullptr, phone, "Текст");
        QString statusMeanwhile;
        server.onRequest = [&](QTcpSocket *socket) {
            statusMeanwhile = status(dialog);
            QTest::mouseClick(dialog.findChild<QPushButton *>("cancelPushButton"), Qt::LeftButton);
            socket->write("HTTP/1.1 200 OK\r\n\r\n");
            socket->flush();
        };
        QCOMPARE(dialog.exec(), 0);
        QCOMPARE(statusMeanwhile, "Ожидание ответа");
        QCoreApplication::processEvents();
        QCOMPARE(dialog.result(), 0);
        QCOMPARE(dialog.exec(), 0);
    }

    void secretsStayInside()
    {
        GatewayServer server(m_serverConfiguration);
        server.onRequest = [&](QTcpSocket *socket) {
            socket->write("HTTP/1.1 401 Unauthorized\r\n\r\nwrong request: " + server.received +
                          " user " + login.toUtf8() + " password " + password.toUtf8());
            socket->disconnectFromHost();
        };
        seenOutput.clear();
        const QtMessageHandler former = qInstallMessageHandler(keepOutput);
        setConsoleDebug(true);
        setFileDebug(true);
        SendSmsDialog dialog(nullptr, phone, "Текст %1");
        const int result = dialog.exec();
        setConsoleDebug(false);
        setFileDebug(false);
        qInstallMessageHandler(former);

        QCOMPARE(result, 0);
        const QString debugFile = readFile(configDirPath() + "/debug.txt");
        const QString log = logText();
        QVERIFY(debugFile.contains("SendSmsDialog(+7 (912) 345-67-89, Текст %1)\r\n"));
        QVERIFY(log.contains("Ошибка отправки SMS: HTTP/1.1 401 Unauthorized"));
        for (const QString &text : {seenOutput, debugFile, log, status(dialog)}) {
            for (const QString &secret : {login, password}) {
                QVERIFY2(!text.contains(secret), qPrintable(text));
                QVERIFY2(!text.contains(QString::fromLatin1(QUrl::toPercentEncoding(secret))),
                         qPrintable(text));
            }
        }
    }

    void dialogMayGoAtAnyTime()
    {
        GatewayServer server(m_serverConfiguration);
        { // right after the connection was begun
            SendSmsDialog dialog(nullptr, phone, "Текст");
        }
        QCoreApplication::processEvents();

        { // with an encrypted connection and a reply on its way
            SendSmsDialog dialog(nullptr, phone, "Текст");
            bool requested = false;
            server.onRequest = [&](QTcpSocket *socket) {
                socket->write("HTTP/1.1 200 OK\r\n\r\n");
                socket->flush();
                requested = true;
            };
            QTRY_VERIFY(requested);
        }
        QCoreApplication::processEvents();

        { // with the question about the certificate on its way
            QSslConfiguration::setDefaultConfiguration(m_untrusting);
            SendSmsDialog dialog(nullptr, phone, "Текст");
            bool asked = false;
            connect(dialog.findChild<QSslSocket *>(), &QSslSocket::sslErrors, this, [&] {
                dialog.reject();
                asked = true;
            });
            QTRY_VERIFY(asked);
        }
        QCoreApplication::processEvents();
        QCOMPARE(m_boxes.requests().size(), 0);
    }

private:
    static QString status(const SendSmsDialog &dialog)
    {
        return dialog.findChild<QLabel *>("statusLabel")->text();
    }

    TestHome m_home;
    Certificates m_certificates;
    QSslConfiguration m_untrusting;
    QSslConfiguration m_trusting;
    QSslConfiguration m_serverConfiguration;
    QueuedBoxes m_boxes;
};

QTEST_MAIN(TestSendSms)
#include "tst_sendsms.moc"
