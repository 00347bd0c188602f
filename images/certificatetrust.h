#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslError>
#include <QString>

#include <functional>

class QObject;

/// Certificates of servers that cannot be verified: the user is asked once per server, and what he
/// accepts stands in the settings by its fingerprint.
namespace certificatetrust {

/// SHA-256 in hexadecimal, pairs with colons between.
QString fingerprint(const QSslCertificate &certificate);

/// Whether the user has accepted just this certificate for the server ("host:port").
bool isAccepted(const QString &server, const QSslCertificate &certificate);

/// Asks, some time after this returns, and then calls back unless the context has gone. Who asks
/// about a server while the box stands open waits for the same answer; one who was refused before
/// is refused without a box.
void ask(const QString &server, const QSslCertificate &certificate, const QList<QSslError> &errors,
         QObject *context, std::function<void(bool accepted)> answered);

/// Forgets what was refused, so that it is asked again.
void forgetRefusals();

} // namespace certificatetrust
