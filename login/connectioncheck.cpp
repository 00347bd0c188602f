#include "login/connectioncheck.h"

#include "app/configdir.h"
#include "app/messages.h"
#include "app/settings.h"
#include "db/connections.h"
#include "db/engine.h"
#include "login/connectionrules.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

/// Texts of this file in the translations.
QString tr(const char *text)
{
    return QCoreApplication::translate("ConnectionCheck", text);
}

} // namespace

bool checkConnection(QWidget *parent, const ConnectionEntry &entry)
{
    if (const std::optional<ConnectionFault> fault = connectionFault(entry)) {
        showWarning(parent, fault->text);
        return false;
    }
    if (Engine::ofType(entry.dbtype)->isFile()) {
        ensureConfigDir();
        const QFileInfo file(databaseFilePath(entry));
        if (!file.exists()) {
            if (const QString fault = databaseFileFault(entry); !fault.isEmpty()) {
                showWarning(parent, fault);
                return false;
            }
            showInformation(parent,
                            tr("Файла %1 ещё нет. База данных будет создана при первом входе.")
                                .arg(file.filePath()));
            return true;
        }
    }
    const QString scratch = QStringLiteral("connectioncheck");
    const bool works = createConnection(parent, entry, scratch);
    removeConnection(scratch);
    if (works)
        showInformation(parent, tr("Соединение с базой данных установлено."));
    return works;
}
