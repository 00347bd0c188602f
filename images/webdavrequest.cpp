#include "images/webdavrequest.h"

#include "images/certificatetrust.h"
#include "images/multistatus.h"

#include <QSslConfiguration>

#include <utility>

namespace {

constexpr int mostRedirects = 5;
constexpr int mostHandshakes = 5;

int defaultPort(const QUrl &url)
{
    return url.scheme() == QLatin1String("http") ? 80 : 443;
}

bool isInside(const QUrl &root, const QUrl &url)
{
    QString path;
    return url.scheme() == root.scheme() &&
           url.port(defaultPort(url)) == root.port(defaultPort(root)) &&
           pathBelow(root, url.toString(QUrl::FullyEncoded), path);
}

} // namespace

WebdavRequest::WebdavRequest(const QUrl &root, const QUrl &url, Sender send, QObject *parent)
    : BackgroundWork(parent),
      m_root(root),
      m_url(url),
      m_send(std::move(send))
{
}

QNetworkReply *WebdavRequest::reply() const
{
    return m_reply;
}

int WebdavRequest::status() const
{
    return m_status;
}

WebdavRequest::Fault WebdavRequest::fault() const
{
    return m_fault;
}

void WebdavRequest::setLargestAnswer(qint64 bytes)
{
    m_largest = bytes;
}

void WebdavRequest::reject(const QString &reason)
{
    failWith(Fault::Refused, reason);
}

bool WebdavRequest::takeCredentialsTurn()
{
    return !std::exchange(m_credentialsGiven, true);
}

void WebdavRequest::refuseCredentials()
{
    m_status = 401;
    failWith(Fault::Server,
             tr("WebDAV server requires authentication. Check WebDAV share settings!"));
}

void WebdavRequest::checkCertificate(const QList<QSslError> &errors)
{
    const QSslCertificate certificate = m_reply->sslConfiguration().peerCertificate();
    if (certificatetrust::isAccepted(server(), certificate)) {
        m_reply->ignoreSslErrors(errors);
        return;
    }
    m_certificate = certificate;
    m_sslErrors = errors;
}

void WebdavRequest::begin()
{
    send(m_url);
}

void WebdavRequest::letGo()
{
    if (!m_reply)
        return;
    m_reply->disconnect(this);
    if (m_reply->isRunning())
        m_reply->abort();
}

void WebdavRequest::send(const QUrl &url)
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->deleteLater();
    }
    m_url = url;
    m_received = 0;
    m_credentialsGiven = false;
    m_certificate.clear();
    m_reply = m_send(url);
    connect(m_reply, &QNetworkReply::finished, this, &WebdavRequest::takeAnswer);
    connect(m_reply, &QNetworkReply::uploadProgress, this, [this](qint64 sent, qint64 total) {
        if (total > 0) // it also tells the end, of which nobody can be sure yet
            advance(sent, total);
    });
    connect(m_reply, &QNetworkReply::metaDataChanged, this, [this] {
        endIfTooLarge(m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong());
    });
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64 total) {
        m_received = received;
        endIfTooLarge(received);
        if (received > 0)
            advance(received, total);
    });
    advance(0, -1);
}

void WebdavRequest::endIfTooLarge(qint64 size)
{
    if (m_largest > 0 && size > m_largest)
        failWith(Fault::Refused, tr("ответ хранилища изображений слишком велик"));
}

void WebdavRequest::takeAnswer()
{
    m_status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool handshakeFailed = m_reply->error() == QNetworkReply::SslHandshakeFailedError;
    if (handshakeFailed && !m_certificate.isNull())
        askAboutCertificate();
    // Of several connections that are being opened one may fail without having asked.
    else if (handshakeFailed && ++m_handshakes < mostHandshakes)
        send(m_url);
    else if (!follow())
        judge();
}

/// A redirect inside the share is followed; false when this answer is the one that counts.
bool WebdavRequest::follow()
{
    // Of a 303 the given verb has been carried out, and the page that tells of it is no file.
    const bool isRedirect =
        m_status == 301 || m_status == 302 || m_status == 307 || m_status == 308;
    if (!isRedirect)
        return false;
    const QUrl target = m_url.resolved(QUrl::fromEncoded(m_reply->rawHeader("Location")));
    if (++m_redirects > mostRedirects)
        failWith(Fault::Refused, tr("слишком много переадресаций"));
    else if (!isInside(m_root, target))
        failWith(Fault::Refused, tr("сервер переадресует за пределы хранилища: %1")
                                     .arg(target.toDisplayString().left(200)));
    else
        send(target);
    return true;
}

void WebdavRequest::askAboutCertificate()
{
    rest(); // a person takes his time
    certificatetrust::ask(server(), m_certificate, m_sslErrors, this, [this](bool accepted) {
        if (isOver())
            return;
        if (accepted)
            send(m_url);
        else
            failWith(Fault::Server, tr("сертификат хранилища изображений не принят"));
    });
}

void WebdavRequest::judge()
{
    const QNetworkReply::NetworkError error = m_reply->error();
    const qint64 length = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    const bool isCut =
        m_reply->operation() == QNetworkAccessManager::GetOperation && m_received < length;
    if (m_status / 100 == 2 && (isCut || error != QNetworkReply::NoError))
        failWith(Fault::Broken, tr("связь с хранилищем изображений прервана"));
    else if (m_status / 100 == 2)
        succeed();
    else if (m_status == 404 || m_status == 410)
        failWith(Fault::Missing, tr("файла нет в хранилище изображений"));
    else if (m_status == 401)
        refuseCredentials();
    else if (m_status == 403)
        failWith(Fault::Server, tr("нет доступа к хранилищу изображений (%1)").arg(m_status));
    else if (m_status == 507 || m_status == 413)
        failWith(m_status == 507 ? Fault::Server : Fault::Refused,
                 tr("в хранилище изображений нет места (%1)").arg(m_status));
    else if (m_status == 423)
        failWith(Fault::Refused, tr("файл занят другой программой (%1)").arg(m_status));
    else if (m_status >= 500)
        failWith(Fault::Server, tr("ошибка хранилища изображений (%1)").arg(m_status));
    else if (m_status > 0)
        failWith(Fault::Refused, tr("хранилище изображений отказало (%1)").arg(m_status));
    else if (error == QNetworkReply::RemoteHostClosedError)
        failWith(Fault::Server, tr("связь с хранилищем изображений прервана"));
    else if (error == QNetworkReply::NoError)
        failWith(Fault::Server, tr("непонятный ответ хранилища изображений"));
    else
        failWith(Fault::Server,
                 tr("хранилище изображений недоступно: %1").arg(m_reply->errorString()));
}

void WebdavRequest::failWith(Fault fault, const QString &reason)
{
    if (isOver())
        return;
    m_fault = fault;
    fail(reason);
}

QString WebdavRequest::server() const
{
    return m_url.host() + u':' + QString::number(m_url.port(defaultPort(m_url)));
}
