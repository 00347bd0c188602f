#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// What goes over the wire to the SMS gateway and what comes back, without socket and window.
namespace sms {

/// The decimal digits of a phone number as a person writes it.
QString cleanPhone(const QString &phone);

/// Whether a cleaned number can receive a message: 11 digits, the first of them 7.
bool isMobilePhone(const QString &cleanedPhone);

/// Where the gateway listens.
struct Gateway
{
    QString host; ///< a name in ASCII form, or an address without brackets
    quint16 port = 443;

    bool operator==(const Gateway &) const = default;
};

/// Reads "host", "host:port", "[IPv6 address]" or "[IPv6 address]:port". Nothing when the text is
/// empty or of another form.
std::optional<Gateway> parseGateway(const QString &text);

/// One message and the account that pays for it.
struct Message
{
    QString login;
    QString password;
    QString phone; ///< cleaned
    QString sender;
    QString text;
};

/// The path and query that hand a message to the gateway. Every value is percent-encoded as UTF-8
/// on its own, so that an ampersand in a text does not end it.
QByteArray requestPath(const Message &message);

/// The whole HTTP request for a message.
QByteArray requestBytes(const Gateway &gateway, const Message &message);

/// A text with the account's login and password, plain or percent-encoded, blotted out.
QString withoutSecrets(QString text, const Message &message);

/// Collects a reply that may come in any number of pieces.
class Reply
{
public:
    /// More bytes than this are not kept: no honest reply is that long.
    static constexpr qsizetype maximumSize = 65536;

    void append(const QByteArray &bytes);

    const QByteArray &bytes() const;
    bool isFull() const;

    /// Whether the gateway took the message, which its first line tells.
    bool isAccepted() const;

    /// Whether the header has come whole.
    bool hasHeader() const;

    /// What follows the header, as far as it has come.
    QByteArray body() const;

private:
    QByteArray m_bytes;
};

} // namespace sms
