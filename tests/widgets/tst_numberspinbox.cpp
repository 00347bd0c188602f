#include "tests/support/datatable.h"
#include "widgets/numberspinbox.h"

#include <QTest>

class TestNumberSpinBox : public QObject
{
    Q_OBJECT

private slots:
    void typedNumber_isTaken_data();
    void typedNumber_isTaken();
    void exactNumber_staysUntilTheUserChangesIt();
};

void TestNumberSpinBox::typedNumber_isTaken_data()
{
    addColumns<QLocale, QString, double, QString, bool>("locale", "typed", "value", "shown",
                                                        "acceptable");

    for (const QLocale &locale :
         {QLocale(QLocale::Russian, QLocale::Russia), QLocale(QLocale::C)}) {
        const QByteArray name = locale.name().toLatin1();
        const auto row = [&](const char *what, const QString &typed, double value,
                             const QString &shown, bool acceptable = true) {
            QTest::addRow("%s, %s", name.constData(), what)
                << locale << typed << value << shown << acceptable;
        };
        row("point", "12.5", 12.5, "12.5");
        row("comma", "12,5", 12.5, "12.5");
        row("zeros dropped", "0,2500", 0.25, "0.25");
        row("whole number", "100", 100, "100");
        row("nothing behind the comma", "7,", 7, "7");
        row("second point is not taken", "1.2,3", 1.23, "1.23");
        row("letters are not taken", "1o2", 12, "12");
        row("beyond the range", "10000", 1000, "1000");
        row("zero", "0", 0, "0");
        row("emptied", "", 0, "0");
        // Stands there for the dialog to refuse; 1 is the number from before.
        row("too many decimals", "1,23456", 1, "1,23456", false);
    }
}

void TestNumberSpinBox::typedNumber_isTaken()
{
    QFETCH(QLocale, locale);
    QFETCH(QString, typed);

    NumberSpinBox box;
    box.setLocale(locale);
    box.setDecimals(4);
    box.setMaximum(1000);
    box.setValue(1);
    box.setKeyboardTracking(false);
    box.selectAll();
    QTest::keyClick(&box, Qt::Key_Delete);
    QTest::keyClicks(&box, typed);
    QTEST(box.hasAcceptableInput(), "acceptable");
    QTest::keyClick(&box, Qt::Key_Return);
    QTEST(box.value(), "value");
    QTEST(box.text(), "shown");
}

void TestNumberSpinBox::exactNumber_staysUntilTheUserChangesIt()
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

QTEST_MAIN(TestNumberSpinBox)
#include "tst_numberspinbox.moc"
