#include "income/manual.h"

#include "app/messages.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace {

/// Where the manual lies seen from the program: installed, or in the source tree of a build.
constexpr const char *manualPlaces[] = {"/../share/doc/lavkor/manual/index.html",
                                        "/../../docs/manual/index.html"};

} // namespace

void openManual(QWidget *parent)
{
    for (const char *place : manualPlaces) {
        const QFileInfo file(QCoreApplication::applicationDirPath() + QLatin1String(place));
        if (!file.exists())
            continue;
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(file.canonicalFilePath())))
            showWarning(parent, QCoreApplication::translate(
                                    "Manual", "Не удалось открыть справку в браузере: %1")
                                    .arg(file.canonicalFilePath()));
        return;
    }
    showWarning(parent, QCoreApplication::translate("Manual", "Руководство не установлено."));
}
