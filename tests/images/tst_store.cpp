#include "app/settings.h"
#include "images/certificatetrust.h"
#include "images/imagesstore.h"
#include "images/qwebdav.h"
#include "images/storecheck.h"
#include "images/storecopy.h"
#include "images/webdavrequest.h"
#include "tests/support/certificates.h"
#include "tests/support/databaseserver.h"
#include "tests/support/datatable.h"
#include "tests/support/davserver.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/recordingserver.h"
#include "tests/support/testhome.h"

#include <QDir>
#include <QEventLoop>
#include <QNetworkProxy>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QTest>
#include <QTimer>

using namespace std::chrono_literals;
using Kind = DavServer::Kind;
using Access = DavServer::Access;

namespace {

constexpr int patience = 120'000;
const QString oddName = QStringLiteral("originals/Товар №1 100% #2 & +;=?.jpg");

/// Everything that a store has answered, as "verb name reason".
class Answers
{
public:
    explicit Answers(ImagesStore &store)
    {
        using Store = ImagesStore;
        const auto on = [this, &store](auto signal, auto slot) {
            QObject::connect(&store, signal, &m_context, slot);
        };
        on(&Store::getCompleted, [this](const QString &name, const QByteArray &bytes) {
            files.insert(name, bytes);
            note("got " + name);
        });
        on(&Store::getFailed, [this](const QString &name, const QString &reason, bool missing) {
            note((missing ? "missing " : "no get ") + name, reason);
        });
        on(&Store::putCompleted, [this](const QString &name) { note("put " + name); });
        on(&Store::putFailed,
           [this](const QString &name, const QString &reason) { note("no put " + name, reason); });
        on(&Store::removeCompleted, [this](const QString &name) { note("removed " + name); });
        on(&Store::removeFailed, [this](const QString &name, const QString &reason) {
            note("not removed " + name, reason);
        });
        on(&Store::listCompleted, [this](const QString &folder, const QList<StoreFile> &listed) {
            list = listed;
            note("listed " + folder);
        });
        on(&Store::listFailed, [this](const QString &folder, const QString &reason) {
            note("no list " + folder, reason);
        });
    }

    /// Waits for so many answers in all.
    bool wait(qsizetype count)
    {
        // Not by qWaitFor(), which sleeps between its looks.
        QTimer limit;
        QObject::connect(&limit, &QTimer::timeout, &m_loop, &QEventLoop::quit);
        limit.start(patience);
        m_wanted = count;
        if (all.size() < count)
            m_loop.exec();
        return all.size() >= count;
    }

    QStringList all;
    QStringList reasons;
    QHash<QString, QByteArray> files;
    QList<StoreFile> list;

private:
    void note(const QString &text, const QString &reason = {})
    {
        all += text;
        if (!reason.isEmpty())
            reasons += reason;
        if (all.size() >= m_wanted)
            m_loop.quit();
    }

    QObject m_context;
    QEventLoop m_loop;
    qsizetype m_wanted = 0;
};

ImagesStoreSettings settingsFor(quint16 port, const QString &scheme = "http://")
{
    return {.type = "webdav",
            .path = "dav",
            .host = scheme + "127.0.0.1",
            .port = QString::number(port),
            .login = DavServer::user(),
            .password = DavServer::password()};
}

const QString passwordText = "WebDAV server requires authentication. Check WebDAV share settings!";

QByteArray randomBytes(int size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &c : bytes)
        c = static_cast<char>(generator.generate());
    return bytes;
}

} // namespace

class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QNetworkProxyFactory::setUseSystemConfiguration(false);
        m_certificates.sign("first");
        m_certificates.sign("second");
    }

    void init()
    {
        Settings::instance().reset();
        Settings::instance().load(m_home.path() + "/settings");
        certificatetrust::forgetRefusals();
    }

    void cleanup()
    {
        QCoreApplication::processEvents();
        QVERIFY(m_boxes.verify());
    }

    void bothBackEndsBehaveAlike_data()
    {
        addColumns<int, Access>("server", "access");
        addRow("local", -1, Access::Open);
        for (const auto &[name, kind] :
             {std::pair("apache", Kind::Apache), std::pair("lighttpd", Kind::Lighttpd)}) {
            addRow(qPrintable(QString(name) + " open"), int(kind), Access::Open);
            addRow(qPrintable(QString(name) + " basic"), int(kind), Access::Basic);
            addRow(qPrintable(QString(name) + " digest"), int(kind), Access::Digest);
        }
    }

    void bothBackEndsBehaveAlike()
    {
        const auto [kind, access] = rowValues<int, Access>();
        std::unique_ptr<DavServer> server;
        ImagesStoreSettings settings;
        QString root = settings.localRoot();
        if (kind >= 0) {
            server = std::make_unique<DavServer>(Kind(kind), access);
            settings = settingsFor(server->port());
            root = server->files();
        }
        ImagesStore store(settings);
        Answers answers(store);

        const QByteArray picture = randomBytes(300'000, 1);
        store.list("originals"); // nothing is there yet
        store.get(oddName, 7);
        store.put(oddName, "first");
        store.put(oddName, picture);
        store.get(oddName);
        store.get(oddName);
        QVERIFY(answers.all.isEmpty());
        QVERIFY(answers.wait(5));
        answers.all.removeOne("listed originals");
        QCOMPARE(answers.all, QStringList({"missing " + oddName, "put " + oddName, "put " + oddName,
                                           "got " + oddName}));
        QCOMPARE(answers.files.value(oddName), picture);
        QCOMPARE(readFile(root + u'/' + oddName), picture);
        QVERIFY(logText().contains("File opening error: ") && logText().contains(" id: 7\r\n"));

        store.put("thumbs/empty.jpg", "");
        store.list("originals");
        QVERIFY(answers.wait(6));
        QCOMPARE(answers.list.size(), 1);
        QCOMPARE(answers.list.first().name, oddName.section('/', 1));
        QCOMPARE(answers.list.first().size, picture.size());
        QVERIFY(qAbs(answers.list.first().modified.secsTo(QDateTime::currentDateTime())) < 3600);

        answers.all.clear();
        store.remove(oddName);
        store.remove(oddName);
        store.get(oddName);
        QVERIFY(answers.wait(3));
        QCOMPARE(answers.all,
                 QStringList({"removed " + oddName, "removed " + oddName, "missing " + oddName}));
        store.get("thumbs/empty.jpg");
        QVERIFY(answers.wait(4));
        QVERIFY(logText().contains("File is empty?: "));

        answers.all.clear();
        const QStringList outside = {"../x", "originals/../../x", "/etc/passwd",   "",
                                     "a//b", "originals/a\\b",    "originals/a\nb"};
        for (const QString &name : outside)
            store.put(name, "x");
        QVERIFY(answers.wait(outside.size()));
        for (const QString &name : outside)
            QVERIFY(answers.all.contains("no put " + name));
        QVERIFY(!QFile::exists(root + "/../x"));

        answers.all.clear();
        store.put("originals/x.jpg", picture);
        store.get("originals/x.jpg");
        store.cancel("originals/x.jpg");
        QVERIFY(answers.wait(1));
        QTest::qWait(50);
        QCOMPARE(answers.all, {"put originals/x.jpg"});
    }

    void thousandFilesComeThroughWhole_data()
    {
        addColumns<Kind, bool>("server", "encrypted");
        addRow("apache", Kind::Apache, false);
        addRow("apache, encrypted", Kind::Apache, true);
        addRow("lighttpd", Kind::Lighttpd, false);
        addRow("lighttpd, encrypted", Kind::Lighttpd, true);
    }

    void thousandFilesComeThroughWhole()
    {
        const auto [kind, encrypted] = rowValues<Kind, bool>();
        constexpr int count = 1000;
        const DavServer server(kind, Access::Digest, encrypted ? &m_certificates : nullptr,
                               "first");
        if (encrypted)
            m_boxes.answer("Доверять");
        ImagesStore store(settingsFor(server.port(), encrypted ? "" : "http://"));
        Answers answers(store);
        const auto nameOf = [](int i) {
            return QString("originals/№ %1 %.jpg").arg(i);
        };
        const auto bytesOf = [](int i) {
            return randomBytes(i * 7 % 5000, quint32(i));
        };
        for (int i = 0; i < count; ++i)
            store.put(nameOf(i), bytesOf(i));
        QVERIFY(answers.wait(count));
        QVERIFY2(answers.reasons.isEmpty(), qPrintable(answers.reasons.value(0)));
        store.list("originals");
        QVERIFY(answers.wait(count + 1));
        QCOMPARE(answers.list.size(), count);
        for (int i = 0; i < count; ++i)
            store.get(nameOf(i));
        QVERIFY(answers.wait(2 * count + 1));
        for (int i = 0; i < count; ++i)
            QCOMPARE(answers.files.value(nameOf(i)), bytesOf(i));

        QWebdav client;
        client.setConnectionSettings(encrypted ? QWebdav::HTTPS : QWebdav::HTTP, "127.0.0.1",
                                     "/dav/", DavServer::user(), DavServer::password(),
                                     server.port());
        const auto status = [&](QNetworkReply *reply) {
            int result = 0;
            QByteArray bytes;
            const WebdavRequest *request = client.request(reply);
            connect(request, &BackgroundWork::finished, request, [&] {
                bytes = request->reply()->readAll();
                result = request->status();
            });
            [&] {
                QTRY_VERIFY_WITH_TIMEOUT(result != 0, patience);
            }();
            m_bytes = bytes;
            return result;
        };
        QCOMPARE(status(client.get('/' + nameOf(5), 30)), 206);
        QCOMPARE(m_bytes, bytesOf(5).mid(30));
        QCOMPARE(status(client.move('/' + nameOf(1), "/moved & gone.jpg")), 201);
        QCOMPARE(status(client.copy("/moved & gone.jpg", '/' + nameOf(2))), 412);
        QCOMPARE(status(client.copy("/moved & gone.jpg", '/' + nameOf(2), true)), 204);
        QCOMPARE(readFile(server.files() + '/' + nameOf(2)), bytesOf(1));
        QCOMPARE(status(client.propfind("/originals/", {{"DAV:", {"resourcetype"}}}, 0)), 207);

        answers.all.clear();
        for (int i = 0; i < count; ++i)
            store.remove(nameOf(i));
        QVERIFY(answers.wait(count));
        QVERIFY(QDir(server.files() + "/originals").isEmpty());
    }

    void faultsOfTheServerAreToldOnce()
    {
        DavServer server(Kind::Apache, Access::Basic);
        ImagesStoreSettings settings = settingsFor(server.port());
        settings.password = "wrong";
        m_boxes.answer("OK");
        ImagesStore store(settings);
        Answers answers(store);
        for (int i = 0; i < 20; ++i)
            store.put(QString("originals/%1.jpg").arg(i), "x");
        QVERIFY(answers.wait(20));
        QTRY_COMPARE(m_boxes.lastText(), "Webdav error: " + passwordText);
        QVERIFY(server.log().count("user anna: authentication failure") <= 3);

        store.open(settingsFor(server.port()));
        store.put("originals/old.jpg", "former");
        QVERIFY(answers.wait(21));
        // It is killed with uploads half done, and comes back.
        m_boxes.answer("OK");
        answers.all.clear();
        const QByteArray large = randomBytes(20'000'000, 3);
        for (const char *name : {"old", "a", "b", "c", "d", "e", "f", "g"})
            store.put(QString("originals/%1.jpg").arg(name), large);
        connect(&store, &ImagesStore::progressed, this, [&](const QString &, qint64 done) {
            if (done > 0)
                server.kill();
        });
        QVERIFY(answers.wait(8));
        QVERIFY(answers.all.contains("no put originals/old.jpg"));
        QTRY_COMPARE(m_boxes.texts().size(), 2);
        QVERIFY2(m_boxes.lastText().startsWith("Reply error: "), qPrintable(m_boxes.lastText()));
        disconnect(&store, &ImagesStore::progressed, this, nullptr);
        server.start();
        answers.all.clear();
        store.list("originals");
        store.get("originals/old.jpg");
        QVERIFY(answers.wait(2));
        QCOMPARE(answers.files.value("originals/old.jpg"), "former");
        for (const StoreFile &file : std::as_const(answers.list))
            QVERIFY(file.name == "old.jpg" || file.size == large.size());
    }

    void statusesAreTold_data()
    {
        addColumns<QByteArray, bool, QString>("status", "box", "reason");
        addRow("no room", QByteArray("507 Insufficient Storage"), true, QString("нет места"));
        addRow("locked", QByteArray("423 Locked"), false, QString("занят"));
        addRow("broken", QByteArray("500 Error"), true, QString("500"));
        addRow("partly", QByteArray("303 See Other"), false, QString("303"));
    }

    void statusesAreTold()
    {
        const auto [status, box, reason] = rowValues<QByteArray, bool, QString>();
        RecordingServer server;
        server.onRequest = [status = status](QTcpSocket *socket, const QByteArray &request) {
            const bool isGood = request.startsWith("MKCOL") || request.startsWith("GET");
            socket->write(RecordingServer::answer(isGood ? "200 OK" : status));
        };
        if (box)
            m_boxes.answer("OK");
        ImagesStore store(settingsFor(server.serverPort()));
        Answers answers(store);
        store.put("originals/x.jpg", "x");
        QVERIFY(answers.wait(1));
        QCOMPARE(answers.all, {"no put originals/x.jpg"});
        // That something can be read does not end it.
        store.get("originals/y.jpg");
        store.put("originals/z.jpg", "z");
        QVERIFY(answers.wait(3));
        QVERIFY2(answers.reasons.first().contains(reason), qPrintable(answers.reasons.first()));
    }

    void foldersAreMadeWhenNeeded()
    {
        // The share's folder is missing, and later somebody deletes one.
        const DavServer server(Kind::Apache, Access::Open);
        ImagesStoreSettings settings = settingsFor(server.port());
        settings.path = "/dav/Фото магазина/"; // as people write it
        ImagesStore store(settings);
        Answers answers(store);
        store.put("originals/x.jpg", "x");
        QVERIFY(answers.wait(1));
        const QString folder = server.files() + "/Фото магазина/originals";
        QVERIFY(QDir(folder).removeRecursively());
        store.put("originals/y.jpg", "y");
        QVERIFY(answers.wait(2));
        QCOMPARE(answers.all.last(), "put originals/y.jpg");
        QCOMPARE(readFile(folder + "/y.jpg"), "y");
    }

    void downloadsGoOnWhereTheyBroke_data()
    {
        addColumns<bool>("changed");
        addRow("the same file", false);
        addRow("another one by then", true);
    }

    void downloadsGoOnWhereTheyBroke()
    {
        const auto [changed] = rowValues<bool>();
        const QByteArray picture = randomBytes(100'000, 4);
        QByteArray file = changed ? randomBytes(90'000, 5) : picture;
        RecordingServer server;
        server.onRequest = [&](QTcpSocket *socket, const QByteArray &request) {
            const QByteArray range = RecordingServer::header(request, "Range");
            const qsizetype from = range.mid(6).chopped(range.isEmpty() ? 0 : 1).toLongLong();
            const bool isWhole = server.requests.size() > 3;
            const QByteArray tag = file == picture ? "\"1\"" : "\"0\"";
            socket->write((from > 0 ? "HTTP/1.1 206 Partial\r\nContent-Range: bytes " +
                                          QByteArray::number(from) + "-/*\r\n"
                                    : QByteArray("HTTP/1.1 200 OK\r\n")) +
                          "ETag: " + tag +
                          "\r\nContent-Length: " + QByteArray::number(file.size() - from) +
                          "\r\n\r\n" + file.mid(from, isWhole ? -1 : 20'000));
            if (!isWhole)
                socket->disconnectFromHost();
            file = picture;
        };
        ImagesStore store(settingsFor(server.serverPort()));
        Answers answers(store);
        store.get("originals/x.jpg");
        QVERIFY(answers.wait(1));
        QCOMPARE(answers.all, {"got originals/x.jpg"});
        QCOMPARE(answers.files.value("originals/x.jpg"), picture);
        QCOMPARE(RecordingServer::header(server.requests.at(1), "Range"), "bytes=20000-");
    }

    void badAnswersAmongGoodOnes()
    {
        const QByteArray part = "HTTP/1.1 206 OK\r\nETag: 1\r\nContent-Length: 2\r\n";
        const QByteArray bad = RecordingServer::answer("403 No");
        QList<QByteArray> said = {bad,
                                  RecordingServer::answer("200 OK", "x"),
                                  bad,
                                  "HTTP/1.1 200 OK\r\nETag: 1\r\nContent-Length: 6\r\n\r\nab",
                                  part + "Content-Range: bytes 2-3/6\r\n\r\ncd",
                                  "HTTP/1.1 204 No\r\n\r\n"};
        RecordingServer server;
        server.onRequest = [&](QTcpSocket *socket, const QByteArray &) {
            socket->write(said.takeFirst());
            socket->disconnectFromHost();
        };
        ImagesStore store(settingsFor(server.serverPort()));
        Answers answers(store);
        m_boxes.answer("OK"); // bad files among good ones are one outage
        for (int i = 1; i <= 4; ++i) {
            store.get(QString("thumbs/%1.jpg").arg(i));
            QVERIFY(answers.wait(i));
        }
        QCOMPARE(answers.all, QStringList({"no get thumbs/1.jpg", "got thumbs/2.jpg",
                                           "no get thumbs/3.jpg", "no get thumbs/4.jpg"}));
    }

    void certificatesAreAcceptedOnce()
    {
        auto server =
            std::make_unique<DavServer>(Kind::Lighttpd, Access::Basic, &m_certificates, "first");
        const QString place = QString("127.0.0.1:%1").arg(server->port());
        ImagesStore store(settingsFor(server->port(), ""));
        Answers answers(store);
        const auto putThree = [&](const QString &verb) {
            answers.all.clear();
            for (const char *name : {"1", "2", "3"})
                store.put(QString("originals/%1.jpg").arg(name), "x");
            return answers.wait(3) &&
                   answers.all.filter(QRegularExpression('^' + verb)).size() == 3;
        };
        m_boxes.answer("Отказаться");
        m_boxes.answer("OK");
        QVERIFY(putThree("no put"));
        QTRY_COMPARE(m_boxes.texts().size(), 2);
        const BoxRequest question = m_boxes.requests().first();
        const QString fingerprint = certificatetrust::fingerprint(
            QSslCertificate::fromPath(m_certificates.path("first.crt")).first());
        QVERIFY(question.text.contains(place) && question.text.contains(fingerprint) &&
                question.text.contains("Владелец: first"));
        QCOMPARE(question.buttons.at(question.defaultButton), "Отказаться");
        QCOMPARE(question.escapeButton, question.defaultButton);
        QVERIFY(putThree("no put")); // refused is refused

        StoreCheck check(store.settings(), StoreCheck::Use::ReadAndWrite);
        m_boxes.answer("Доверять");
        check.start();
        QTRY_COMPARE_WITH_TIMEOUT(check.state(), BackgroundWork::State::Done, patience);
        QVERIFY(readFile(m_home.path() + "/settings").contains(fingerprint.toLatin1()));
        QVERIFY(putThree("put"));

        const quint16 port = server->port();
        server.reset();
        DavServer other(Kind::Lighttpd, Access::Basic, &m_certificates, "second", port);
        m_boxes.answer("Доверять");
        QVERIFY(putThree("put"));
        QVERIFY(m_boxes.lastText().contains("Владелец: second"));
    }

    void storesAreCopiedBothWays()
    {
        const DavServer server(Kind::Apache, Access::Digest);
        ImagesStoreSettings local;
        local.path = m_home.path() + "/there";
        ImagesStore store(local);
        Answers answers(store);
        for (int i = 0; i < 20; ++i)
            store.put(QString("originals/№ %1.jpg").arg(i), randomBytes(i * 100, quint32(i)));
        store.put("logo/logo.png", "logo");
        QVERIFY(answers.wait(21));
        const ImagesStoreSettings share = settingsFor(server.port());
        ImagesStoreSettings back;
        back.path = m_home.path() + "/back";
        const auto copy = [](const ImagesStoreSettings &from, const ImagesStoreSettings &to) {
            StoreCopy work(from, to);
            work.start();
            [&] {
                QTRY_VERIFY_WITH_TIMEOUT(work.isOver(), patience);
            }();
            return work.result();
        };
        const QString same = "\nРазмеры всех файлов совпадают.";
        QCOMPARE(copy(local, share), "Скопировано файлов: 21, уже были: 0." + same);
        QCOMPARE(copy(share, back), "Скопировано файлов: 21, уже были: 0." + same);
        QCOMPARE(readFile(back.path + "/originals/№ 7.jpg"), randomBytes(700, 7));
        QVERIFY(QFile::remove(back.path + "/originals/№ 7.jpg"));
        writeFile(back.path + "/originals/№ 8.jpg", "short");
        QCOMPARE(copy(share, back), "Скопировано файлов: 2, уже были: 19." + same);

        for (int i = 10; i < 16; ++i)
            QFile::setPermissions(QString("%1/originals/№ %2.jpg").arg(server.files()).arg(i), {});
        back.path += "/again";
        const QString some = copy(share, back);
        QVERIFY2(some.startsWith("Скопировано файлов: 15,") && some.contains("(6)"),
                 qPrintable(some));

        StoreCopy stopped(share, local);
        stopped.start();
        stopped.cancel();
        QVERIFY(stopped.result().contains("остановлено") && !stopped.isComplete());
        ImagesStoreSettings nobody = share;
        nobody.port = QString::number(freePort());
        QVERIFY(copy(local, nobody).contains("Копирование прервано: хранилище изображений "));
    }

private:
    TestHome m_home;
    QueuedBoxes m_boxes;
    Certificates m_certificates;
    QByteArray m_bytes;
};

QTEST_MAIN(TestStore)
#include "tst_store.moc"
