#include "sms/gatewaycheck.h"

#include "sms/sendsmsdialog.h"
#include "sms/smsrequest.h"

#include <QCoreApplication>
#include <QSslError>
#include <QSslSocket>
#include <QStringList>
#include <QTimer>

#include <memory>

namespace sms {

namespace {

struct GatewayText
{
    Q_DECLARE_TR_FUNCTIONS(GatewayCheck)
};

QString socketFault(const QSslSocket &socket, const Gateway &gateway)
{
    const QString place = gateway.host + u':' + QString::number(gateway.port);
    switch (socket.error()) {
    case QAbstractSocket::HostNotFoundError:
        return GatewayText::tr("Сервера с именем %1 не существует, или нет связи с интернетом.")
            .arg(gateway.host);
    case QAbstractSocket::ConnectionRefusedError:
        return GatewayText::tr("Сервер %1 не принимает соединений. Проверьте адрес и порт.")
            .arg(place);
    case QAbstractSocket::NetworkError:
        return GatewayText::tr("Сервер %1 недоступен по сети.").arg(place);
    default:
        return GatewayText::tr("Защищённое соединение с %1 не установлено: %2")
            .arg(place, socket.errorString());
    }
}

QString certificateFault(const QList<QSslError> &errors)
{
    QStringList texts;
    for (const QSslError &error : errors)
        texts += error.errorString();
    texts.removeDuplicates();
    return GatewayText::tr("Сертификату SMS-шлюза нельзя доверять: %1").arg(texts.join(u' '));
}

} // namespace

QString gatewayFault(const QString &address)
{
    return address.trimmed().isEmpty() || parseGateway(address)
               ? QString()
               : GatewayText::tr("Пожалуйста, введите адрес SMS-шлюза в виде «имя» или "
                                 "«имя:порт».");
}

void checkGateway(const QString &address, QObject *context,
                  const std::function<void(const QString &fault)> &done)
{
    const std::optional<Gateway> gateway = parseGateway(address);
    if (!gateway) {
        done(address.trimmed().isEmpty() ? GatewayText::tr("Адрес SMS-шлюза не задан.")
                                         : gatewayFault(address));
        return;
    }
    auto *socket = new QSslSocket(context);
    const auto end = [socket, done](const QString &fault) {
        if (socket->signalsBlocked())
            return; // the first word is the last one
        socket->blockSignals(true);
        socket->deleteLater();
        done(fault);
    };
    QObject::connect(socket, &QSslSocket::encrypted, socket, [end] { end({}); });
    QObject::connect(socket, &QSslSocket::sslErrors, socket,
                     [end](const QList<QSslError> &errors) { end(certificateFault(errors)); });
    QObject::connect(socket, &QSslSocket::errorOccurred, socket,
                     [end, socket, gateway] { end(socketFault(*socket, *gateway)); });
    QTimer::singleShot(SendSmsDialog::stageTimeout(), socket, [end, gateway] {
        end(GatewayText::tr("SMS-шлюз %1 не ответил вовремя.").arg(gateway->host));
    });
    socket->connectToHostEncrypted(gateway->host, gateway->port);
}

} // namespace sms
