#pragma once

#include <QDialog>
#include <QList>
#include <QSslError>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>

#include "sms/smsrequest.h"

class QSslSocket;

/// Several messages in a row.
struct SmsRun
{
    QString place;  ///< of the next message among all of them, for the title; may be empty
    QString reason; ///< why the last message was not sent, for the user; empty when it was
    QString answer; ///< what the gateway said to the last one that it took
    QList<QList<QSslError>> acceptedErrors; ///< certificate errors that the user has let pass
    /// The user has stopped it, the certificate was refused or the gateway does not answer: no
    /// further message is worth a try.
    bool over = false;
};

namespace Ui {
class SendSmsDialog;
}

/// Sends one text message through the SMS gateway while it is open. Construction starts the
/// connection; exec() gives 1 when the gateway took the message, else 0. It never waits for a
/// person, except for the answer about a doubtful certificate.
class SendSmsDialog : public QDialog
{
    Q_OBJECT

public:
    /// With a run (which must live longer) the end is told there, a wrong number too, and a
    /// question that was answered in it is not asked again.
    SendSmsDialog(QWidget *parent, const QString &phone, const QString &text,
                  SmsRun *run = nullptr);
    ~SendSmsDialog() override;

    /// Runs the dialog; returns at once when the sending is over already.
    int exec() override;

    /// What the gateway said after the header of an accepting reply, as far as it had come.
    QByteArray gatewayAnswer() const;

    /// How long each of the stages connection, encryption and reply may take (30 s), and how long
    /// after a refusal the end of the connection is awaited (2 s).
    static void setTimeouts(std::chrono::milliseconds stage, std::chrono::milliseconds refusal);
    static std::chrono::milliseconds stageTimeout();

public slots:
    void done(int result) override;

private slots:
    void on_cancelPushButton_clicked();
    void On_sslSocket_encrypted();
    void On_sslSocket_sslErrors(const QList<QSslError> &errors);
    void On_sslSocket_readyRead();
    void On_sslSocket_disconnected();
    void On_sslSocket_error();

private:
    void start();
    void showStatus(const QString &status);
    void beginStage(const QString &status);
    void askAboutErrors(const QList<QSslError> &errors);
    void goOnInSpiteOf(const QList<QSslError> &errors);
    void takeReply();
    void endWithoutReply(const QString &reason);
    void fail(const QString &status);
    QString refusalText() const;
    QString shownReply(const QByteArray &bytes) const;

    std::unique_ptr<Ui::SendSmsDialog> m_ui;
    QSslSocket *m_sslSocket = nullptr;
    QTimer m_timer; ///< runs during a stage; its end ends the wait
    sms::Gateway m_gateway;
    sms::Message m_message;
    sms::Reply m_reply;
    SmsRun *m_run;
    bool m_refused = false;
    bool m_over = false;
};

/// Sends a message modally over the parent; returns whether the gateway took it. Without a gateway
/// in the settings nothing is sent and a log line says so.
bool sendSms(QWidget *parent, const QString &phone, const QString &text, SmsRun *run = nullptr);
