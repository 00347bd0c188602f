#include "db/passwords.h"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QRandomGenerator>
#include <QStringList>

#include <optional>

namespace {

const QString method = QStringLiteral("pbkdf2-sha256");
constexpr int iterations = 210'000;
constexpr int maxIterations = 10'000'000; ///< a damaged row must not hold the login for hours
constexpr int saltSize = 16;
constexpr quint64 keySize = 32;

QByteArray derive(const QString &password, const QByteArray &salt, int rounds, quint64 size)
{
    // The same letters may be typed composed or decomposed.
    const QByteArray bytes = password.normalized(QString::NormalizationForm_C).toUtf8();
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, bytes, salt, rounds,
                                              size);
}

/// Takes the same time wherever the texts differ.
bool sameBytes(const QByteArray &a, const QByteArray &b)
{
    if (a.size() != b.size())
        return false;
    int difference = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        difference |= a.at(i) ^ b.at(i);
    return difference == 0;
}

/// The parts of a stored text.
struct Hash
{
    int rounds = 0;
    QByteArray salt;
    QByteArray key;
};

std::optional<Hash> parsed(const QString &stored)
{
    const QStringList parts = stored.split(u'$');
    if (parts.size() != 4 || parts.at(0) != method)
        return {};
    const Hash hash{parts.at(1).toInt(), QByteArray::fromBase64(parts.at(2).toLatin1()),
                    QByteArray::fromBase64(parts.at(3).toLatin1())};
    const bool isWhole = hash.rounds > 0 && hash.rounds <= maxIterations && !hash.salt.isEmpty() &&
                         hash.key.size() == qsizetype(keySize);
    return isWhole ? std::optional(hash) : std::nullopt;
}

} // namespace

QString hashPassword(const QString &password)
{
    QByteArray salt(saltSize, Qt::Uninitialized);
    for (char &byte : salt)
        byte = static_cast<char>(QRandomGenerator::system()->bounded(256));
    const QByteArray key = derive(password, salt, iterations, keySize);
    return QStringList{method, QString::number(iterations), QString::fromLatin1(salt.toBase64()),
                       QString::fromLatin1(key.toBase64())}
        .join(u'$');
}

bool isPasswordHash(const QString &stored)
{
    return parsed(stored).has_value();
}

bool verifyPassword(const QString &password, const QString &stored)
{
    if (stored.isEmpty())
        return password.isEmpty();
    const std::optional<Hash> hash = parsed(stored);
    return hash && sameBytes(derive(password, hash->salt, hash->rounds, keySize), hash->key);
}
