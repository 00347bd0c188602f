#include "images/imagesstore.h"

#include "app/logging.h"
#include "app/messages.h"
#include "images/localfolder.h"
#include "images/multistatus.h"
#include "images/qwebdav.h"
#include "images/transfertuning.h"
#include "images/webdavrequest.h"
#include "widgets/runwithprogress.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr qsizetype mostAtOnce = 6; ///< as many connections as there are to one server
constexpr int mostContinuations = 20;
constexpr auto lockOutTime = 60s;
constexpr auto sameCauseTime = 30s;

/// The folder of a name; empty: the root.
QString folderOf(const QString &name)
{
    return name.left(qMax<qsizetype>(0, name.lastIndexOf(u'/')));
}

/// What tells a file from the one that stood there before.
QByteArray versionOf(const QNetworkReply *reply)
{
    const QByteArray tag = reply->rawHeader("ETag");
    return tag.isEmpty() ? reply->rawHeader("Last-Modified") : tag;
}

/// Whether all of a file has come, of which an answer may bring a part or nothing.
bool isWholeFile(const QNetworkReply *reply, qsizetype size)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray total = reply->rawHeader("Content-Range").split('/').value(1);
    return status == 200 || (status == 206 && (total == "*" || total == QByteArray::number(size)));
}

/// Whether the server is not there, or lets nobody in.
bool isUnreachable(const WebdavRequest &request)
{
    return request.status() == 0 || request.status() == 401;
}

/// A box for the user, when no loop over rows would have to wait for it.
void showLater(const QString &text)
{
    QTimer::singleShot(isLooping() ? 500ms : 0ms, QCoreApplication::instance(), [text] {
        if (isLooping())
            showLater(text);
        else
            showWarning(lastingWindow(), text);
    });
}

void letGo(QWebdav *webdav)
{
    webdav->disconnect();
    webdav->deleteLater(); // it may be the one that calls
}

} // namespace

ImagesStore::ImagesStore(const ImagesStoreSettings &settings, QObject *parent)
    : QObject(parent),
      m_webdav(nullptr, letGo)
{
    keepPictureMemory();
    open(settings);
}

ImagesStore::~ImagesStore() = default;

ImagesStore &ImagesStore::instance()
{
    static QPointer<ImagesStore> store;
    if (!store)
        store = new ImagesStore(ImagesStoreSettings::read(), QCoreApplication::instance());
    return *store;
}

void ImagesStore::setSilent(bool silent)
{
    m_silent = silent;
}

void ImagesStore::setPatience(std::chrono::milliseconds idle, std::chrono::milliseconds total)
{
    m_idle = idle;
    m_total = total;
    if (m_webdav)
        m_webdav->setPatience(idle, total);
}

void ImagesStore::open(const ImagesStoreSettings &settings)
{
    const QList<OperationPointer> former = std::exchange(m_operations, {});
    m_sent.clear();
    m_folders.clear();
    m_settings = settings;
    m_reached = false;
    m_outage = Outage::None;
    m_lockedOut = QDeadlineTimer();
    m_webdav.reset();
    m_local.reset();
    WebdavAddress address;
    if (!settings.isWebdav()) {
        m_local = std::make_unique<LocalFolder>(settings.localRoot());
    } else if (address.read(settings.host, settings.port)) {
        m_webdav.reset(new QWebdav);
        m_webdav->setConnectionSettings(address.encrypted ? QWebdav::HTTPS : QWebdav::HTTP,
                                        address.host, settings.shareRoot(), settings.login,
                                        settings.password, address.port);
        if (m_idle.count() > 0)
            m_webdav->setPatience(m_idle, m_total);
        connect(m_webdav.get(), &QWebdav::replyFinished, this,
                &ImagesStore::on_webdav_requestFinished);
        connect(m_webdav.get(), &QWebdav::errorChanged, this, &ImagesStore::on_webdav_errorChanged);
    }
    for (const OperationPointer &operation : former)
        answer(*operation, {.reason = tr("хранилище изображений сменилось")});
    emit opened();
}

const ImagesStoreSettings &ImagesStore::settings() const
{
    return m_settings;
}

void ImagesStore::get(const QString &fileName, qulonglong imageId)
{
    const auto last =
        std::find_if(m_operations.crbegin(), m_operations.crend(),
                     [&](const OperationPointer &one) { return one->name == fileName; });
    if (last != m_operations.crend() && (*last)->verb == Verb::Get)
        ++(*last)->askers;
    else
        ask({.verb = Verb::Get, .name = fileName, .imageId = imageId});
}

void ImagesStore::put(const QString &fileName, const QByteArray &bytes)
{
    ask({.verb = Verb::Put, .name = fileName, .bytes = bytes});
}

void ImagesStore::remove(const QString &fileName)
{
    ask({.verb = Verb::Remove, .name = fileName});
}

void ImagesStore::list(const QString &folder)
{
    ask({.verb = Verb::List, .name = folder});
}

void ImagesStore::cancel(const QString &fileName)
{
    const auto found =
        std::find_if(m_operations.cbegin(), m_operations.cend(), [&](const OperationPointer &one) {
            return one->verb == Verb::Get && one->name == fileName;
        });
    if (found == m_operations.cend() || --(*found)->askers > 0)
        return;
    const OperationPointer operation = m_operations.takeAt(found - m_operations.cbegin());
    auto *request = const_cast<WebdavRequest *>(m_sent.key(operation));
    m_sent.remove(request);
    if (request)
        request->cancel();
    startSoon();
}

void ImagesStore::cancelAll()
{
    m_operations.clear();
    const auto sent = std::exchange(m_sent, {});
    for (auto it = sent.begin(); it != sent.end(); ++it)
        const_cast<WebdavRequest *>(it.key())->cancel();
}

bool ImagesStore::isBusy() const
{
    return !m_operations.isEmpty();
}

/// Where a file is, for the log.
QString ImagesStore::place(const QString &name) const
{
    if (m_local)
        return m_local->filePath(name);
    return m_webdav ? m_webdav->url(u'/' + name).toDisplayString() : name;
}

void ImagesStore::ask(Operation operation)
{
    m_operations += std::make_shared<Operation>(std::move(operation));
    startSoon();
}

void ImagesStore::startSoon()
{
    if (!m_operations.isEmpty() && !std::exchange(m_startPending, true))
        QMetaObject::invokeMethod(this, &ImagesStore::startNext, Qt::QueuedConnection);
}

void ImagesStore::startNext()
{
    m_startPending = false;
    const auto runningCount = [this] {
        return std::count_if(m_operations.begin(), m_operations.end(),
                             [](const OperationPointer &one) { return one->running; });
    };
    // The first request finds out whether the server is there and lets us in.
    const qsizetype most = m_reached ? mostAtOnce : 1;
    while (runningCount() < most) {
        const OperationPointer operation = nextOperation();
        if (!operation)
            return;
        operation->running = true;
        run(operation);
        // One local file in each turn of the event loop keeps the interface alive.
        if (m_local)
            return startSoon();
    }
}

/// The first one whose file nothing else is being done with; what somebody wants to see goes first.
ImagesStore::OperationPointer ImagesStore::nextOperation() const
{
    QSet<QString> taken;
    QSet<QString> foldersInWork;
    for (const OperationPointer &one : m_operations) {
        if (one->running && !one->newFolders.isEmpty())
            foldersInWork += folderOf(one->name);
    }
    OperationPointer first;
    for (const OperationPointer &one : m_operations) {
        if (taken.contains(one->name))
            continue;
        taken += one->name;
        const bool waits =
            one->running || (one->verb == Verb::Put && foldersInWork.contains(folderOf(one->name)));
        if (!waits && one->verb == Verb::Get)
            return one;
        if (!waits && !first)
            first = one;
    }
    return first;
}

void ImagesStore::run(const OperationPointer &operation)
{
    if (!isStoreName(operation->name))
        finish(operation, {.reason = tr("недопустимое имя файла: %1").arg(operation->name)});
    else if (m_local)
        runLocally(operation);
    else if (!m_webdav)
        finish(operation, {.reason = m_settings.fault(), .outage = Outage::Store});
    else if (!m_lockedOut.isForever() && !m_lockedOut.hasExpired())
        finish(operation, {.reason = tr("хранилище изображений не приняло имя или пароль"),
                           .outage = Outage::Store});
    else
        send(operation);
}

void ImagesStore::runLocally(const OperationPointer &operation)
{
    using Outcome = LocalFolder::Outcome;
    QString reason;
    Outcome outcome = Outcome::Done;
    switch (operation->verb) {
    case Verb::Get:
        outcome = m_local->read(operation->name, operation->bytes, reason);
        break;
    case Verb::Put:
        outcome = m_local->write(operation->name, operation->bytes, reason);
        break;
    case Verb::Remove:
        outcome = m_local->remove(operation->name, reason);
        break;
    case Verb::List:
        return listLocally(operation);
    }
    finish(operation, {.reason = outcome == Outcome::Done ? QString() : reason,
                       .missing = outcome == Outcome::Missing,
                       .outage = outcome == Outcome::Failed ? outageAt(*operation) : Outage::None});
}

/// A few hundred files in each turn of the event loop.
void ImagesStore::listLocally(const OperationPointer &operation)
{
    QString reason;
    if (!m_local->canList(operation->name, reason))
        return finish(operation, {.reason = reason, .outage = Outage::File});
    auto lister = std::make_shared<LocalLister>(m_local->filePath(operation->name));
    const auto step = [this, operation, lister](const auto &again) -> void {
        if (!m_operations.contains(operation))
            return;
        if (!lister->step(operation->files))
            return finish(operation, {});
        QMetaObject::invokeMethod(
            this, [again] { again(again); }, Qt::QueuedConnection);
    };
    step(step);
}

/// Whether the folder of a file still has to be made before it can be written.
bool ImagesStore::needsFolder(const OperationPointer &operation)
{
    const QString folder = folderOf(operation->name);
    if (operation->verb != Verb::Put || folder.isEmpty() || m_folders.contains(folder))
        return false;
    if (operation->newFolders.isEmpty())
        operation->newFolders = {folder};
    return true;
}

void ImagesStore::send(const OperationPointer &operation)
{
    const QString path = u'/' + operation->name;
    QNetworkReply *reply = nullptr;
    if (needsFolder(operation)) {
        // With a slash behind: some servers want to be told that it is a folder.
        const QString folder = operation->newFolders.last();
        reply = m_webdav->mkcol(folder.isEmpty() ? QStringLiteral("/") : u'/' + folder + u'/');
    } else if (operation->verb == Verb::Get) {
        reply = m_webdav->get(path, operation->bytes.size());
    } else if (operation->verb == Verb::Put) {
        reply = m_webdav->put(path, operation->bytes);
    } else if (operation->verb == Verb::Remove) {
        reply = m_webdav->remove(path);
    } else {
        operation->reader = std::make_shared<MultistatusReader>(m_webdav->url());
        reply = m_webdav->list(path + u'/', 1);
    }
    WebdavRequest *request = m_webdav->request(reply);
    m_sent.insert(request, operation);
    connect(request, &WebdavRequest::readyRead, this, [this, request] { takeBytes(request); });
    connect(request, &BackgroundWork::progressed, this,
            [this, name = operation->name](qint64 done, qint64 total) {
                emit progressed(name, done, total);
            });
}

/// Whether an answer goes on where the bytes of the operation end.
bool ImagesStore::isContinuation(const QNetworkReply *reply, const Operation &operation) const
{
    const QByteArray expected = "bytes " + QByteArray::number(operation.bytes.size()) + '-';
    return reply->rawHeader("Content-Range").startsWith(expected) && !operation.version.isEmpty() &&
           versionOf(reply) == operation.version;
}

/// Takes what has come of the answer.
void ImagesStore::takeBytes(WebdavRequest *request)
{
    const OperationPointer operation = m_sent.value(request);
    if (!operation || !operation->newFolders.isEmpty())
        return;
    QNetworkReply *reply = request->reply();
    if (!reply->isOpen()) // it was broken off
        return;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (operation->verb == Verb::List && status == 207) {
        if (!operation->reader->add(reply->readAll()))
            request->reject(operation->reader->fault());
    } else if (operation->verb == Verb::Get && (status == 200 || status == 206)) {
        // The first bytes of an answer tell what it is.
        if (!reply->property("begun").toBool()) {
            reply->setProperty("begun", true);
            if (status == 206 && !isContinuation(reply, *operation)) {
                operation->bytes.clear();
                operation->startsAnew = true;
                return request->reject(tr("файл тем временем сменился"));
            }
            if (status == 200)
                operation->bytes.clear();
            operation->version = versionOf(reply);
        }
        operation->bytes += reply->readAll();
        if (operation->bytes.size() > largestFile)
            request->reject(tr("файл слишком велик"));
    }
}

void ImagesStore::on_webdav_requestFinished(QNetworkReply *reply)
{
    WebdavRequest *request = m_webdav ? m_webdav->request(reply) : nullptr;
    if (!m_sent.contains(request))
        return;
    takeBytes(request);
    const OperationPointer operation = m_sent.take(request);
    if (request->status() > 0 && request->status() != 401)
        m_reached = true;
    if (!operation->newFolders.isEmpty())
        folderAnswered(operation, *request);
    else
        answered(operation, *request);
    startSoon();
}

void ImagesStore::on_webdav_errorChanged(const QString &errorMsg)
{
    m_lockedOut = QDeadlineTimer(lockOutTime);
    tellOutage(tr("Webdav error: ") + errorMsg, Outage::Store);
}

void ImagesStore::folderAnswered(const OperationPointer &operation, const WebdavRequest &request)
{
    constexpr int exists = 405;
    const QString folder = operation->newFolders.last();
    if (request.state() == BackgroundWork::State::Done || request.status() == exists) {
        m_folders += folder;
        operation->newFolders.removeLast();
        send(operation);
    } else if (request.status() == 409 && !folder.isEmpty()) { // the one above is missing
        operation->newFolders += folderOf(folder);
        send(operation);
    } else {
        operation->newFolders.clear();
        const QString reason = request.status() == 409
                                   ? tr("на сервере нет папки %1").arg(m_settings.path)
                                   : request.reason();
        finish(operation, {.reason = reason,
                           .outage = isUnreachable(request) ? Outage::Store : Outage::Folder});
    }
}

void ImagesStore::answered(const OperationPointer &operation, const WebdavRequest &request)
{
    if (trySomethingElse(operation, request))
        return;
    using Fault = WebdavRequest::Fault;
    Result result;
    if (request.state() != BackgroundWork::State::Done) {
        result.reason = request.reason();
        result.missing = request.fault() == Fault::Missing;
        if (request.state() == BackgroundWork::State::TimedOut ||
            request.fault() == Fault::Broken || request.fault() == Fault::Server)
            result.outage = isUnreachable(request) ? Outage::Store : outageAt(*operation);
    } else if (operation->verb == Verb::Remove && request.status() == 207) {
        result.reason = tr("хранилище изображений не удалило файл");
    } else if (!isAnswered(*operation, request)) {
        result.reason = tr("непонятный ответ хранилища изображений");
    }
    if (operation->verb == Verb::List)
        takeFiles(*operation, result);
    const bool concernsAll = result.outage == Outage::Store;
    finish(operation, result);
    // What stands behind it would only wait for the same.
    if (concernsAll)
        failWaiting(result);
}

/// Whether what was asked for is done; of a file that is all of it.
bool ImagesStore::isAnswered(const Operation &operation, const WebdavRequest &request)
{
    return request.state() == BackgroundWork::State::Done &&
           (operation.verb != Verb::Get || isWholeFile(request.reply(), operation.bytes.size()));
}

/// A download that broke off goes on where it was, and a folder that has gone is made again.
bool ImagesStore::trySomethingElse(const OperationPointer &operation, const WebdavRequest &request)
{
    const bool isDone = isAnswered(*operation, request);
    if (operation->verb == Verb::Put && !isDone && operation->tries == 0 &&
        (request.status() == 409 || request.status() == 404) && operation->name.contains(u'/')) {
        m_folders.remove(folderOf(operation->name));
        ++operation->tries;
        send(operation);
        return true;
    }
    const bool isBroken =
        request.state() == BackgroundWork::State::TimedOut ||
        request.fault() == WebdavRequest::Fault::Broken || request.status() == 0 ||
        (request.state() == BackgroundWork::State::Done && request.status() == 206);
    const bool goesOn = isBroken && !operation->bytes.isEmpty();
    const bool isAnother = std::exchange(operation->startsAnew, false) || request.status() == 416;
    if (isAnother)
        operation->bytes.clear();
    if (operation->verb != Verb::Get || isDone || (!goesOn && !isAnother) ||
        operation->tries >= mostContinuations)
        return false;
    ++operation->tries;
    QTimer::singleShot(operation->tries * 50ms, this, [this, operation] {
        if (m_operations.contains(operation) && m_webdav)
            send(operation);
    });
    return true;
}

/// What a list has brought; result tells whether it came whole.
void ImagesStore::takeFiles(Operation &operation, Result &result) const
{
    if (result.missing) {
        result = {};
        return;
    }
    const bool isWhole = operation.reader->finish();
    if (!isWhole && (result.reason.isEmpty() || !operation.reader->wasCut()))
        result = {.reason = operation.reader->fault()};
    if (!result.reason.isEmpty())
        return;
    const QString folder = operation.name + u'/';
    const QList<WebdavEntry> &entries = operation.reader->entries();
    for (const WebdavEntry &entry : entries) {
        const QString name = entry.path.mid(folder.size());
        // Hidden ones are what servers and desktops leave behind; a local folder skips them, too.
        if (!name.startsWith(u'.') && !entry.isCollection && entry.path.startsWith(folder) &&
            !name.contains(u'/'))
            operation.files += StoreFile{name, entry.contentLength, entry.lastModified};
    }
}

/// What does not work when a store that answers fails in an operation.
ImagesStore::Outage ImagesStore::outageAt(const Operation &operation)
{
    const bool isWriting = operation.verb == Verb::Put || operation.verb == Verb::Remove;
    return isWriting ? Outage::Folder : Outage::File;
}

void ImagesStore::finish(const OperationPointer &operation, const Result &result)
{
    const qsizetype place = m_operations.indexOf(operation);
    // The caller's may be the one in the list.
    const OperationPointer kept = place < 0 ? operation : m_operations.takeAt(place);
    if (result.outage != Outage::None)
        tellOutage(m_local ? tr("Хранилище изображений: %1").arg(result.reason)
                           : tr("Reply error: %1").arg(result.reason),
                   result.outage, folderOf(kept->name));
    else if ((result.reason.isEmpty() || result.missing) && endsOutage(*kept))
        m_outage = Outage::None;
    answer(*kept, result);
}

void ImagesStore::answer(const Operation &operation, const Result &result)
{
    const bool good = result.reason.isEmpty();
    const QString &name = operation.name;
    const QString &reason = result.reason;
    switch (operation.verb) {
    case Verb::Get:
        if (good && operation.bytes.isEmpty())
            logMessage("File is empty?: " + place(name));
        if (!good)
            logMessage("File opening error: " + place(name) +
                       " id: " + QString::number(operation.imageId));
        good ? emit getCompleted(name, operation.bytes)
             : emit getFailed(name, reason, result.missing);
        break;
    case Verb::Put:
        good ? emit putCompleted(name) : emit putFailed(name, reason);
        break;
    case Verb::Remove:
        good || result.missing ? emit removeCompleted(name) : emit removeFailed(name, reason);
        break;
    case Verb::List:
        good ? emit listCompleted(name, operation.files) : emit listFailed(name, reason);
        break;
    }
}

/// Whether what has been done shows that the store works again. A full one can still be read, and
/// good files among bad ones, or a moment of a bad line, show nothing.
bool ImagesStore::endsOutage(const Operation &operation) const
{
    if (m_outage == Outage::Folder)
        return operation.verb == Verb::Put && folderOf(operation.name) == m_unwritable;
    return m_sameCause.hasExpired();
}

void ImagesStore::tellOutage(const QString &text, Outage outage, const QString &folder)
{
    m_reached = false;
    m_sameCause = QDeadlineTimer(sameCauseTime);
    if (outage <= m_outage)
        return;
    m_outage = outage;
    m_unwritable = folder;
    if (m_silent)
        logMessage(text);
    else
        showLater(text);
    emit errorOccurred(text);
}

void ImagesStore::failWaiting(const Result &result)
{
    QList<OperationPointer> waiting;
    for (const OperationPointer &one : std::as_const(m_operations)) {
        if (!one->running)
            waiting += one;
    }
    for (const OperationPointer &one : std::as_const(waiting)) {
        if (m_operations.contains(one))
            finish(one, result);
    }
}
