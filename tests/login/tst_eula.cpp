#include "login/euladialog.h"

#include "tests/support/testhome.h"

#include <QApplication>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

class TestEula : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void textIsShown();
    void closingIsNoAcceptance_data();
    void closingIsNoAcceptance();
    void acceptance_isAskedForOnce();

private:
    TestHome m_home;
};

void TestEula::initTestCase()
{
    qunsetenv("XDG_CONFIG_HOME");
    QCoreApplication::setOrganizationName(QStringLiteral("lavkor-test"));
    QCoreApplication::setApplicationName(QStringLiteral("Lavkor"));
}

void TestEula::init()
{
    QSettings().clear();
    QTest::failOnWarning(QRegularExpression(QStringLiteral("connectSlotsByName")));
}

void TestEula::textIsShown()
{
    EulaDialog dialog;
    const auto *browser = dialog.findChild<QTextBrowser *>(QStringLiteral("eulaTextBrowser"));
    QVERIFY(browser->toPlainText().contains(QStringLiteral("Лицензионное соглашение")));
    QVERIFY(!browser->toPlainText().contains(u'<'));
    QCOMPARE(dialog.findChild<QPushButton *>(QStringLiteral("acceptPushButton"))->text(),
             QStringLiteral("Принимаю"));
}

void TestEula::closingIsNoAcceptance_data()
{
    using Action = std::function<void(EulaDialog &)>;
    QTest::addColumn<Action>("action");
    QTest::addColumn<bool>("closes");
    QTest::newRow("decline") << Action([](EulaDialog &dialog) {
        QTest::mouseClick(dialog.findChild<QPushButton *>(QStringLiteral("declinePushButton")),
                          Qt::LeftButton);
    }) << true;
    QTest::newRow("Return on decline") << Action([](EulaDialog &dialog) {
        auto *button = dialog.findChild<QPushButton *>(QStringLiteral("declinePushButton"));
        button->setFocus();
        QTest::keyClick(button, Qt::Key_Return);
    }) << true;
    QTest::newRow("Escape") << Action([](EulaDialog &dialog) {
        QTest::keyClick(&dialog, Qt::Key_Escape);
    }) << true;
    QTest::newRow("close") << Action([](EulaDialog &dialog) { dialog.close(); }) << true;
    QTest::newRow("Return of a scanner") << Action([](EulaDialog &dialog) {
        QTest::keyClicks(dialog.focusWidget(), QStringLiteral("4600051000057"));
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Return);
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Enter);
    }) << false;
}

void TestEula::closingIsNoAcceptance()
{
    QFETCH(std::function<void(EulaDialog &)>, action);
    QFETCH(bool, closes);
    EulaDialog dialog;
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    action(dialog);
    QCOMPARE(dialog.isHidden(), closes);
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

void TestEula::acceptance_isAskedForOnce()
{
    const auto pressButton = [](const QString &name) {
        QTimer::singleShot(0, qApp, [name] {
            QTest::mouseClick(QApplication::activeModalWidget()->findChild<QPushButton *>(name),
                              Qt::LeftButton);
        });
    };
    pressButton(QStringLiteral("declinePushButton"));
    QVERIFY(!acceptEula(nullptr));
    QVERIFY(!QSettings().contains(QStringLiteral("acceptedEula")));

    pressButton(QStringLiteral("acceptPushButton"));
    QVERIFY(acceptEula(nullptr));
    QCOMPARE(QSettings().value(QStringLiteral("acceptedEula")).toBool(), true);
    QVERIFY(acceptEula(nullptr)); // a second dialog would wait for ever
}

QTEST_MAIN(TestEula)
#include "tst_eula.moc"
