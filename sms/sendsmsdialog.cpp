#include "sms/sendsmsdialog.h"

#include "ui_sendsmsdialog.h"

#include "app/logging.h"
#include "app/messages.h"
#include "app/settings.h"
#include "db/session.h"

#include <QLayout>
#include <QPointer>
#include <QSslSocket>

#include <utility>

namespace {

using namespace std::chrono_literals;

std::chrono::milliseconds stagePatience = 30s;
std::chrono::milliseconds refusalPatience = 2s;

/// A reply is shown in small windows and kept in the log; a whole error page is of no use there.
constexpr qsizetype shownReplySize = 400;

} // namespace

SendSmsDialog::SendSmsDialog(QWidget *parent, const QString &phone, const QString &text,
                             SmsRun *run)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::SendSmsDialog>()),
      m_sslSocket(new QSslSocket(this)),
      m_run(run)
{
    m_ui->setupUi(this);
    m_timer.setSingleShot(true);
    debugLog(QStringLiteral("SendSmsDialog(%1, %2)").arg(phone, text));
    if (m_run) {
        m_run->reason = m_run->answer = QString();
        if (!m_run->place.isEmpty())
            setWindowTitle(windowTitle() + QStringLiteral(" — ") + m_run->place);
    }

    m_message.phone = sms::cleanPhone(phone);
    m_message.text = text;
    if (!sms::isMobilePhone(m_message.phone)) {
        const QString refusal = tr("СМС не отправлена, неправильный телефонный номер: %1 размер %2")
                                    .arg(m_message.phone, QString::number(m_message.phone.size()));
        if (m_run)
            fail(refusal);
        else
            showInformation(parent, refusal);
        SendSmsDialog::done(Rejected);
        return;
    }
    start();
}

SendSmsDialog::~SendSmsDialog()
{
    // The socket says good-bye while it is destroyed; by then there is no dialog to listen.
    m_sslSocket->disconnect(this);
}

int SendSmsDialog::exec()
{
    if (m_over)
        return result();
    if (m_sslSocket->state() != QAbstractSocket::ConnectedState)
        showStatus(tr("Соединение с SMS-шлюзом"));
    return QDialog::exec();
}

QByteArray SendSmsDialog::gatewayAnswer() const
{
    return m_reply.isAccepted() ? m_reply.body() : QByteArray();
}

void SendSmsDialog::setTimeouts(std::chrono::milliseconds stage, std::chrono::milliseconds refusal)
{
    stagePatience = stage;
    refusalPatience = refusal;
}

std::chrono::milliseconds SendSmsDialog::stageTimeout()
{
    return stagePatience;
}

void SendSmsDialog::done(int result)
{
    if (m_over)
        return;
    m_over = true;
    m_timer.stop();
    m_sslSocket->disconnect(this);
    if (m_run && result == Accepted) {
        m_run->answer = shownReply(gatewayAnswer()).simplified();
    } else if (m_run && m_run->reason.isEmpty()) {
        // By the button or Escape.
        m_run->over = true;
        m_run->reason = tr("Отправка СМС прервана.");
    }
    // Queued: done() is called from the socket's own signals.
    QMetaObject::invokeMethod(
        m_sslSocket, [socket = m_sslSocket] { socket->abort(); }, Qt::QueuedConnection);
    QDialog::done(result);
}

void SendSmsDialog::start()
{
    const QString address = Settings::instance().value(SettingsKey::SmsGateHost);
    const std::optional<sms::Gateway> gateway = sms::parseGateway(address);
    if (!gateway) {
        if (m_run)
            m_run->over = true;
        fail(address.trimmed().isEmpty()
                 ? tr("СМС не отправлена: адрес SMS-шлюза не задан.")
                 : tr("СМС не отправлена: неправильный адрес SMS-шлюза: %1").arg(address));
        return;
    }
    m_gateway = *gateway;

    const Session &session = Session::instance();
    m_message.login = session.option(QStringLiteral("SMS_GATE_LOGIN"));
    m_message.password = session.option(QStringLiteral("SMS_GATE_PASSWORD"));
    m_message.sender = session.option(QStringLiteral("SMS_GATE_SENDER"));

    connect(m_sslSocket, &QSslSocket::connected, this,
            [this] { beginStage(tr("Установка защищённого соединения")); });
    connect(m_sslSocket, &QSslSocket::encrypted, this, &SendSmsDialog::On_sslSocket_encrypted);
    connect(m_sslSocket, &QSslSocket::sslErrors, this, &SendSmsDialog::On_sslSocket_sslErrors);
    connect(m_sslSocket, &QSslSocket::readyRead, this, &SendSmsDialog::On_sslSocket_readyRead);
    connect(m_sslSocket, &QSslSocket::disconnected, this,
            &SendSmsDialog::On_sslSocket_disconnected);
    connect(m_sslSocket, &QSslSocket::errorOccurred, this, &SendSmsDialog::On_sslSocket_error);
    connect(&m_timer, &QTimer::timeout, this,
            [this] { endWithoutReply(tr("время ожидания истекло")); });

    // The handshake rests while the question about certificate errors is open.
    m_sslSocket->setPauseMode(QAbstractSocket::PauseOnSslErrors);
    m_timer.start(stagePatience);
    m_sslSocket->connectToHostEncrypted(m_gateway.host, m_gateway.port);
}

void SendSmsDialog::showStatus(const QString &status)
{
    m_ui->statusLabel->setText(status);
    // A window that is open already does not grow with its text by itself.
    resize(width(), qMax(height(), layout()->totalHeightForWidth(width())));
}

void SendSmsDialog::beginStage(const QString &status)
{
    showStatus(status);
    m_timer.start(stagePatience);
}

void SendSmsDialog::on_cancelPushButton_clicked()
{
    reject();
}

void SendSmsDialog::On_sslSocket_encrypted()
{
    m_sslSocket->write(sms::requestBytes(m_gateway, m_message));
    beginStage(tr("Ожидание ответа"));
}

void SendSmsDialog::On_sslSocket_sslErrors(const QList<QSslError> &errors)
{
    m_timer.stop();
    // Queued: the question runs an event loop, and the socket is in the midst of its handshake.
    QMetaObject::invokeMethod(
        this, [this, errors] { askAboutErrors(errors); }, Qt::QueuedConnection);
}

void SendSmsDialog::askAboutErrors(const QList<QSslError> &errors)
{
    if (m_over)
        return;
    QString errorTexts;
    for (const QSslError &error : errors)
        errorTexts += error.errorString() + QStringLiteral("\r\n");
    showStatus(tr("Ошибки ssl: ") + errorTexts.trimmed());
    if (m_run && m_run->acceptedErrors.contains(errors)) {
        goOnInSpiteOf(errors);
        return;
    }

    const QPointer<SendSmsDialog> guard(this);
    BoxRequest request;
    request.text = tr("Обнаружены ошибки ssl:\r\n%1Продолжить?").arg(errorTexts);
    request.buttons = {tr("Продолжить"), tr("Отмена")};
    request.defaultButton = 1;
    request.escapeButton = 1;
    const int button = askQuestion(this, request);
    if (!guard)
        return;
    if (m_run && button == 0)
        m_run->acceptedErrors += errors;
    if (m_over)
        return;
    if (button == 0) {
        goOnInSpiteOf(errors);
        return;
    }
    if (m_run) {
        m_run->over = true;
        m_run->reason = tr("Сертификат SMS-шлюза не принят.");
    }
    reject();
}

void SendSmsDialog::goOnInSpiteOf(const QList<QSslError> &errors)
{
    m_sslSocket->ignoreSslErrors(errors);
    m_sslSocket->resume();
    beginStage(tr("Установка защищённого соединения"));
}

void SendSmsDialog::On_sslSocket_readyRead()
{
    takeReply();
    if (m_over)
        return;
    // A reply in pieces is no refusal until its header is whole. Then the rest is awaited for a
    // moment only: it changes nothing, and the next message waits.
    if (m_reply.isFull()) {
        fail(refusalText());
    } else if (m_reply.hasHeader()) {
        showStatus(refusalText());
        if (!std::exchange(m_refused, true))
            m_timer.start(refusalPatience);
    }
}

void SendSmsDialog::On_sslSocket_disconnected()
{
    endWithoutReply(tr("соединение закрыто SMS-шлюзом"));
}

void SendSmsDialog::On_sslSocket_error()
{
    endWithoutReply(m_sslSocket->errorString());
}

void SendSmsDialog::takeReply()
{
    m_reply.append(m_sslSocket->readAll());
    if (m_reply.isAccepted())
        accept();
}

/// The connection or the patience has ended: what has come so far decides.
void SendSmsDialog::endWithoutReply(const QString &reason)
{
    takeReply();
    if (m_over)
        return;
    const bool silent = m_reply.bytes().isEmpty();
    const QString status = silent ? tr("Ошибка отправки SMS: ") + reason : refusalText();
    if (silent && m_run)
        m_run->over = true;
    fail(status);
}

void SendSmsDialog::fail(const QString &status)
{
    showStatus(status);
    logMessage(status.simplified());
    if (m_run)
        m_run->reason = status.simplified();
    reject();
}

QString SendSmsDialog::refusalText() const
{
    return tr("Ошибка отправки SMS: ") + shownReply(m_reply.bytes());
}

QString SendSmsDialog::shownReply(const QByteArray &bytes) const
{
    QString reply = sms::withoutSecrets(QString::fromUtf8(bytes), m_message).trimmed();
    if (reply.size() > shownReplySize)
        reply = reply.left(shownReplySize) + u'…';
    return reply;
}

bool sendSms(QWidget *parent, const QString &phone, const QString &text, SmsRun *run)
{
    SendSmsDialog dialog(parent, phone, text, run);
    return dialog.exec() == QDialog::Accepted;
}
