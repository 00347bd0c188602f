#include "catalogue/costdialog.h"

#include "db/session.h"
#include "tests/support/databasetest.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QGroupBox>
#include <QRadioButton>
#include <QTableWidget>

class TestCostDialog : public DialogTest
{
    Q_OBJECT

private slots:
    void dialog_proposesWhatProductsShare()
    {
        shop::addProduct({.id = 11, .name = shop::nastyName, .incost = 2, .currency = "USD"});
        shop::addProduct({.id = 12, .outcost = 30});
        const auto value = [](const CostDialog &dialog, const char *name) {
            return child<NumberSpinBox>(dialog, name)->value();
        };
        const CostDialog one({11});
        QCOMPARE(value(one, "incostDoubleSpinBox"), 180.0);
        QCOMPARE(value(one, "outcostDoubleSpinBox"), 20.0);
        QVERIFY(child<QRadioButton>(one, "fixedRadioButton")->isChecked());
        QVERIFY(!child<QGroupBox>(one, "incostGroupBox")->isChecked());
        QCOMPARE(child<QTableWidget>(one, "productsTableWidget")->item(0, 1)->text(),
                 shop::nastyName);
        // A rate that was 1, or a currency that was not there, when this station read them last.
        rows("UPDATE currencies SET value=1 WHERE id=3");
        QVERIFY(Session::instance().loadCurrencies(mainConnection));
        rows("UPDATE currencies SET value=64.78 WHERE id=3");
        QCOMPARE(value(CostDialog({11}), "incostDoubleSpinBox"), 129.56);

        QCOMPARE(value(CostDialog({11, 12}), "outcostDoubleSpinBox"), 0.0);
        rows("UPDATE warehouse SET inoutratio=1.7");
        const CostDialog ratio({11, 12});
        QCOMPARE(value(ratio, "ratioDoubleSpinBox"), 1.7);
        QVERIFY(child<QRadioButton>(ratio, "ratioRadioButton")->isChecked());
    }

    void dialog_writesWhatIsTyped()
    {
        shop::addProduct({.id = 11});
        shop::addProduct({.id = 12, .outcost = 30});
        CostDialog dialog({11, 12});
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const auto press = [&dialog](Qt::Key key) {
            QTest::keyClick(dialog.focusWidget(), key);
        };
        // Nothing in common and nothing typed: nothing is written.
        m_boxes->answer("OK");
        press(Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        QCOMPARE(rows("SELECT id FROM warehouse WHERE outcost=0"), "");

        QTest::mouseClick(child<QRadioButton>(dialog, "ratioRadioButton"), Qt::LeftButton, {},
                          QPoint(8, 8));
        QTest::keyClicks(dialog.focusWidget(), "40063813");
        m_boxes->answer("Отмена"); // not a coefficient but a scan
        press(Qt::Key_Return);
        QTest::keyClicks(dialog.focusWidget(), "2,5");
        child<QGroupBox>(dialog, "incostGroupBox")->setFocus();
        press(Qt::Key_Space);
        QTest::keyClicks(dialog.focusWidget(), "40");
        press(Qt::Key_Return);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(
            rows("SELECT id FROM warehouse WHERE incost=40 AND inoutratio=2.5 AND outcost=100"),
            "11\n12");
    }

private:
    void prepare() override
    {
        openShop();
    }
};

QTEST_MAIN(TestCostDialog)
#include "tst_costdialog.moc"
