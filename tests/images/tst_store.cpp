#include "app/settings.h"
#include "images/certificatetrust.h"
#include "images/imagesstore.h"
#include "images/qwebdav.h"
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

private:
    TestHome m_home;
    QueuedBoxes m_boxes;
    Certificates m_certificates;
    QByteArray m_bytes;
};

QTEST_MAIN(TestStore)
#include "tst_store.moc"
