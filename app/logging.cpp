#include "app/logging.h"

#include "app/configdir.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>

namespace {

bool consoleDebug = false;
bool fileDebug = false;

void appendLine(const QString &fileName, const QString &line)
{
    ensureConfigDir();
    QFile file(configDirPath() + u'/' + fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    file.write((line + QStringLiteral("\r\n")).toUtf8());
}

} // namespace

void logMessage(const QString &text)
{
    const QString line =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) + u' ' + text;
    qDebug().noquote() << line;
    appendLine(QStringLiteral("Lavkor_log.txt"), line);
}

bool debugLogEnabled()
{
    return consoleDebug || fileDebug;
}

void debugLog(const QString &text)
{
    if (!debugLogEnabled())
        return;
    const QString line =
        QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss.zzz")) + u' ' + text;
    if (consoleDebug)
        qDebug().noquote() << line;
    if (fileDebug)
        appendLine(QStringLiteral("debug.txt"), line);
}

void setConsoleDebug(bool on)
{
    consoleDebug = on;
}

void setFileDebug(bool on)
{
    fileDebug = on;
}
