#include "widgets/numberspinbox.h"

#include <QTest>

class TestNumberSpinBox : public QObject
{
    Q_OBJECT

private slots:
    void typedNumber_isTaken_data();
    void typedNumber_isTaken();
};

void TestNumberSpinBox::typedNumber_isTaken_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("shown"); // with a point

    for (const QLocale &locale :
         {QLocale(QLocale::Russian, QLocale::Russia), QLocale(QLocale::C)}) {
        const QByteArray name = locale.name().toLatin1();
        const auto row = [&](const char *what, const QString &typed, double value,
                             const QString &shown) {
            QTest::addRow("%s, %s", name.constData(), what) << locale << typed << value << shown;
        };
        row("point", "12.5", 12.5, "12.5");
        row("comma", "12,5", 12.5, "12.5");
        row("zeros dropped", "0,2500", 0.25, "0.25");
        row("whole number", "100", 100, "100");
        row("nothing behind the comma", "7,", 7, "7");
        row("second point is not taken", "1.2,3", 1.23, "1.23");
        row("too many decimals are not taken", "1.23456", 1.2345, "1.2345");
        row("zero", "0", 0, "0");
    }
}

void TestNumberSpinBox::typedNumber_isTaken()
{
    QFETCH(QLocale, locale);
    QFETCH(QString, typed);
    QFETCH(QString, shown);

    NumberSpinBox box;
    box.setLocale(locale);
    box.setDecimals(4);
    box.setMaximum(1000);
    box.setValue(1);
    box.selectAll();
    QTest::keyClicks(&box, typed);
    QTest::keyClick(&box, Qt::Key_Return);
    QTEST(box.value(), "value");
    QCOMPARE(box.text(), shown.replace(".", locale.decimalPoint()));
}

QTEST_MAIN(TestNumberSpinBox)
#include "tst_numberspinbox.moc"
