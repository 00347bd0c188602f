#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// Certificates made by openssl for one test: an authority and what it signs. Files in PEM form,
/// gone with the object. A certificate that cannot be made ends the program.
class Certificates
{
public:
    Certificates();

    /// The certificate of the authority.
    QString authority() const;

    /// Makes a key and a certificate signed by the authority, for a server on 127.0.0.1 or for a
    /// client. The files are then path(name + ".key") and path(name + ".crt").
    void sign(const QString &name);

    QString path(const QString &file) const;

private:
    void openssl(const QStringList &arguments) const;

    QTemporaryDir m_directory;
};
