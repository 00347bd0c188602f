#include "images/qwebdav.h"

#include "app/logging.h"
#include "images/transfertuning.h"
#include "images/webdavrequest.h"

#include <QAuthenticator>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

const QString davNamespace = QStringLiteral("DAV:");
const char xmlType[] = "text/xml; charset=utf-8";

/// Pictures are smaller, and so is what a server has to say of an error.
constexpr qint64 largestFile = 64LL * 1024 * 1024;
constexpr qint64 largestWord = 1024LL * 1024;
constexpr qint64 largestPiece = 512LL * 1024;

QByteArray xmlText(const QString &text)
{
    QString result = text;
    return result.replace(u'&', QLatin1String("&amp;"))
        .replace(u'<', QLatin1String("&lt;"))
        .replace(u'>', QLatin1String("&gt;"))
        .toUtf8();
}

/// The start tag of a property without its last sign, which closes it with or without a value.
QByteArray startTag(const QString &space, const QString &name)
{
    if (space == davNamespace)
        return "<D:" + name.toUtf8();
    return '<' + name.toUtf8() + " xmlns=\"" + xmlText(space).replace('"', "&quot;") + '"';
}

QByteArray endTag(const QString &space, const QString &name)
{
    return (space == davNamespace ? "</D:" : "</") + name.toUtf8() + '>';
}

int portOf(const QUrl &url)
{
    return url.port(url.scheme() == QLatin1String("http") ? 80 : 443);
}

QByteArray depthText(int depth)
{
    return depth == QWebdav::depthInfinity ? QByteArray("infinity") : QByteArray::number(depth);
}

} // namespace

QWebdav::QWebdav(QObject *parent)
    : QObject(parent),
      m_manager(new QNetworkAccessManager(this)),
      m_idle(30s),
      m_total(10min)
{
    connect(m_manager, &QNetworkAccessManager::authenticationRequired, this,
            &QWebdav::provideAuthentication);
    connect(&m_watch, &QTimer::timeout, this, &QWebdav::watch);
    connect(m_manager, &QNetworkAccessManager::sslErrors, this,
            [this](QNetworkReply *reply, const QList<QSslError> &errors) {
                m_sslReply = reply;
                checkSslCertifcate(errors);
                m_sslReply = nullptr;
            });
}

QWebdav::~QWebdav()
{
    const QList<WebdavRequest *> requests = m_requests;
    for (WebdavRequest *request : requests) {
        request->disconnect(this);
        request->cancel();
    }
    // The manager waits for its thread, whatever holds that up.
    if (!requests.isEmpty())
        cutFlooded(portOf(m_baseUrl));
}

void QWebdav::setConnectionSettings(ConnectionType type, const QString &hostName,
                                    const QString &rootPath, const QString &user,
                                    const QString &password, int port)
{
    m_type = type;
    m_hostName = hostName;
    m_rootPath = rootPath.endsWith(u'/') ? rootPath.chopped(1) : rootPath;
    m_user = user;
    m_password = password;
    m_port = port;
    m_baseUrl = QUrl();
    m_baseUrl.setScheme(type == HTTP ? QStringLiteral("http") : QStringLiteral("https"));
    m_baseUrl.setHost(hostName);
    if (port != 0 && port != (type == HTTP ? 80 : 443))
        m_baseUrl.setPort(port);
    m_manager->clearAccessCache(); // it remembers credentials
}

void QWebdav::setPatience(std::chrono::milliseconds idle, std::chrono::milliseconds total)
{
    m_idle = idle;
    m_total = total;
}

QString QWebdav::hostName() const
{
    return m_hostName;
}

QString QWebdav::rootPath() const
{
    return m_rootPath;
}

QString QWebdav::user() const
{
    return m_user;
}

QString QWebdav::password() const
{
    return m_password;
}

int QWebdav::port() const
{
    return m_port;
}

bool QWebdav::isSSL() const
{
    return m_type == HTTPS;
}

QUrl QWebdav::url(const QString &path) const
{
    QUrl result = m_baseUrl;
    const QByteArray encoded = QUrl::toPercentEncoding(m_rootPath + path, "/");
    result.setPath(encoded.isEmpty() ? QStringLiteral("/") : QString::fromLatin1(encoded),
                   QUrl::StrictMode);
    return result;
}

QNetworkReply *QWebdav::list(const QString &path, int depth)
{
    return propfind(path, {{davNamespace, {"getlastmodified", "getcontentlength", "resourcetype"}}},
                    depth);
}

QNetworkReply *QWebdav::propfind(const QString &path, const PropertyNames &properties, int depth)
{
    QByteArray body = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>"
                      "<D:propfind xmlns:D=\"DAV:\" >"
                      "<D:prop>";
    for (auto space = properties.begin(); space != properties.end(); ++space) {
        for (const QString &name : space.value())
            body += startTag(space.key(), name) + "/>";
    }
    body += "</D:prop>"
            "</D:propfind>";
    return send("PROPFIND", path, {{"Depth", depthText(depth)}, {"Content-Type", xmlType}}, body);
}

QNetworkReply *QWebdav::proppatch(const QString &path, const PropertyValues &properties)
{
    QByteArray body = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>"
                      "<D:proppatch xmlns:D=\"DAV:\" >"
                      "<D:prop>";
    for (auto space = properties.begin(); space != properties.end(); ++space) {
        for (auto value = space->begin(); value != space->end(); ++value)
            body += startTag(space.key(), value.key()) + '>' + xmlText(value.value()) +
                    endTag(space.key(), value.key());
    }
    // The servers that this is for want the end tag of the other verb.
    body += "</D:prop>"
            "</D:propfind>";
    return send("PROPPATCH", path, {{"Content-Type", xmlType}}, body);
}

QNetworkReply *QWebdav::search(const QString &path, const QString &query)
{
    const QByteArray body = "<?xml version=\"1.0\"?>\r\n"
                            "<D:searchrequest xmlns:D=\"DAV:\">\r\n" +
                            query.toUtf8() + "</D:searchrequest>\r\n";
    return send("SEARCH", path, {{"Content-Type", xmlType}}, body);
}

QNetworkReply *QWebdav::mkcol(const QString &path)
{
    return send("MKCOL", path);
}

QNetworkReply *QWebdav::remove(const QString &path)
{
    return send("DELETE", path);
}

QNetworkReply *QWebdav::move(const QString &from, const QString &to, bool overwrite)
{
    return transfer("MOVE", from, to, overwrite);
}

QNetworkReply *QWebdav::copy(const QString &from, const QString &to, bool overwrite)
{
    return transfer("COPY", from, to, overwrite);
}

QNetworkReply *QWebdav::transfer(const QByteArray &verb, const QString &from, const QString &to,
                                 bool overwrite)
{
    return send(verb, from,
                {{"Destination", url(to).toEncoded()},
                 {"Depth", "infinity"},
                 {"Overwrite", overwrite ? "T" : "F"}});
}

QNetworkReply *QWebdav::get(const QString &path, qint64 offset)
{
    if (offset <= 0)
        return send("GET", path);
    return send("GET", path, {{"Range", "bytes=" + QByteArray::number(offset) + '-'}});
}

QNetworkReply *QWebdav::put(const QString &path, const QByteArray &data)
{
    return send("PUT", path, {{"Content-Type", "application/octet-stream"}}, data);
}

WebdavRequest *QWebdav::request(const QNetworkReply *reply) const
{
    const auto found =
        std::find_if(m_requests.begin(), m_requests.end(), [reply](const WebdavRequest *request) {
            return reply && request->reply() == reply;
        });
    return found == m_requests.end() ? nullptr : *found;
}

QNetworkReply *QWebdav::send(const QByteArray &verb, const QString &path, const Headers &headers,
                             const QByteArray &body)
{
    auto *request = new WebdavRequest(
        url(), url(path),
        [=, this](const QUrl &target) { return issue(verb, target, headers, body); }, this);
    request->setPatience(m_idle, m_total);
    // A list is read as it comes in and has bounds of its own.
    request->setLargestAnswer(verb == "GET" ? largestFile : verb == "PROPFIND" ? 0 : largestWord);
    m_requests += request;
    connect(request, &BackgroundWork::finished, this, [this, request] {
        QNetworkReply *reply = request->reply();
        if (request->status() == 401)
            emit errorChanged(request->reason());
        if (request->state() == BackgroundWork::State::TimedOut)
            cutFlooded(portOf(reply->url()));
        emit replyFinished(reply);
        m_requests.removeOne(request);
        reply->deleteLater();
        request->deleteLater();
    });
    if (!m_watch.isActive()) {
        s_silentTicks = 0;
        m_watch.start(1s);
    }
    request->start();
    return request->reply();
}

QNetworkReply *QWebdav::issue(const QByteArray &verb, const QUrl &url, const Headers &headers,
                              const QByteArray &body)
{
    QNetworkRequest request(url);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    // Bytes as they are: a few that unpack to millions are of no use here.
    request.setRawHeader("Accept-Encoding", "identity");
    // Redirects and credentials go nowhere by themselves.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    QNetworkReply *reply = nullptr;
    if (verb == "GET")
        reply = m_manager->get(request);
    else if (verb == "PUT")
        reply = m_manager->put(request, body);
    else if (body.isEmpty())
        reply = m_manager->sendCustomRequest(request, verb);
    else
        reply = m_manager->sendCustomRequest(request, verb, body);
    // Whoever does not read holds the server up instead of filling the memory; a list is taken
    // apart piece by piece, so that the window stays alive. Set before the start it is ignored.
    const qint64 most = verb == "PROPFIND" ? largestPiece : 2 * largestFile;
    QMetaObject::invokeMethod(
        reply, [reply, most] { reply->setReadBufferSize(most); }, Qt::QueuedConnection);
    if (verb == "PUT")
        connect(reply, &QNetworkReply::requestSent, this,
                [port = portOf(url)] { sendWithoutDelay(port); });
    connect(reply, &QNetworkReply::readyRead, this, &QWebdav::replyReadyRead);
    connect(reply, &QNetworkReply::errorOccurred, this, &QWebdav::replyError);
    return reply;
}

/// Bytes pour in and nothing of them comes out: they are header lines, of which no end will come.
void QWebdav::watch()
{
    if (++s_silentTicks > 1)
        cutFlooded(portOf(m_baseUrl));
    if (m_requests.isEmpty())
        m_watch.stop();
}

void QWebdav::replyReadyRead()
{
    s_silentTicks = 0;
    const auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (WebdavRequest *waiting = request(reply))
        emit waiting->readyRead();
}

void QWebdav::replyError(QNetworkReply::NetworkError error)
{
    const auto *reply = qobject_cast<QNetworkReply *>(sender());
    debugLog(QStringLiteral("QWebdav: error %1, %2").arg(error).arg(reply->errorString()));
}

void QWebdav::checkSslCertifcate(const QList<QSslError> &errors)
{
    if (WebdavRequest *waiting = request(m_sslReply))
        waiting->checkCertificate(errors);
}

void QWebdav::provideAuthentication(QNetworkReply *reply, QAuthenticator *authenticator)
{
    WebdavRequest *waiting = request(reply);
    if (!waiting)
        return;
    if (waiting->takeCredentialsTurn()) {
        // Qt sends them as Latin-1, servers read UTF-8.
        authenticator->setUser(QString::fromLatin1(m_user.toUtf8()));
        authenticator->setPassword(QString::fromLatin1(m_password.toUtf8()));
        return;
    }
    waiting->refuseCredentials();
}
