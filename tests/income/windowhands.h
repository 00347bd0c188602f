#pragma once

#include <QApplication>

#include "app/settings.h"
#include "income/incomeinvoicewindow.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/widgets.h"

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
    void press(const QString &keys, int gap = 0, int returns = 1);

    DialogSteps steps;
    QString sounds; ///< "+" for each found, "-" for each not found

private:
    qint64 m_now = 1000; ///< ms, the time of the keys
};

/// The password into a connection dialog, then Return.
void enterPassword(QDialog *dialog);

/// A test at the main window, which works on the shop that prepare() has opened.
class MainWindowTest : public DatabaseTest
{
protected:
    void openWindow(const QString &name = "Магазин");

    /// Shortcuts belong to the active window, and no window manager gives that back after a dialog.
    void activate();

    void tidy() override;

    template<typename Widget>
    Widget *child(const char *name) const
    {
        return ::child<Widget>(*m_window, name);
    }

    QString label(const char *name) const
    {
        return child<QLabel>(name)->text();
    }

    int lineCount(const char *table) const
    {
        return child<QTableView>(table)->model()->rowCount();
    }

    void scan(const QString &code)
    {
        m_hands->scan(*m_window, code);
    }

    void accept(const QString &quantity = {})
    {
        m_hands->accept(quantity);
    }

    std::unique_ptr<WindowHands> m_hands;
    std::unique_ptr<IncomeInvoiceWindow> m_window;
};

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
