#include "login/euladialog.h"

#include "tests/support/dialogsteps.h"
#include "tests/support/testhome.h"
#include "tests/support/widgets.h"

#include <QSettings>

class TestEula : public QObject
{
    Q_OBJECT

private slots:
    void acceptance_isAskedForOnce()
    {
        const TestHome home;
        qunsetenv("XDG_CONFIG_HOME");
        QCoreApplication::setOrganizationName("lavkor-test");
        QCoreApplication::setApplicationName("Lavkor");
        QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
        DialogSteps steps;
        // Neither a scan accepts nor Return on the other button.
        steps.whenOpen<EulaDialog>([](EulaDialog &dialog) {
            QTest::keyClicks(dialog.focusWidget(), "4600051000057\r");
            QVERIFY(dialog.isVisible());
            child<QPushButton>(dialog, "declinePushButton")->setFocus();
            QTest::keyClick(dialog.focusWidget(), Qt::Key_Return);
            QVERIFY(dialog.isHidden());
        });
        QVERIFY(!acceptEula(nullptr));
        QVERIFY(!QSettings().contains("acceptedEula"));
        steps.whenOpen<EulaDialog>([](EulaDialog &dialog) { click(dialog, "acceptPushButton"); });
        QVERIFY(acceptEula(nullptr));
        QCOMPARE(QSettings().value("acceptedEula").toBool(), true);
        QVERIFY(acceptEula(nullptr)); // a second dialog would be stuck
        QVERIFY(steps.allServed());
    }
};

QTEST_MAIN(TestEula)
#include "tst_eula.moc"
