#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

class Certificates;

/// A private WebDAV server on a free port of 127.0.0.1 that keeps its files in a temporary
/// directory; user "anna", password "пароль&1". It ends with the object, also when the test program
/// is killed. One that does not start ends the program.
class DavServer
{
public:
    enum class Kind { Apache, Lighttpd };
    enum class Access { Open, Basic, Digest };

    /// certificates: with TLS, by the certificate of that name. port: 0: a free one.
    DavServer(Kind kind, Access access, const Certificates *certificates = nullptr,
              const QString &certificate = {}, quint16 port = 0);
    ~DavServer();
    DavServer(const DavServer &) = delete;
    DavServer &operator=(const DavServer &) = delete;

    /// Starts it, the first time on a free port and then on the same.
    void start();

    /// Kills it at once, with all that it was doing.
    void kill();

    quint16 port() const;

    /// The directory behind the share "/dav".
    QString files() const;

    QString log() const;

    static QString user();
    static QString password();

private:
    void prepare();
    QByteArray apacheConfiguration() const;
    QByteArray lighttpdConfiguration() const;
    QStringList command() const;

    Kind m_kind;
    Access m_access;
    QString m_key; ///< files of the certificate; empty: no TLS
    QString m_certificate;
    QTemporaryDir m_directory;
    QProcess m_process;
    quint16 m_port = 0;
};
