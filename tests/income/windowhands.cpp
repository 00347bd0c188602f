#include "windowhands.h"

#include "app/configdir.h"
#include "db/session.h"
#include "tests/support/widgets.h"
#include "widgets/sound.h"

#include <QAbstractSpinBox>
#include <QLineEdit>
#include <QSettings>

namespace {

const QString password = "secret";

} // namespace

WindowHands::WindowHands()
{
    setSoundHandler([this](Sound sound) { sounds += sound == Sound::Found ? '+' : '-'; });
    QSettings().clear();
    QSettings().setValue("acceptedEula", true);
}

WindowHands::~WindowHands()
{
    setSoundHandler({});
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
    steps.add("QuantityRestDialog", [quantity](QDialog *dialog) {
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
    auto *field = child<QLineEdit>(window, "codeLineEdit");
    field->setFocus();
    QTest::keyClicks(field, code);
    QTest::keyClick(field, Qt::Key_Return);
}

void enterPassword(QDialog *dialog)
{
    auto *field = child<QLineEdit>(*dialog, "passwordLineEdit");
    field->clear();
    QTest::keyClicks(field, password);
    QTest::keyClick(field, Qt::Key_Return);
}
