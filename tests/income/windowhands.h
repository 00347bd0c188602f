#pragma once

#include <QApplication>
#include <QString>
#include <QTest>

#include <memory>

#include "app/settings.h"
#include "income/incomeinvoicewindow.h"
#include "tests/support/dialogsteps.h"

/// The hands of a person who works at the main window, for the time of a case. The licence is
/// accepted, and the sounds are only noted.
class WindowHands
{
public:
    WindowHands();
    ~WindowHands();
    WindowHands(const WindowHands &) = delete;
    WindowHands &operator=(const WindowHands &) = delete;

    /// Gives the administrator of the shop on the main connection his password, if he has none yet.
    static void givePassword();

    /// Opens a window on a shop, logs in and shows it.
    std::unique_ptr<IncomeInvoiceWindow> openWindow(ConnectionEntry shop, const QString &name);

    /// Logs in at the next connection dialog.
    void logIn();

    /// Return through the next QuantityRestDialog, with a quantity typed over the proposed one if
    /// given.
    void accept(const QString &quantity = {});

    /// Keys into the code field as a scanner sends them, Return at the end.
    void scan(const QWidget &window, const QString &code);

    /// Keys to whatever has the focus, so many ms apart, and so many Returns behind them.
    void press(const QString &keys, int gap, int returns = 1);

    /// Lets time pass for whoever tells scans from typed keys.
    void wait(int ms)
    {
        m_now += ms;
    }

    DialogSteps steps;
    QString sounds; ///< "+" for each found, "-" for each not found

private:
    qint64 m_now = 1000; ///< ms, the time of the keys
};

/// The password into a connection dialog, then Return.
void enterPassword(QDialog *dialog);

/// What main() of such a test does.
template<typename Test>
int runWindowTest(int argc, char *argv[])
{
    QCoreApplication::setOrganizationName("LavkorTest");
    QCoreApplication::setApplicationName("Lavkor");
    QApplication application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}
