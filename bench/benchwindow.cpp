#include "bench/benchwindow.h"

#include "db/connections.h"
#include "db/session.h"
#include "income/incomeinvoicewindow.h"

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <QWindow>

namespace {

const QString password = QStringLiteral("bench");

} // namespace

void prepareLogin(const ConnectionEntry &entry)
{
    const QString connection = QStringLiteral("login");
    if (!createConnection(nullptr, entry, connection))
        qFatal("no connection");
    Session::instance().logIn(nullptr, "admin", {}, connection);
    Session::setFirstPassword(nullptr, Session::instance().user().id, password, connection);
    removeConnection(connection);
}

std::unique_ptr<IncomeInvoiceWindow> openBenchWindow(const ConnectionEntry &entry)
{
    QSettings().setValue("acceptedEula", true);
    Settings::instance().setConnections({entry});
    QTimer login;
    QObject::connect(&login, &QTimer::timeout, [] {
        QWidget *dialog = QApplication::activeModalWidget();
        if (!dialog || !dialog->isVisible() || !dialog->inherits("SelectConnectionDialog"))
            return;
        dialog->findChild<QLineEdit *>("loginLineEdit")->setText("admin");
        dialog->findChild<QLineEdit *>("passwordLineEdit")->setText(password);
        dialog->findChild<QPushButton *>("okPushButton")->click();
    });
    login.start(0);
    auto window = std::make_unique<IncomeInvoiceWindow>();
    login.stop();
    if (!window->isReady())
        qFatal("the window did not log in");
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        qFatal("the window does not show");
    return window;
}

ConnectionEntry sqliteEntry(const QString &path)
{
    return {.name = "bench", .dbtype = "sqlite", .databasename = path};
}
