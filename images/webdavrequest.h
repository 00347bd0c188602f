#pragma once

#include <QList>
#include <QNetworkReply>
#include <QPointer>
#include <QSslCertificate>
#include <QSslError>
#include <QUrl>

#include <functional>

#include "app/backgroundwork.h"

/// One request to a WebDAV server, from its first sending to the answer that counts: it follows
/// redirects inside the share, and is sent anew once the user has accepted the server's
/// certificate. Made by QWebdav.
class WebdavRequest final : public BackgroundWork
{
    Q_OBJECT

public:
    enum class Fault {
        None,
        Missing, ///< no such file or folder
        Refused, ///< this one request; the server works
        Broken,  ///< the connection or the answer broke off
        Server,  ///< it cannot be reached, cannot be trusted, or lets nobody in
    };

    using Sender = std::function<QNetworkReply *(const QUrl &url)>;

    /// root: of the share. send: sends the request to a URL.
    WebdavRequest(const QUrl &root, const QUrl &url, Sender send, QObject *parent);

    /// The reply that is awaited now, or in the end the one that counts.
    QNetworkReply *reply() const;

    /// The HTTP status of the answer, 0: none came.
    int status() const;

    Fault fault() const;

    /// More bytes than this in the answer are a fault; 0: any number.
    void setLargestAnswer(qint64 bytes);

    /// Ends it because its answer is no good.
    void reject(const QString &reason);

    /// Whether the credentials are still to be given; once for each reply.
    bool takeCredentialsTurn();

    /// The server does not accept the credentials.
    void refuseCredentials();

    /// The server's certificate cannot be verified. Ignores the errors if the user has accepted it.
    void checkCertificate(const QList<QSslError> &errors);

signals:
    /// More bytes of the answer can be read from the reply.
    void readyRead();

protected:
    void begin() override;
    void letGo() override;

private:
    void send(const QUrl &url);
    void takeAnswer();
    bool follow();
    void askAboutCertificate();
    void judge();
    void endIfTooLarge(qint64 size);
    void failWith(Fault fault, const QString &reason);
    QString server() const;

    QUrl m_root;
    QUrl m_url;
    Sender m_send;
    QPointer<QNetworkReply> m_reply;
    int m_status = 0;
    Fault m_fault = Fault::None;
    qint64 m_largest = 0;
    qint64 m_received = 0;
    int m_redirects = 0;
    int m_handshakes = 0; ///< that failed
    bool m_credentialsGiven = false;
    QSslCertificate m_certificate; ///< not accepted
    QList<QSslError> m_sslErrors;
};
