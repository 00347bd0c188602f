#include "db/auditlog.h"

#include "app/logging.h"
#include "db/session.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("AuditLog", text);
}

} // namespace

QString onOneLine(const QString &text)
{
    QString line;
    line.reserve(text.size());
    for (const QChar sign : text) {
        switch (sign.category()) {
        case QChar::Other_Control:
        case QChar::Other_Format: // what turns the direction of the text, too
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            line += QStringLiteral("\\u%1").arg(sign.unicode(), 4, 16, QLatin1Char('0'));
            break;
        default:
            line += sign;
        }
    }
    return line;
}

void noteAction(const QString &what)
{
    const SessionUser &user = Session::instance().user();
    logMessage(
        onOneLine(tr("Пользователь %1 (№ %2): ").arg(user.login, QString::number(user.id)) + what));
}

QString noted(const QString &name, const QString &before, const QString &after)
{
    return before == after ? QString() : tr("%1: «%2» → «%3»").arg(name, before, after);
}

QString notedSecret(const QString &name)
{
    return tr("%1: изменён").arg(name);
}
