#include "sms/smsrequest.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>

namespace sms {

namespace {

const QByteArrayView headerEnd = "\r\n\r\n";

/// The name in the form that DNS and the Host line know; empty when it cannot be a host.
QString hostName(const QString &text)
{
    const auto isHostSign = [](QChar c) {
        return c.unicode() >= 128 || c.isLetterOrNumber() || c == u'-' || c == u'.' || c == u'_';
    };
    if (!std::all_of(text.begin(), text.end(), isHostSign))
        return {};
    const bool isAscii =
        std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 128; });
    return isAscii ? text : QString::fromLatin1(QUrl::toAce(text));
}

bool isIpv6(const QString &text)
{
    return QHostAddress(text).protocol() == QAbstractSocket::IPv6Protocol;
}

} // namespace

QString cleanPhone(const QString &phone)
{
    static const QRegularExpression nonDigit(QStringLiteral("\\D"));
    return QString(phone).remove(nonDigit);
}

bool isMobilePhone(const QString &cleanedPhone)
{
    return cleanedPhone.size() == 11 && cleanedPhone.startsWith(u'7');
}

std::optional<Gateway> parseGateway(const QString &text)
{
    static const QRegularExpression form(
        QStringLiteral("^(?:\\[(?<address>[^\\]]*)\\]|(?<name>[^:]*))(?::(?<port>[0-9]{1,5}))?$"));

    const QString trimmed = text.trimmed();
    if (isIpv6(trimmed))
        return Gateway{.host = trimmed};

    const QRegularExpressionMatch match = form.match(trimmed);
    if (!match.hasMatch())
        return std::nullopt;
    Gateway gateway;
    const QString address = match.captured(QStringLiteral("address"));
    gateway.host = isIpv6(address) ? address : hostName(match.captured(QStringLiteral("name")));
    if (const QString port = match.captured(QStringLiteral("port")); !port.isEmpty())
        gateway.port = port.toUShort(); // 0 when out of range
    if (gateway.host.isEmpty() || gateway.port == 0)
        return std::nullopt;
    return gateway;
}

QByteArray requestPath(const Message &message)
{
    return "/outbox/send/?login=" + QUrl::toPercentEncoding(message.login) +
           "&password=" + QUrl::toPercentEncoding(message.password) +
           "&target=" + QUrl::toPercentEncoding(message.phone) +
           "&sender=" + QUrl::toPercentEncoding(message.sender) +
           "&message=" + QUrl::toPercentEncoding(message.text);
}

QByteArray requestBytes(const Gateway &gateway, const Message &message)
{
    QString host = gateway.host;
    if (isIpv6(host))
        host = u'[' + host + u']';
    if (gateway.port != Gateway().port)
        host += u':' + QString::number(gateway.port);
    return "GET " + requestPath(message) + " HTTP/1.1\r\n" + //
           "Host: " + host.toLatin1() + "\r\n" +             //
           "Accept:*/*\r\n"
           "User-agent:Opera 10.00\r\n"
           "Connection:Close\r\n"
           "\r\n";
}

QString withoutSecrets(QString text, const Message &message)
{
    for (const QString &secret : {message.password, message.login}) {
        const QString blot = QStringLiteral("***");
        if (secret.isEmpty())
            continue;
        text.replace(QString::fromLatin1(QUrl::toPercentEncoding(secret)), blot,
                     Qt::CaseInsensitive);
        text.replace(secret, blot);
    }
    return text;
}

void Reply::append(const QByteArray &bytes)
{
    m_bytes += bytes.left(maximumSize - m_bytes.size());
}

const QByteArray &Reply::bytes() const
{
    return m_bytes;
}

bool Reply::isFull() const
{
    return m_bytes.size() >= maximumSize;
}

bool Reply::isAccepted() const
{
    // The status line only: a failure may speak of "200 OK" in its body.
    const qsizetype lineEnd = m_bytes.indexOf('\n');
    return QByteArrayView(m_bytes).first(lineEnd < 0 ? m_bytes.size() : lineEnd).contains("200 OK");
}

bool Reply::hasHeader() const
{
    return m_bytes.contains(headerEnd);
}

QByteArray Reply::body() const
{
    const qsizetype end = m_bytes.indexOf(headerEnd);
    return end < 0 ? QByteArray() : m_bytes.mid(end + headerEnd.size());
}

} // namespace sms
