#include "sms/gatewaycheck.h"
#include "sms/sendsmsdialog.h"

#include "app/configdir.h"
#include "app/logging.h"
#include "app/settings.h"
#include "db/connections.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "sms/smsrequest.h"
#include "tests/support/certificates.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/testhome.h"
#include "tests/support/widgets.h"

#include <QFile>
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
    }

    std::function<void(QTcpSocket *)> onRequest;
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
            if (onRequest && received.endsWith("\r\n\r\n"))
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
        Certificates certificates;
        certificates.sign("gateway");
        m_untrusting = QSslConfiguration::defaultConfiguration();
        QSslConfiguration server = m_untrusting;
        server.setLocalCertificateChain(
            QSslCertificate::fromPath(certificates.path("gateway.crt")));
        server.setPrivateKey(QSslKey(readFile(certificates.path("gateway.key")), QSsl::Rsa));
        m_server = std::make_unique<GatewayServer>(server);
        m_trusting = m_untrusting;
        m_trusting.addCaCertificates(certificates.authority());

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
        Settings::instance().setValue(SettingsKey::SmsGateHost, addressOf(*m_server));
        m_server->onRequest = {};
        QFile::remove(configDirPath() + "/Lavkor_log.txt");
    }

    void cleanup()
    {
        QVERIFY(m_boxes.verify());
    }

    void wrongNumbersAndAddresses_areNotUsed()
    {
        for (const char *wrong : {"8 912 345-67-89", "7912345678", "791234567890", "7912345678٩"})
            QVERIFY2(!sms::isMobilePhone(sms::cleanPhone(wrong)), wrong);
        m_boxes.answer("OK");
        QVERIFY(!sendSms(nullptr, "нет %1 %2", "Текст"));
        QCOMPARE(m_boxes.lastText(),
                 "СМС не отправлена, неправильный телефонный номер: 12 размер 2");
        const std::pair<QString, sms::Gateway> good[] = {{" sms.example ", {"sms.example", 443}},
                                                         {"смс.рф", {"xn--l1ajb.xn--p1ai", 443}},
                                                         {"[::1]:8443", {"::1", 8443}}};
        for (const auto &[text, gateway] : good)
            QVERIFY2(sms::parseGateway(text) == gateway, qPrintable(text));
        for (const char *text : {" ", "sms.example:0", "sms.example:65536", "https://sms.example/",
                                 "sms.example\r\nX: y"})
            QVERIFY2(!sms::parseGateway(text), text);
    }

    void requestIsExact()
    {
        m_server->reply("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n12345: accepted");
        SendSmsDialog dialog(nullptr, phone, "Чай & кофе\r\n\r\n#?🎄");
        QCOMPARE(dialog.exec(), 1);
        QCOMPARE(dialog.gatewayAnswer(), "12345: accepted");
        QCOMPARE(m_server->received,
                 "GET /outbox/send/?login=%D0%BB%D0%B0%D0%B2%D0%BA%D0%B0%26login"
                 "&password=p%40ss%3D%2520%20word%2B%2F%3F&target=79123456789"
                 "&sender=%D0%9B%D0%B0%D0%B2%D0%BA%D0%B0"
                 "&message=%D0%A7%D0%B0%D0%B9%20%26%20%D0%BA%D0%BE%D1%84%D0%B5%0D%0A%0D%0A%23%3F"
                 "%F0%9F%8E%84 HTTP/1.1\r\n"
                 "Host: 127.0.0.1:" +
                     QByteArray::number(m_server->serverPort()) +
                     "\r\nAccept:*/*\r\nUser-agent:Opera 10.00\r\nConnection:Close\r\n\r\n");
        const sms::Message message{"l", "p", "7", "s", "t"};
        QVERIFY(sms::requestBytes({.host = "sms.example"}, message)
                    .contains("\r\nHost: sms.example\r\n"));
        QVERIFY(sms::requestBytes({.host = "::1"}, message).contains("\r\nHost: [::1]\r\n"));
    }

    void replyDecides()
    {
        QByteArrayList bytewise;
        for (const char c : QByteArray("HTTP/1.1 200 OK\r\n\r\n"))
            bytewise += QByteArray(1, c);
        const struct
        {
            QByteArrayList pieces;
            bool closes;
            QString shown; ///< the beginning; nothing when the message is accepted
        } replies[] = {
            {bytewise, false, ""},
            {{"HTTP/1.1 500 Error\r\nX: 200 OK\r\n\r\n200 OK"}, true, "HTTP/1.1 500 Error\r\nX: 2"},
            {{"HTTP/1.1 403 Forb", "idden\r\nServer: x\r\n\r\n"},
             false,
             "HTTP/1.1 403 Forbidden\r\nS"},
            {{}, true, ""},
            {{"HTTP/1.1 200 O"}, true, "HTTP/1.1 200 O"},
            {{QByteArray(300000, 'x')}, false, "xxx"}};
        for (const auto &[pieces, closes, shown] : replies) {
            m_server->onRequest = [pieces = pieces, closes = closes](QTcpSocket *socket) {
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
            SendSmsDialog::setTimeouts(30s, closes ? 30s : 50ms);
            SendSmsDialog dialog(nullptr, phone, "Текст");
            const bool accepted = pieces == bytewise;
            QCOMPARE(dialog.exec(), accepted ? 1 : 0);
            QVERIFY2(accepted || status(dialog).startsWith("Ошибка отправки SMS: " + shown),
                     qPrintable(status(dialog)));
            QVERIFY(status(dialog).size() < 500);
            QCOMPARE(dialog.gatewayAnswer(), QByteArray());
        }
        QCOMPARE(logText().count("\r\n"), std::size(replies) - 1);
    }

    void aRunAsksOnceAndTellsHowItEnded()
    {
        QSslConfiguration::setDefaultConfiguration(m_untrusting);
        m_server->reply("HTTP/1.1 200 OK\r\n\r\n12: " + password.toUtf8());
        SmsRun run;
        m_boxes.answer("Продолжить");
        for (int i = 0; i < 2; ++i)
            QVERIFY(sendSms(nullptr, phone, "Текст", &run));
        QCOMPARE(run.answer, "12: ***");
        QVERIFY(!sendSms(nullptr, "12345", "Текст", &run));
        QVERIFY(run.reason.contains("неправильный телефонный номер: 12345 размер 5"));
        QVERIFY(!run.over);

        // By its button, while the reply comes.
        SendSmsDialog dialog(nullptr, phone, "Текст", &run);
        m_server->onRequest = [&](QTcpSocket *socket) {
            QCOMPARE(status(dialog), "Ожидание ответа");
            click(dialog, "cancelPushButton");
            socket->write("HTTP/1.1 200 OK\r\n\r\n");
            socket->flush();
        };
        QCOMPARE(dialog.exec(), 0);
        QVERIFY(run.over && !run.reason.isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(dialog.exec(), 0);

        run = {};
        m_server->received.clear();
        m_boxes.answer("Отмена");
        QVERIFY(!sendSms(nullptr, phone, "Текст", &run));
        QVERIFY(run.over && run.reason.contains("Сертификат"));
        QVERIFY(m_server->received.isEmpty());
        const BoxRequest request = m_boxes.requests().last();
        QCOMPARE(request.buttons.value(request.escapeButton), "Отмена");
        QVERIFY(!request.html && request.text.startsWith("Обнаружены ошибки ssl:\r\nThe "));
    }

    void silenceEndsTheWait()
    {
        QTcpServer deaf; // before the handshake
        QTcpServer gone;
        QVERIFY(deaf.listen(QHostAddress::LocalHost) && gone.listen(QHostAddress::LocalHost));
        const QString nobody = addressOf(gone);
        gone.close();
        const QString patience = "Ошибка отправки SMS: время ожидания истекло";
        const std::pair<QString, QString> told[] = {
            {"", "СМС не отправлена: адрес SMS-шлюза не задан."},
            {"https://sms.example/", "неправильный адрес SMS-шлюза: https://sms.example/"},
            {nobody, "Ошибка отправки SMS: "},
            {addressOf(deaf), patience},
            {addressOf(*m_server), patience}};
        for (const auto &[address, text] : told) {
            Settings::instance().setValue(SettingsKey::SmsGateHost, address);
            SendSmsDialog::setTimeouts(address == addressOf(deaf) ? 50ms : 30s, 30s);
            SmsRun run;
            SendSmsDialog dialog(nullptr, phone, "Текст", &run);
            // The stages before the reply keep their long time-out.
            connect(dialog.findChild<QSslSocket *>(), &QSslSocket::connected, this,
                    [] { SendSmsDialog::setTimeouts(50ms, 30s); });
            QCOMPARE(dialog.exec(), 0);
            QVERIFY2(status(dialog).contains(text), qPrintable(status(dialog)));
            QVERIFY(logText().endsWith(" " + status(dialog) + "\r\n") && run.over);
        }
        QCOMPARE(logText().count("\r\n"), std::size(told));
        QTRY_VERIFY(m_server->received.contains("message=%D0%A2%D0%B5%D0%BA%D1%81%D1%82 "));
    }

    void secretsStayInside()
    {
        m_server->onRequest = [this](QTcpSocket *socket) {
            socket->write("HTTP/1.1 401 Unauthorized\r\n\r\nwrong request: " + m_server->received +
                          " user " + login.toUtf8() + " password " + password.toUtf8());
            socket->disconnectFromHost();
        };
        const QtMessageHandler former = qInstallMessageHandler(keepOutput);
        setConsoleDebug(true);
        setFileDebug(true);
        SendSmsDialog dialog(nullptr, phone, "Текст %1");
        const int result = dialog.exec();
        setConsoleDebug(false);
        setFileDebug(false);
        qInstallMessageHandler(former);

        QCOMPARE(result, 0);
        const QString all =
            seenOutput + readFile(configDirPath() + "/debug.txt") + logText() + status(dialog);
        QVERIFY(all.contains("SendSmsDialog(+7 (912) 345-67-89, Текст %1)\r\n"));
        QVERIFY(logText().contains("Ошибка отправки SMS: HTTP/1.1 401 Unauthorized"));
        for (const QString &secret : {login, password}) {
            QVERIFY2(!all.contains(secret), qPrintable(all));
            QVERIFY2(!all.contains(QUrl::toPercentEncoding(secret)), qPrintable(all));
        }
    }

    void dialogMayGoAtAnyTime()
    {
        { // with an encrypted connection and a reply on its way
            SendSmsDialog dialog(nullptr, phone, "Текст");
            bool requested = false;
            m_server->onRequest = [&](QTcpSocket *socket) {
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
    }

    void gatewayTrial_sendsNothing()
    {
        m_server->received.clear();
        QStringList faults;
        const auto look = [&](const QString &address) {
            sms::checkGateway(address, this, [&](const QString &fault) { faults += fault; });
        };
        const QString address = addressOf(*m_server);
        QSslConfiguration::setDefaultConfiguration(m_trusting);
        look(address);
        QTRY_COMPARE(faults.size(), 1);
        QCOMPARE(faults.last(), QString());
        QSslConfiguration::setDefaultConfiguration(m_untrusting);
        look(address);
        QTRY_COMPARE(faults.size(), 2);
        QVERIFY2(faults.last().startsWith("Сертификату"), qPrintable(faults.last()));
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const quint16 port = closed.serverPort();
        closed.close();
        look("127.0.0.1:" + QString::number(port));
        QTRY_COMPARE(faults.size(), 3);
        QVERIFY2(faults.last().contains("не принимает"), qPrintable(faults.last()));
        look("https://sms.example");
        look("");
        QCOMPARE(faults.size(), 5);
        QVERIFY(m_server->received.isEmpty());
    }

private:
    static QString status(const SendSmsDialog &dialog)
    {
        return child<QLabel>(dialog, "statusLabel")->text();
    }

    static QString addressOf(const QTcpServer &server)
    {
        return "127.0.0.1:" + QString::number(server.serverPort());
    }

    TestHome m_home;
    std::unique_ptr<GatewayServer> m_server;
    QSslConfiguration m_untrusting;
    QSslConfiguration m_trusting;
    QueuedBoxes m_boxes;
};

QTEST_MAIN(TestSendSms)
#include "tst_sendsms.moc"
