#include "tests/support/davserver.h"

#include "tests/support/certificates.h"
#include "tests/support/databaseserver.h"
#include "tests/support/files.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTcpSocket>
#include <QTest>

#include <csignal>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr int startTimeout = 60'000;
constexpr int tries = 5;
const QString realm = QStringLiteral("pictures");

/// Apache refuses to serve as root; this user is there wherever it is installed.
const char *serverUser()
{
    return geteuid() == 0 ? "www-data" : nullptr;
}

} // namespace

DavServer::DavServer(Kind kind, Access access, const Certificates *certificates,
                     const QString &certificate, quint16 port)
    : m_kind(kind),
      m_access(access),
      m_directory(QDir::tempPath() + "/lavkor-dav-XXXXXX"),
      m_port(port)
{
    if (certificates) {
        m_key = m_directory.filePath("server.key");
        m_certificate = m_directory.filePath("server.pem");
        writeFile(m_key, readFile(certificates->path(certificate + ".key")));
        writeFile(m_certificate, readFile(certificates->path(certificate + ".crt")));
    }
    prepare();
    start();
}

DavServer::~DavServer()
{
    kill();
}

void DavServer::prepare()
{
    const QDir directory(m_directory.path());
    const QByteArray secret = (user() + ':' + password()).toUtf8();
    writeFile(
        directory.filePath("basic"),
        user().toUtf8() + ":{SHA}" +
            QCryptographicHash::hash(password().toUtf8(), QCryptographicHash::Sha1).toBase64() +
            '\n');
    const QByteArray account = (user() + ':' + realm + ':').toUtf8();
    writeFile(directory.filePath("digest"),
              account +
                  QCryptographicHash::hash(account + password().toUtf8(), QCryptographicHash::Md5)
                      .toHex() +
                  '\n');
    directory.mkpath("root/dav");
    directory.mkpath("tmp");
    const passwd *owner = serverUser() ? getpwnam(serverUser()) : nullptr;
    if (serverUser() && !owner)
        qFatal("No user %s for the WebDAV server", serverUser());
    for (const char *name : {".", "root", "root/dav", "tmp", "server.key", "server.pem"}) {
        const QByteArray path = directory.filePath(name).toLocal8Bit();
        if (owner && QFile::exists(path) &&
            chown(path.constData(), owner->pw_uid, owner->pw_gid) != 0)
            qFatal("Cannot hand %s over to the WebDAV server", path.constData());
    }
}

QByteArray DavServer::apacheConfiguration() const
{
    QByteArray text;
    QStringList modules = {"mpm_event",  "authn_core",  "authn_file", "authz_core", "authz_user",
                           "auth_basic", "auth_digest", "alias",      "dav",        "dav_fs"};
    if (!m_key.isEmpty())
        modules += "ssl";
    for (const QString &module : std::as_const(modules))
        text += "LoadModule " + module.toUtf8() + "_module /usr/lib/apache2/modules/mod_" +
                module.toUtf8() + ".so\n";
    text += "Listen 127.0.0.1:%PORT%\nServerName 127.0.0.1\nPidFile %DIR%/pid\n"
            "ErrorLog %DIR%/error.log\nDefaultRuntimeDir %DIR%/tmp\nMutex file:%DIR%/tmp\n"
            "DocumentRoot %DIR%/root\nDavLockDB %DIR%/tmp/locks\nKeepAliveTimeout 30\n"
            "MaxKeepAliveRequests 0\nThreadsPerChild 16\nMaxRequestWorkers 16\n"
            "Redirect 307 /dav/moved/ /dav/originals/\n";
    if (!m_key.isEmpty())
        text += "SSLEngine on\nSSLCertificateFile %DIR%/server.pem\n"
                "SSLCertificateKeyFile %DIR%/server.key\n";
    text += "<Directory %DIR%/root>\nDav On\n";
    if (m_access == Access::Open)
        text += "Require all granted\n";
    else if (m_access == Access::Basic)
        text += "AuthType Basic\nAuthName pictures\nAuthUserFile %DIR%/basic\nRequire valid-user\n";
    else
        text +=
            "AuthType Digest\nAuthName pictures\nAuthUserFile %DIR%/digest\nRequire valid-user\n";
    return text + "</Directory>\n";
}

QByteArray DavServer::lighttpdConfiguration() const
{
    QByteArray text = "server.modules = (\"mod_auth\", \"mod_authn_file\", \"mod_webdav\"";
    if (!m_key.isEmpty())
        text += ", \"mod_openssl\"";
    text += ")\nserver.bind = \"127.0.0.1\"\nserver.port = %PORT%\n"
            "server.document-root = \"%DIR%/root\"\nserver.errorlog = \"%DIR%/error.log\"\n"
            "server.upload-dirs = (\"%DIR%/tmp\")\nserver.max-keep-alive-requests = 100000\n"
            "$HTTP[\"url\"] =~ \"^/dav\" { webdav.activate = \"enable\" }\n";
    if (!m_key.isEmpty())
        text += "ssl.engine = \"enable\"\nssl.pemfile = \"%DIR%/server.pem\"\n"
                "ssl.privkey = \"%DIR%/server.key\"\n";
    if (m_access == Access::Open)
        return text;
    const QByteArray method = m_access == Access::Basic ? "basic" : "digest";
    return text + "auth.backend = \"" + (m_access == Access::Basic ? "htpasswd" : "htdigest") +
           "\"\nauth.backend.htpasswd.userfile = \"%DIR%/basic\"\n"
           "auth.backend.htdigest.userfile = \"%DIR%/digest\"\n"
           "auth.require = (\"/\" => (\"method\" => \"" +
           method + "\", \"realm\" => \"pictures\", \"require\" => \"valid-user\"))\n";
}

QStringList DavServer::command() const
{
    QStringList line = {"setpriv", "--pdeathsig", "KILL"};
    if (serverUser())
        line += {"--reuid", serverUser(), "--regid", serverUser(), "--clear-groups"};
    const QString configuration = m_directory.filePath("server.conf");
    if (m_kind == Kind::Apache) // one process, so that a signal ends all of it
        return line + QStringList{"/usr/sbin/apache2", "-X", "-d",
                                  m_directory.path(),  "-f", configuration};
    return line + QStringList{"/usr/sbin/lighttpd", "-D", "-f", configuration};
}

void DavServer::start()
{
    const bool isNew = m_port == 0;
    for (int attempt = 0; attempt < (isNew ? tries : 1); ++attempt) {
        if (isNew)
            m_port = freePort();
        QByteArray text = m_kind == Kind::Apache ? apacheConfiguration() : lighttpdConfiguration();
        text.replace("%DIR%", m_directory.path().toUtf8());
        text.replace("%PORT%", QByteArray::number(m_port));
        writeFile(m_directory.filePath("server.conf"), text);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.setStandardOutputFile(m_directory.filePath("server.log"));
        m_process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        const QStringList line = command();
        m_process.start(line.first(), line.mid(1));
        m_process.waitForStarted(startTimeout); // it may answer before that is noticed
        const bool answers = QTest::qWaitFor(
            [this] {
                QTcpSocket probe;
                probe.connectToHost("127.0.0.1", m_port);
                return m_process.state() == QProcess::NotRunning || probe.waitForConnected(1000);
            },
            startTimeout);
        if (answers && m_process.state() == QProcess::Running)
            return;
        kill();
    }
    qFatal("A WebDAV server does not start (%s, %d):\n%s", qPrintable(m_process.errorString()),
           m_process.exitCode(), qPrintable(log()));
}

void DavServer::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished();
}

quint16 DavServer::port() const
{
    return m_port;
}

QString DavServer::files() const
{
    return m_directory.filePath("root/dav");
}

QString DavServer::log() const
{
    return QString::fromUtf8(readFile(m_directory.filePath("server.log")) +
                             readFile(m_directory.filePath("error.log")));
}

QString DavServer::user()
{
    return QStringLiteral("anna");
}

QString DavServer::password()
{
    return QStringLiteral("пароль&1");
}
