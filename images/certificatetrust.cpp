#include "images/certificatetrust.h"

#include "app/messages.h"
#include "app/settings.h"
#include "widgets/runwithprogress.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QHash>
#include <QPointer>
#include <QSet>

#include <utility>

namespace {

struct TrustTexts
{
    Q_DECLARE_TR_FUNCTIONS(CertificateTrust)
};

struct Waiting
{
    QPointer<QObject> context;
    std::function<void(bool)> answered;
};

struct Question
{
    QSslCertificate certificate;
    QList<QSslError> errors;
    QList<Waiting> waiting;
};

QHash<QString, Question> questions; ///< by server, those not answered yet
QSet<QString> refused;              ///< as they would stand in the settings

QString entryOf(const QString &server, const QSslCertificate &certificate)
{
    return server + u'=' + certificatetrust::fingerprint(certificate);
}

QStringList acceptedEntries()
{
    return Settings::instance()
        .value(SettingsKey::ImagesStoreCertificates)
        .split(u' ', Qt::SkipEmptyParts);
}

/// A server has one accepted certificate: the latest.
void accept(const QString &server, const QSslCertificate &certificate)
{
    QStringList entries = acceptedEntries();
    entries.removeIf([&](const QString &entry) { return entry.startsWith(server + u'='); });
    entries += entryOf(server, certificate);
    QString error;
    if (!Settings::instance().change(SettingsKey::ImagesStoreCertificates, entries.join(u' '),
                                     &error))
        showWarning(lastingWindow(), error);
}

QString subjectOf(const QSslCertificate &certificate)
{
    QStringList parts;
    for (const auto attribute : {QSslCertificate::CommonName, QSslCertificate::Organization})
        parts += certificate.subjectInfo(attribute);
    return parts.isEmpty() ? certificate.subjectDisplayName() : parts.join(QLatin1String(", "));
}

bool askUser(const QString &server, const Question &question)
{
    QStringList errors;
    for (const QSslError &error : question.errors) {
        if (!errors.contains(error.errorString()))
            errors += error.errorString();
    }
    const QString text =
        TrustTexts::tr("Сертификат сервера изображений %1 не удалось проверить:\n"
                       "%2\n\nВладелец: %3\nОтпечаток SHA-256: %4\n\n"
                       "Доверять этому сертификату?")
            .arg(server, shortened(errors).join(u'\n'), subjectOf(question.certificate),
                 certificatetrust::fingerprint(question.certificate));
    return askQuestion(lastingWindow(), text,
                       {TrustTexts::tr("Доверять"), TrustTexts::tr("Отказаться")}, 1, 1) == 0;
}

void settle(const QString &server)
{
    const bool accepted = askUser(server, questions.value(server));
    const Question question = questions.take(server); // with those who came meanwhile
    if (accepted)
        accept(server, question.certificate);
    else
        refused += entryOf(server, question.certificate);
    for (const Waiting &waiting : question.waiting) {
        if (waiting.context)
            waiting.answered(accepted);
    }
}

} // namespace

QString certificatetrust::fingerprint(const QSslCertificate &certificate)
{
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':')).toUpper();
}

bool certificatetrust::isAccepted(const QString &server, const QSslCertificate &certificate)
{
    return !certificate.isNull() && acceptedEntries().contains(entryOf(server, certificate));
}

void certificatetrust::ask(const QString &server, const QSslCertificate &certificate,
                           const QList<QSslError> &errors, QObject *context,
                           std::function<void(bool)> answered)
{
    const bool isFirst = !questions.contains(server);
    const bool isKnown = certificate.isNull() || refused.contains(entryOf(server, certificate)) ||
                         isAccepted(server, certificate);
    if (isFirst && isKnown) {
        const bool accepted = isAccepted(server, certificate);
        QMetaObject::invokeMethod(
            context, [answered = std::move(answered), accepted] { answered(accepted); },
            Qt::QueuedConnection);
        return;
    }
    Question &question = questions[server];
    question.waiting += {context, std::move(answered)};
    if (!isFirst)
        return;
    question.certificate = certificate;
    question.errors = errors;
    // A box runs an event loop, and whoever asks stands in the midst of a handshake.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [server] { settle(server); }, Qt::QueuedConnection);
}

void certificatetrust::forgetRefusals()
{
    refused.clear();
}
