#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QPair>
#include <QSslError>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <chrono>

class QAuthenticator;
class WebdavRequest;

/// A small WebDAV client. Every operation sends one request and returns its reply at once; paths
/// are relative to the share's root, decoded, and begin with a slash. The reply that counts in the
/// end (after redirects inside the share, credentials, and the question about a certificate) is
/// told by replyFinished() and deleted afterwards.
class QWebdav : public QObject
{
    Q_OBJECT

public:
    enum ConnectionType { HTTP = 1, HTTPS = 2 };

    /// Names of properties by namespace.
    using PropertyNames = QMap<QString, QStringList>;
    /// Names and values of properties by namespace.
    using PropertyValues = QMap<QString, QMap<QString, QString>>;

    static constexpr int depthInfinity = 2;

    explicit QWebdav(QObject *parent = nullptr);
    ~QWebdav() override;

    /// port 0: that of the scheme. The root path loses one slash at its end.
    void setConnectionSettings(ConnectionType type, const QString &hostName,
                               const QString &rootPath = {}, const QString &user = {},
                               const QString &password = {}, int port = 0);

    /// How long a request may be without progress (30 s), and how long it may take in all (10 min).
    void setPatience(std::chrono::milliseconds idle, std::chrono::milliseconds total);

    QString hostName() const;
    QString rootPath() const;
    QString user() const;
    QString password() const;
    int port() const;
    bool isSSL() const;

    /// The URL of a path, the root's for an empty one.
    QUrl url(const QString &path = {}) const;

    /// Asks for time, length and kind of a resource (depth 0), of what is in it (1), or of all
    /// below it (depthInfinity).
    QNetworkReply *list(const QString &path, int depth = 1);
    QNetworkReply *propfind(const QString &path, const PropertyNames &properties, int depth = 0);
    QNetworkReply *proppatch(const QString &path, const PropertyValues &properties);
    QNetworkReply *search(const QString &path, const QString &query);
    QNetworkReply *mkcol(const QString &path);
    QNetworkReply *remove(const QString &path);
    QNetworkReply *move(const QString &from, const QString &to, bool overwrite = false);
    QNetworkReply *copy(const QString &from, const QString &to, bool overwrite = false);
    /// From an offset to the end, where one is given.
    QNetworkReply *get(const QString &path, qint64 offset = 0);
    QNetworkReply *put(const QString &path, const QByteArray &data);

    /// The request behind a reply that one of these has returned or replyFinished() tells; nullptr
    /// afterwards.
    WebdavRequest *request(const QNetworkReply *reply) const;

signals:
    void replyFinished(QNetworkReply *reply);
    void errorChanged(QString error);

private slots:
    void replyReadyRead();
    void replyError(QNetworkReply::NetworkError error);
    void checkSslCertifcate(const QList<QSslError> &errors);
    void provideAuthentication(QNetworkReply *reply, QAuthenticator *authenticator);

private:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    QNetworkReply *send(const QByteArray &verb, const QString &path, const Headers &headers = {},
                        const QByteArray &body = {});
    QNetworkReply *issue(const QByteArray &verb, const QUrl &url, const Headers &headers,
                         const QByteArray &body);
    void watch();
    QNetworkReply *transfer(const QByteArray &verb, const QString &from, const QString &to,
                            bool overwrite);

    QNetworkAccessManager *m_manager;
    QUrl m_baseUrl; ///< without a path
    ConnectionType m_type = HTTP;
    QString m_hostName;
    QString m_rootPath;
    QString m_user;
    QString m_password;
    int m_port = 0;
    std::chrono::milliseconds m_idle;
    std::chrono::milliseconds m_total;
    QList<WebdavRequest *> m_requests;   ///< not over yet
    QTimer m_watch;                      ///< runs while there are any
    static inline int s_silentTicks = 0; ///< since something came for any client
    QNetworkReply *m_sslReply = nullptr; ///< whose certificate is looked at
};
