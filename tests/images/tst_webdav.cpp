#include "images/multistatus.h"
#include "images/qwebdav.h"
#include "images/webdavrequest.h"
#include "tests/support/datatable.h"
#include "tests/support/recordingserver.h"
#include "tests/support/testhome.h"

#include <QNetworkProxy>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace std::chrono_literals;
using State = BackgroundWork::State;
using Fault = WebdavRequest::Fault;

namespace {

const QByteArray type = "text/xml; charset=utf-8";

struct Outcome
{
    State state = State::New;
    Fault fault = Fault::None;
    int status = 0;
    QString reason;
    QByteArray bytes;
};

/// Waits for the end of a request.
Outcome ended(QWebdav &client, QNetworkReply *reply)
{
    Outcome result;
    const WebdavRequest *request = client.request(reply);
    QObject::connect(request, &BackgroundWork::finished, request, [&result, request] {
        result = {request->state(), request->fault(), request->status(), request->reason(),
                  request->reply()->isOpen() ? request->reply()->readAll() : QByteArray()};
    });
    if (!QTest::qWaitFor([&] { return result.state != State::New; }, 60'000))
        qFatal("a request does not end");
    return result;
}

/// Sends a piece again and again, until the other side has had enough.
void pour(QTcpSocket *socket, const QByteArray &piece, std::chrono::milliseconds pause)
{
    auto *timer = new QTimer(socket);
    QObject::connect(timer, &QTimer::timeout, socket, [socket, piece] {
        if (socket->bytesToWrite() < 4'000'000)
            socket->write(piece);
    });
    timer->start(pause);
}

QByteArray response(const QByteArray &href, const QByteArray &properties = {})
{
    return "<D:response><D:href>" + href + "</D:href><D:propstat><D:prop>" + properties +
           "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
}

QByteArray multistatus(const QByteArray &responses)
{
    return "<?xml version=\"1.0\"?><D:multistatus xmlns:D=\"DAV:\">" + responses +
           "</D:multistatus>";
}

} // namespace

class TestWebdav : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QNetworkProxyFactory::setUseSystemConfiguration(false);
    }

    void requestsAreExact()
    {
        RecordingServer server;
        QWebdav client;
        client.setConnectionSettings(QWebdav::HTTP, "127.0.0.1", "/Фото/a b#%&/", "u", "p",
                                     server.serverPort());
        const QString odd = "/originals/я #1 100%&?.jpg";
        const QByteArray root = "/%D0%A4%D0%BE%D1%82%D0%BE/a%20b%23%25%26";
        const QByteArray path = root + "/originals/%D1%8F%20%231%20100%25%26%3F.jpg";
        const QByteArray target = client.url("/b").toEncoded();
        const QByteArray xml = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>";
        const struct
        {
            std::function<QNetworkReply *()> send;
            QByteArray line;
            QList<std::pair<QByteArray, QByteArray>> headers;
            QByteArray body;
        } cases[] = {
            {[&] { return client.list(odd, 2); },
             "PROPFIND " + path,
             {{"Depth", "infinity"}, {"Content-Type", type}},
             xml + "<D:propfind xmlns:D=\"DAV:\" ><D:prop><D:getlastmodified/>"
                   "<D:getcontentlength/><D:resourcetype/></D:prop></D:propfind>"},
            {[&] {
                 return client.propfind("/a", {{"DAV:", {"x"}}, {"urn:&", {"y"}}}, 1);
             },
             "PROPFIND " + root + "/a",
             {{"Depth", "1"}},
             xml + "<D:propfind xmlns:D=\"DAV:\" ><D:prop><D:x/><y xmlns=\"urn:&amp;\"/></D:prop>"
                   "</D:propfind>"},
            {[&] {
                 return client.proppatch("/a", {{"DAV:", {{"x", "1"}}}, {"urn:", {{"y", "<я>"}}}});
             },
             "PROPPATCH " + root + "/a",
             {},
             xml + "<D:proppatch xmlns:D=\"DAV:\" ><D:prop><D:x>1</D:x><y xmlns=\"urn:\">&lt;я&gt;"
                   "</y></D:prop></D:propfind>"},
            {[&] { return client.search("/a", "<q/>"); },
             "SEARCH " + root + "/a",
             {},
             "<?xml version=\"1.0\"?>\r\n<D:searchrequest xmlns:D=\"DAV:\">\r\n<q/>"
             "</D:searchrequest>\r\n"},
            {[&] { return client.mkcol("/a/"); }, "MKCOL " + root + "/a/", {}, ""},
            {[&] { return client.remove("/a"); }, "DELETE " + root + "/a", {}, ""},
            {[&] { return client.move("/a", "/b", true); },
             "MOVE " + root + "/a",
             {{"Destination", target}, {"Depth", "infinity"}, {"Overwrite", "T"}},
             ""},
            {[&] { return client.copy("/a", "/b"); },
             "COPY " + root + "/a",
             {{"Destination", target}, {"Depth", "infinity"}, {"Overwrite", "F"}},
             ""},
            {[&] { return client.get("/a"); }, "GET " + root + "/a", {{"Range", ""}}, ""},
            {[&] { return client.get("/a", 100); },
             "GET " + root + "/a",
             {{"Range", "bytes=100-"}},
             ""},
            {[&] { return client.put("/a", "bytes"); }, "PUT " + root + "/a", {}, "bytes"},
        };
        for (const auto &[send, line, headers, body] : cases) {
            QCOMPARE(ended(client, send()).state, State::Done);
            const QByteArray request = server.requests.last();
            QCOMPARE(request.left(request.indexOf('\r')), line + " HTTP/1.1");
            QCOMPARE(request.mid(request.indexOf("\r\n\r\n") + 4), body);
            for (const auto &[name, value] : headers)
                QCOMPARE(RecordingServer::header(request, name), value);
        }

        client.setConnectionSettings(QWebdav::HTTP, "h", "/r", {}, {}, 80);
        QCOMPARE(client.url("/x").toString(), "http://h/r/x");
        client.setConnectionSettings(QWebdav::HTTPS, "h", "/", {}, {}, 443);
        QCOMPARE(client.url("/x").toString(), "https://h/x");
        client.setConnectionSettings(QWebdav::HTTPS, "h", "/r", {}, {}, 8080);
        QCOMPARE(client.url("/x").toString(), "https://h:8080/r/x");
    }

    void listsAreRead()
    {
        const QByteArray all = multistatus(
            response("/my%20share/originals/", "<D:resourcetype><D:collection/></D:resourcetype>") +
            response("http://host:81/my%20share/originals/%D1%8F%20%231%25%26.jpg",
                     "<D:getcontentlength>17</D:getcontentlength><D:resourcetype/>"
                     "<D:getlastmodified>Sun, 06 Nov 1994 08:49:37 GMT</D:getlastmodified>") +
            "<D:response><D:href>/my%20share/gone</D:href><D:status>HTTP/1.1 404 No</D:status>"
            "</D:response>");
        MultistatusReader reader(QUrl("http://host/my%20share"));
        for (const char c : all)
            QVERIFY2(reader.add(QByteArray(1, c)), qPrintable(reader.fault()));
        QVERIFY(reader.finish());
        QCOMPARE(reader.entries().size(), 2);
        QVERIFY(reader.entries().at(0).isCollection);
        const WebdavEntry file = reader.entries().at(1);
        QCOMPARE(file.path, "originals/я #1%&.jpg");
        QCOMPARE(file.contentLength, 17);
        QCOMPARE(file.lastModified, QDateTime(QDate(1994, 11, 6), QTime(8, 49, 37), Qt::UTC));
    }

    void hostileListsAreRefused()
    {
        QByteArray bomb = "<!DOCTYPE m [<!ENTITY a0 \"xxxxxxxxxx\">";
        for (char c = '1'; c <= '9'; ++c)
            bomb += QByteArray("<!ENTITY aN \"&aM;&aM;&aM;&aM;&aM;&aM;&aM;&aM;\">")
                        .replace('N', c)
                        .replace('M', static_cast<char>(c - 1));
        const QByteArray start = multistatus({}).chopped(16);
        const QByteArray answers[] = {
            "",
            "<html><body>Index of /</body></html>",
            "\x89PNG\r\n",
            bomb + "]><D:multistatus xmlns:D=\"DAV:\">&a9;</D:multistatus>",
            multistatus(response("/share/x")).chopped(3),
            start + "<D:response><D:href>" + QByteArray(1'000'000, 'x'),
            start + "<" + QByteArray(1'000'000, 'x'),
            start + QByteArray("<a>").repeated(100'000),
            multistatus(response("/share/../etc/passwd")),
            multistatus(response("/share/%2e%2e/x")),
            multistatus(response("/share/a%2Fb")),
            multistatus(response("/other/x")),
            multistatus(response("/sharex")),
            multistatus(response("http://evil.example/share/x")),
            multistatus(response("")),
        };
        for (const QByteArray &answer : answers) {
            MultistatusReader reader(QUrl("http://host/share"));
            QVERIFY2(!reader.add(answer) || !reader.finish(), answer.left(200).constData());
            QVERIFY(!reader.fault().isEmpty() && reader.entries().isEmpty());
        }
    }

    void hostileAnswersEnd_data()
    {
        addColumns<QByteArray, QByteArray, Fault>("head", "endless", "fault");
        const QByteArray ok = "HTTP/1.1 200 OK\r\n";
        addRow("huge, told", ok + "Content-Length: 99999999999\r\n\r\n", QByteArray(),
               Fault::Refused);
        addRow("huge, not told", ok + "\r\n", QByteArray(1'000'000, 'x'), Fault::Refused);
        addRow("not HTTP", QByteArray("SSH-2.0-OpenSSH_9\r\n\r\n"), QByteArray(), Fault::Server);
        addRow("silent", QByteArray(), QByteArray(), Fault::None);
        addRow("header without end", ok, "X: " + QByteArray(100'000, 'x') + "\r\n", Fault::None);
    }

    void hostileAnswersEnd()
    {
        const auto [head, endless, fault] = rowValues<QByteArray, QByteArray, Fault>();
        RecordingServer server;
        server.onRequest = [head = head, endless = endless](QTcpSocket *socket,
                                                            const QByteArray &) {
            socket->write(head);
            if (!endless.isEmpty())
                pour(socket, endless, 0ms);
        };
        QWebdav client;
        connectTo(client, server);
        client.setPatience(1s, 30s);
        const Outcome outcome = ended(client, client.get("/x"));
        QCOMPARE(outcome.state, fault == Fault::None ? State::TimedOut : State::Failed);
        QCOMPARE(outcome.fault, fault);
        QVERIFY(!outcome.reason.isEmpty());
        server.reply(RecordingServer::answer("200 OK"));
        QCOMPARE(ended(client, client.get("/y")).state, State::Done);
    }

    void slowDripRunsOutOfTime()
    {
        RecordingServer server;
        server.onRequest = [](QTcpSocket *socket, const QByteArray &) {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
            pour(socket, "x", 20ms);
        };
        QWebdav client;
        connectTo(client, server);
        client.setPatience(10s, 1s);
        QCOMPARE(ended(client, client.get("/x")).state, State::TimedOut);
    }

    void cutAnswersAreNoFiles()
    {
        for (const QByteArray &head : {QByteArray("Content-Length: 1000\r\n\r\n"),
                                       QByteArray("Transfer-Encoding: chunked\r\n\r\n3e8\r\n")}) {
            RecordingServer server;
            server.onRequest = [head](QTcpSocket *socket, const QByteArray &) {
                socket->write("HTTP/1.1 200 OK\r\n" + head + "half");
                socket->disconnectFromHost();
            };
            QWebdav client;
            connectTo(client, server);
            const Outcome outcome = ended(client, client.get("/x"));
            QCOMPARE(outcome.state, State::Failed);
            QCOMPARE(outcome.fault, Fault::Broken);
            QCOMPARE(outcome.bytes, "half");
        }
    }

    void redirectsStayInside()
    {
        RecordingServer server;
        RecordingServer foreign;
        QByteArray target;
        server.onRequest = [&](QTcpSocket *socket, const QByteArray &request) {
            const bool moved = request.startsWith("PUT /share/old");
            socket->write(
                moved ? RecordingServer::answer("307 Moved", {}, "Location: " + target + "\r\n")
                      : RecordingServer::answer("201 Created"));
        };
        QWebdav client;
        connectTo(client, server);
        const QByteArray host = "http://127.0.0.1:";
        target = "/share/new%20one";
        QCOMPARE(ended(client, client.put("/old", "bytes")).reason, QString());
        QVERIFY(server.requests.last().startsWith("PUT /share/new%20one HTTP") &&
                server.requests.last().endsWith("bytes"));
        for (const QByteArray &outside :
             {QByteArray("/elsewhere/x"), QByteArray("/share/../x"), QByteArray("/share/old"),
              host + QByteArray::number(foreign.serverPort()) + "/share/x",
              "https://127.0.0.1:" + QByteArray::number(server.serverPort()) + "/share/x"}) {
            target = outside;
            const Outcome outcome = ended(client, client.put("/old", "bytes"));
            QVERIFY2(outcome.state == State::Failed && outcome.fault == Fault::Refused,
                     outside.constData());
        }
        QCOMPARE(foreign.requests.size(), 0);
    }

    void refusedCredentialsAreToldOncePerReply()
    {
        RecordingServer server;
        server.reply(
            RecordingServer::answer("401 No", "page", "WWW-Authenticate: Basic realm=\"x\"\r\n"));
        QWebdav client;
        connectTo(client, server);
        const QSignalSpy errors(&client, &QWebdav::errorChanged);
        const QSignalSpy replies(&client, &QWebdav::replyFinished);
        for (int i = 1; i <= 2; ++i) {
            QCOMPARE(ended(client, client.get("/x")).fault, Fault::Server);
            QCOMPARE(errors.size(), i);
            QCOMPARE(replies.size(), i);
        }
        QCOMPARE(errors.last().first().toString(),
                 "WebDAV server requires authentication. Check WebDAV share settings!");
        QVERIFY(server.requests.size() <= 6);
        // What is still on its way when the client goes ends with it.
        auto *gone = new QWebdav;
        connectTo(*gone, server);
        gone->put("/x", QByteArray(1'000'000, 'x'));
        delete gone;
        QCoreApplication::processEvents();
    }

private:
    static void connectTo(QWebdav &client, const RecordingServer &server)
    {
        client.setConnectionSettings(QWebdav::HTTP, "127.0.0.1", "/share", "anna", "secret",
                                     server.serverPort());
    }
};

QTEST_GUILESS_MAIN(TestWebdav)
#include "tst_webdav.moc"
