#include "windowhands.h"

#include "app/configdir.h"
#include "db/session.h"
#include "widgets/scanreader.h"
#include "widgets/sound.h"

#include <QAbstractSpinBox>
#include <QSettings>

namespace {

const QString password = "secret";

/// Where keys go: offscreen nobody activates a window that comes or comes back.
QWidget *placeOfKeys()
{
    if (QWidget *popup = QApplication::activePopupWidget())
        return popup;
    QWidget *modal = QApplication::activeModalWidget();
    if (!modal && QApplication::focusWidget())
        return QApplication::focusWidget();
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (modal ? window == modal : qobject_cast<IncomeInvoiceWindow *>(window) != nullptr)
            return window->focusWidget() ? window->focusWidget() : window;
    }
    return modal;
}

} // namespace

WindowHands::WindowHands()
{
    setSoundHandler([this](Sound sound) { sounds += sound == Sound::Found ? '+' : '-'; });
    setKeyClock([this] { return m_now; });
    QSettings().clear();
    QSettings().setValue("acceptedEula", true);
}

WindowHands::~WindowHands()
{
    setSoundHandler({});
    setKeyClock({});
    Settings::instance().reset();
}

void WindowHands::givePassword()
{
    Session &session = Session::instance();
    if (session.logIn(nullptr, "admin", "", mainConnection) == LoginResult::PasswordNeeded)
        QCOMPARE(Session::setFirstPassword(nullptr, session.user().id, password, mainConnection),
                 FirstPassword::Set);
}

std::unique_ptr<IncomeInvoiceWindow> WindowHands::openWindow(ConnectionEntry shop,
                                                             const QString &name)
{
    shop.name = name;
    Settings::instance().load(configDirPath() + "/none");
    Settings::instance().setConnections({shop});
    logIn();
    auto window = std::make_unique<IncomeInvoiceWindow>();
    if (!window->isReady())
        qFatal("The window does not open");
    window->show();
    return window;
}

void WindowHands::logIn()
{
    steps.add("SelectConnectionDialog", enterPassword);
}

void WindowHands::accept(const QString &quantity)
{
    steps.add("QuantityRestDialog", [this, quantity](QDialog *dialog) {
        m_now += 1000;
        auto *field = child<QAbstractSpinBox>(*dialog, "quantityDoubleSpinBox");
        field->setFocus();
        if (!quantity.isEmpty()) {
            field->selectAll();
            QTest::keyClicks(field, quantity);
        }
        QTest::keyClick(field, Qt::Key_Return);
    });
}

void WindowHands::scan(const QWidget &window, const QString &code)
{
    m_now += 1000;
    auto *field = child<QLineEdit>(window, "codeLineEdit");
    field->setFocus();
    QTest::keyClicks(field, code);
    QTest::keyClick(field, Qt::Key_Return);
}

void WindowHands::press(const QString &keys, int gap, int returns)
{
    m_now += 1000;
    for (const QChar c : keys) {
        QTest::keyClick(placeOfKeys(), c.toLatin1());
        m_now += gap;
    }
    for (; returns > 0; --returns) {
        QTest::keyClick(placeOfKeys(), Qt::Key_Return);
        m_now += gap;
    }
}

void enterPassword(QDialog *dialog)
{
    auto *field = child<QLineEdit>(*dialog, "passwordLineEdit");
    field->clear();
    QTest::keyClicks(field, password);
    QTest::keyClick(field, Qt::Key_Return);
}

void MainWindowTest::openWindow(const QString &name)
{
    if (!m_hands)
        m_hands = std::make_unique<WindowHands>();
    WindowHands::givePassword();
    m_window = m_hands->openWindow(m_database->entry(), name);
    activate();
}

void MainWindowTest::activate()
{
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

void MainWindowTest::tidy()
{
    const bool served = m_hands && m_hands->steps.allServed();
    m_window.reset();
    m_hands.reset();
    QVERIFY(served);
}
