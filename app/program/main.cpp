#include "app/configdir.h"
#include "app/logging.h"
#include "app/program/compatcheck.h"
#include "app/settings.h"
#include "income/incomeinvoicewindow.h"
#include "widgets/interfacefont.h"
#include "widgets/messagebox.h"

#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace {

/// Qt's own words ("Cancel", "Open"…) in Russian, whatever the machine speaks.
void installQtTranslation(QTranslator &translator)
{
    if (translator.load(QStringLiteral("qtbase_ru"),
                        QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setOrganizationDomain(QStringLiteral("lavkor.example"));
    QCoreApplication::setOrganizationName(QStringLiteral("Lavkor"));
    QCoreApplication::setApplicationName(QStringLiteral("Lavkor"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.40.1"));
    if (wantsCompatCheck(argc, argv)) {
        // No window, so that the check also runs on a machine without a display.
        const QCoreApplication application(argc, argv);
        return runCompatCheck();
    }
    QApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("lavkor"));

    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() >= 2 && arguments.at(1) == QLatin1String("-debug"))
        setConsoleDebug(true);

    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    QTranslator qtTranslator;
    installQtTranslation(qtTranslator);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/lavkor.svg")));
    installMessageBox();
    const bool showBox = true;
    Settings::instance().load(settingsFilePath(), showBox);
    applyInterfaceFont(); // also for the dialogs before the main window

    auto window = std::make_unique<IncomeInvoiceWindow>();
    window->show();
    return QApplication::exec();
}
