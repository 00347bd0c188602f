#include "login/euladialog.h"

#include "tests/support/testhome.h"
#include "tests/support/widgets.h"

#include <QApplication>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTimer>

class TestEula : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qunsetenv("XDG_CONFIG_HOME");
        QCoreApplication::setOrganizationName("lavkor-test");
        QCoreApplication::setApplicationName("Lavkor");
    }

    void init()
    {
        QSettings().clear();
        QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
    }

    void closingIsNoAcceptance()
    {
        EulaDialog dialog;
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QTest::keyClicks(dialog.focusWidget(), "4600051000057\r"); // a scan
        QVERIFY(dialog.isVisible());
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(dialog.isHidden());
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
        dialog.show();
        auto *decline = child<QPushButton>(dialog, "declinePushButton");
        decline->setFocus();
        QTest::keyClick(decline, Qt::Key_Return);
        QVERIFY(dialog.isHidden());
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
    }

    void acceptance_isAskedForOnce()
    {
        const auto pressButton = [](const char *name) {
            QTimer::singleShot(0, qApp,
                               [name] { click(*QApplication::activeModalWidget(), name); });
        };
        pressButton("declinePushButton");
        QVERIFY(!acceptEula(nullptr));
        QVERIFY(!QSettings().contains("acceptedEula"));

        pressButton("acceptPushButton");
        QVERIFY(acceptEula(nullptr));
        QCOMPARE(QSettings().value("acceptedEula").toBool(), true);
        QVERIFY(acceptEula(nullptr)); // a second dialog would wait for ever
    }

private:
    TestHome m_home;
};

QTEST_MAIN(TestEula)
#include "tst_eula.moc"
