#include "tests/support/certificates.h"

#include "tests/support/files.h"

#include <QDebug>
#include <QProcess>

namespace {

constexpr int timeoutMs = 60'000;

} // namespace

Certificates::Certificates()
{
    if (!m_directory.isValid())
        qFatal("No temporary directory for certificates");
    openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
             "/CN=Test authority", "-keyout", "authority.key", "-out", "authority.crt"});
}

QString Certificates::authority() const
{
    return path("authority.crt");
}

void Certificates::sign(const QString &name)
{
    openssl({"req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=" + name, "-keyout",
             name + ".key", "-out", name + ".csr"});
    writeFile(path(name + ".ext"), "subjectAltName=IP:127.0.0.1,DNS:localhost\n");
    openssl({"x509", "-req", "-in", name + ".csr", "-days", "2", "-CA", "authority.crt", "-CAkey",
             "authority.key", "-CAcreateserial", "-extfile", name + ".ext", "-out", name + ".crt"});
}

QString Certificates::path(const QString &file) const
{
    return m_directory.filePath(file);
}

void Certificates::openssl(const QStringList &arguments) const
{
    QProcess process;
    process.setWorkingDirectory(m_directory.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start("openssl", arguments);
    if (!process.waitForFinished(timeoutMs) || process.exitCode() != 0)
        qFatal("openssl failed: %s %s", qPrintable(process.errorString()),
               process.readAll().constData());
}
