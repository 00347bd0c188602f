#include "income/customeralerts.h"

#include "app/logging.h"
#include "app/messages.h"
#include "app/settings.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "sms/sendsmsdialog.h"

#include <QCoreApplication>

namespace {

constexpr qsizetype mostFaults = 5; ///< in a message box
constexpr qsizetype mostAnswers = 2;

QString tr(const char *text)
{
    return QCoreApplication::translate("CustomerAlerts", text);
}

/// The database's own words are in the log.
QString databaseFault()
{
    return tr("Ошибка базы данных (подробности в журнале).");
}

/// Each text once, with the number of customers it was said of.
QStringList grouped(const QStringList &words)
{
    QStringList lines = words;
    lines.removeDuplicates();
    for (QString &line : lines) {
        const qsizetype count = words.count(line);
        if (count > 1)
            line += u' ' + tr("(покупателей: %1)").arg(count);
    }
    return lines;
}

} // namespace

QString AlertReport::text() const
{
    if (told == 0 && untold == 0 && faults.isEmpty())
        return {};
    QString text = tr("Покупателей оповещено по СМС: %1, не оповещено: %2.")
                       .arg(QString::number(told), QString::number(untold));
    if (untold > 0)
        text += u'\n' + tr("Неоповещённые остаются в списке ожидания до следующего прихода.");
    const QStringList words =
        shortened(grouped(faults), mostFaults) + shortened(grouped(answers), mostAnswers);
    if (!words.isEmpty())
        text += QStringLiteral("\n\n") + words.join(u'\n');
    return text;
}

CustomerAlerts::CustomerAlerts(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

AlertReport CustomerAlerts::tell(const QList<DueAlert> &due, const AlertCallbacks &callbacks)
{
    AlertReport report;
    if (due.isEmpty())
        return report;
    if (Settings::instance().value(SettingsKey::SmsGateHost).trimmed().isEmpty()) {
        logMessage(tr("СМС не отправлены: адрес SMS-шлюза не задан. Ожидающих покупателей: %1.")
                       .arg(due.size()));
        return report;
    }
    SmsRun run;
    // Another station may have changed the account or the text.
    if (!Session::instance().loadOptions(nullptr, m_connectionName)) {
        run.over = true;
        run.reason = databaseFault();
    }
    const QString form = Session::instance().option(QStringLiteral("SMS_ONSALE_TEXT"));
    for (qsizetype done = 0; done < due.size(); ++done) {
        const DueAlert &alert = due.at(done);
        if (!goOn(callbacks.progress, int(done), int(due.size())) && !run.over) {
            run.over = true;
            run.reason = tr("Отправка остановлена.");
        }
        // Another station may have answered it since the posting began.
        const Standing standing = run.over ? Standing::Waits : look(alert);
        if (standing == Standing::Answered)
            continue;
        if (standing == Standing::Unknown) {
            run.over = true; // what cannot be deleted afterwards is better not sent
            run.reason = databaseFault();
        }
        if (m_undeleted.contains(alert)) {
            if (!run.over)
                remove(alert);
            continue;
        }
        run.place = tr("%1 из %2").arg(QString::number(done + 1), QString::number(due.size()));
        QString text = form;
        text.replace(QStringLiteral("<PRODUCT>"), alert.wareName);
        if (run.over || !callbacks.send(alert.phone, text, run)) {
            ++report.untold;
            report.faults += run.reason;
            continue;
        }
        ++report.told;
        if (!run.answer.isEmpty())
            report.answers += tr("Ответ шлюза: ") + run.answer;
        if (!remove(alert))
            report.faults += tr("Покупатель %1 оповещён, но остался в списке ожидания. %2")
                                 .arg(alert.phone, databaseFault());
    }
    report.faults.removeAll(QString());
    if (!report.text().isEmpty())
        logMessage(report.text());
    return report;
}

CustomerAlerts::Standing CustomerAlerts::look(const DueAlert &alert) const
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr,
                   QStringLiteral("SELECT wareid, phone FROM alerts WHERE id='") +
                       sql::id(alert.id) + QStringLiteral("';"),
                   rows, m_connectionName))
        return Standing::Unknown;
    // The number of a deleted row may have been given to another customer's.
    return !rows.isEmpty() && rows.first().at(0).toULongLong() == alert.wareId &&
                   rows.first().at(1).toString() == alert.phone
               ? Standing::Waits
               : Standing::Answered;
}

bool CustomerAlerts::remove(const DueAlert &alert)
{
    m_undeleted.removeAll(alert);
    if (QueryExec(nullptr,
                  QStringLiteral("DELETE FROM alerts WHERE id='") + sql::id(alert.id) +
                      QStringLiteral("';"),
                  m_connectionName))
        return true;
    m_undeleted += alert;
    return false;
}
