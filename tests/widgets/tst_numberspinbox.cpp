#include "tests/support/datatable.h"
#include "widgets/numberspinbox.h"

#include <QApplication>
#include <QClipboard>
#include <QLineEdit>

class TestNumberSpinBox : public QObject
{
    Q_OBJECT

private slots:
    void typedNumber_isTaken_data()
    {
        addColumns<QString, double, QString>("typed", "value", "shown");
        addRow("point", "12.50", 12.5, "12.5");
        addRow("comma", "0,2500", 0.25, "0.25");
        addRow("nothing behind the comma", "7,", 7.0, "7");
        addRow("thousands", " 1\u00a0234,50", 1234.5, "1234.5");
        addRow("other minus", "\u22125", -5.0, "-5");
        addRow("emptied", "", 0.0, "0");
        // They stand there for the dialog to refuse; 1 is the number from before.
        addRow("too many decimals", "0,12345", 1.0, "0,12345");
        addRow("beyond the range", "100001", 1.0, "100001");
        addRow("letters", "LOT-5", 1.0, "LOT-5");
        addRow("two numbers", "7 5", 1.0, "7 5");
        addRow("only a sign", "-", 1.0, "-");
    }

    /// Typed or pasted, left in each way a field can be left, where the comma parts decimals and
    /// where it parts thousands.
    void typedNumber_isTaken()
    {
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        for (const QLocale &locale : {QLocale(QLocale::Russian), QLocale(QLocale::C)}) {
            for (const Qt::Key key :
                 {Qt::Key_Return, Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Up, Qt::Key_PageDown}) {
                QWidget window;
                NumberSpinBox box(&window);
                QLineEdit other(&window);
                box.setLocale(locale);
                box.setDecimals(4);
                box.setRange(-100, 100000);
                box.setValue(1);
                box.setKeyboardTracking(false);
                window.show();
                QVERIFY(QTest::qWaitForWindowActive(&window));
                box.setFocus();
                box.selectAll();
                QTest::keyClick(&box, Qt::Key_Delete);
                QApplication::clipboard()->setText(typed);
                if (key == Qt::Key_Tab || typed != QString::fromLatin1(typed.toUtf8()))
                    QTest::keyClick(&box, Qt::Key_V, Qt::ControlModifier);
                else
                    QTest::keyClicks(&box, typed);
                const bool refused = typed == shown;
                QCOMPARE(box.hasAcceptableInput(), !refused);
                QCOMPARE(box.fault().isEmpty(), !refused);
                if (!refused && (key == Qt::Key_Up || key == Qt::Key_PageDown))
                    continue;
                QTest::keyClick(&box, key);
                QTEST(box.value(), "value");
                QCOMPARE(box.text(), shown);
                other.setFocus();
                box.setFocus();
                QWidget elsewhere;
                elsewhere.show();
                QVERIFY(QTest::qWaitForWindowActive(&elsewhere));
                window.hide();
                QCOMPARE(box.text(), shown);
            }
        }
    }

    void exactNumber_staysUntilTheUserChangesIt()
    {
        NumberSpinBox box;
        box.setDecimals(2);
        box.setLeastDecimals(2);
        box.setExact(0.125);
        QVERIFY(!box.isChanged());
        QCOMPARE(box.exact(), 0.125);
        box.setExact(7.5);
        QCOMPARE(box.text(), "7.50");
        box.selectAll();
        QTest::keyClicks(&box, "8,25");
        QVERIFY(box.isChanged());
        QCOMPARE(box.exact(), 8.25);
    }
};

QTEST_MAIN(TestNumberSpinBox)
#include "tst_numberspinbox.moc"
