#include "catalogue/codedialog.h"

#include "db/query.h"
#include "db/sqltext.h"
#include "tests/support/databasetest.h"
#include "tests/support/datatable.h"
#include "tests/support/shop.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QLabel>
#include <QLineEdit>
#include <QScopeGuard>
#include <QTest>

namespace {

QLineEdit *codeEdit(const QDialog &dialog)
{
    return child<QLineEdit>(dialog, "codeLineEdit");
}

NumberSpinBox *packEdit(const QDialog &dialog)
{
    return child<NumberSpinBox>(dialog, "packquantityDoubleSpinBox");
}

QLineEdit *madeinEdit(const QDialog &dialog)
{
    return child<QLineEdit>(dialog, "madeinLineEdit");
}

} // namespace

class TestCodeDialog : public DatabaseTest
{
    Q_OBJECT

private slots:
    void generate_followsTheLargestInternalCode_data();
    void generate_followsTheLargestInternalCode();
    void generate_tellsWhenTheRangeIsUsedUp();
    void newCode_isStoredAsEntered();
    void savedCode_isLoadedAndChanged();
    void impossibleInput_keepsTheDialogOpen_data();
    void impossibleInput_keepsTheDialogOpen();
    void otherChange_keepsAnExactPackQuantity();
    void takenCode_isRefused();
    void missingRow_endsTheDialog();
    void scannedCode_isNotSavedAtOnce();
    void largeFont_leavesRoomForEverything();

private:
    void prepare() override;
};

void TestCodeDialog::prepare()
{
    openShop();
    shop::addProduct({.id = 7, .name = "Чай <b>\"Заря\"</b> & О'Нил"});
}

void TestCodeDialog::generate_followsTheLargestInternalCode_data()
{
    addColumns<QStringList, QString>("codes", "generated");

    addRow("none yet", QStringList{"4006381333931", "20000001", "200000000000000"},
           "2000000000008");
    addRow("some", QStringList{"2000000000008", "2000000000091", "2000000000015", "3000000000000"},
           "2000000000107");
    addRow("letters sort behind", QStringList{"2000000000008", "2abcdefghijkl"}, "2000000000015");
    addRow("only letters", QStringList{"2abcdefghijkl"}, "2000000000008");
    // 13 bytes, which is what one of the databases counts.
    addRow("Cyrillic", QStringList{"2000000000008", "2абвгде"}, "2000000000015");
}

void TestCodeDialog::generate_followsTheLargestInternalCode()
{
    QFETCH(QStringList, codes);
    QFETCH(QString, generated);

    for (const QString &code : codes)
        shop::addCode(7, code);
    CodeDialog dialog(0, 7, nullptr);
    click(dialog, "generateCodeButton");
    QCOMPARE(codeEdit(dialog)->text(), generated);
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), QString::number(codes.size()));
}

void TestCodeDialog::generate_tellsWhenTheRangeIsUsedUp()
{
    shop::addCode(7, "2999999999991");
    CodeDialog dialog(0, 7, nullptr);
    codeEdit(dialog)->setText("4006381333931");
    m_boxes->answer("OK");
    click(dialog, "generateCodeButton");
    QCOMPARE(m_boxes->lastText(), "Внутренние штрих-коды, начинающиеся с 2, закончились.");
    QCOMPARE(codeEdit(dialog)->text(), "4006381333931");
}

void TestCodeDialog::newCode_isStoredAsEntered()
{
    shop::addCode(7, "00123");
    const QString before = currentTimestamp();
    CodeDialog dialog(0, 7, nullptr);
    dialog.show();
    QCOMPARE(dialog.windowTitle(), "Новый штрих-код");
    QCOMPARE(dialog.findChild<QLabel *>("nameLabel")->text(), "Чай <b>\"Заря\"</b> & О'Нил");
    QCOMPARE(packEdit(dialog)->value(), 1.0);

    // 123 is another text than 00123, whatever number a database may see in them.
    QTest::keyClicks(codeEdit(dialog), " 123 ");
    packEdit(dialog)->selectAll();
    QTest::keyClicks(packEdit(dialog), "1,125");
    madeinEdit(dialog)->setText("Кот-д'Ивуар");
    QTest::keyClick(madeinEdit(dialog), Qt::Key_Return);
    QCOMPARE(dialog.result(), 1);
    QCOMPARE(QString::number(dialog.id()), rows("SELECT MAX(id) FROM codes"));
    QCOMPARE(rows("SELECT wareid, code, packquantity, madein, userid FROM codes WHERE code='123'"),
             "7\t123\t1.125\tКот-д'Ивуар\t3");
    const QString timestamp = rows("SELECT timestamp FROM codes WHERE code='123'");
    QVERIFY(before <= timestamp && timestamp <= currentTimestamp());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "2");
}

void TestCodeDialog::savedCode_isLoadedAndChanged()
{
    shop::addCode(7, "О'Нил %1", 2.5);
    QVERIFY(QueryExec(nullptr, "UPDATE codes SET madein='Цейлон', userid='9' WHERE wareid='7';"));
    const qulonglong id = rows("SELECT id FROM codes").toULongLong();
    const QString stamp = rows("SELECT timestamp FROM codes");
    CodeDialog dialog(id, 0, nullptr);
    QCOMPARE(dialog.windowTitle(), "Редактирование штрих-кода");
    QCOMPARE(codeEdit(dialog)->text(), "О'Нил %1");
    QCOMPARE(packEdit(dialog)->value(), 2.5);
    QCOMPARE(madeinEdit(dialog)->text(), "Цейлон");

    // Its own code is no duplicate.
    packEdit(dialog)->setValue(12.5);
    click(dialog, "okPushButton");
    QCOMPARE(dialog.result(), 1);
    QCOMPARE(dialog.id(), id);
    QCOMPARE(rows("SELECT wareid, code, packquantity, madein, userid FROM codes"),
             "7\tО'Нил %1\t12.5\tЦейлон\t9");
    QCOMPARE(rows("SELECT timestamp FROM codes"), stamp);
}

void TestCodeDialog::impossibleInput_keepsTheDialogOpen_data()
{
    const QString noPack = "Пожалуйста, введите количество в упаковке.";
    addColumns<QString, QString, QString>("code", "pack", "told");
    addRow("no code", "  ", "1", "Пожалуйста, введите штрих-код.");
    addRow("emptied pack", "4006381333931", "", noPack);
    addRow("zero", "4006381333931", "0", noPack);
    addRow("too many decimals", "4006381333931", "1.2345", noPack);
    addRow("too many", "4006381333931", "1000000", noPack);
}

void TestCodeDialog::impossibleInput_keepsTheDialogOpen()
{
    QFETCH(QString, code);
    QFETCH(QString, pack);

    CodeDialog dialog(0, 7, nullptr);
    dialog.show();
    QTest::keyClicks(codeEdit(dialog), code);
    packEdit(dialog)->selectAll();
    QTest::keyClick(packEdit(dialog), Qt::Key_Delete);
    QTest::keyClicks(packEdit(dialog), pack);
    m_boxes->answer("OK");
    QTest::keyClick(packEdit(dialog), Qt::Key_Return);
    QTEST(m_boxes->lastText(), "told");
    QVERIFY(dialog.isVisible());
    if (code.trimmed().isEmpty())
        QCOMPARE(dialog.focusWidget(), codeEdit(dialog));
    click(dialog, "cancelPushButton");
    QVERIFY(!dialog.isVisible());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "0");
}

void TestCodeDialog::otherChange_keepsAnExactPackQuantity()
{
    // Another program of the shop stored more decimals than the field shows.
    shop::addCode(7, "4006381333931", 0.12345);
    CodeDialog dialog(rows("SELECT id FROM codes").toULongLong(), 0, nullptr);
    madeinEdit(dialog)->setText("Китай");
    click(dialog, "okPushButton");
    QCOMPARE(rows("SELECT packquantity, madein FROM codes"), "0.12345\tКитай");
}

void TestCodeDialog::takenCode_isRefused()
{
    const QString code = "О'Нил %2 %1 a\\";
    shop::addCode(7, code);
    CodeDialog dialog(0, 8, nullptr);
    dialog.show();
    codeEdit(dialog)->setText(code);
    m_boxes->answer("OK");
    click(dialog, "okPushButton");
    QCOMPARE(m_boxes->lastText(), "Штрих-код " + code + " уже присвоен наименованию 7.");
    QVERIFY(dialog.isVisible());
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "1");
}

void TestCodeDialog::missingRow_endsTheDialog()
{
    m_boxes->answer("OK");
    CodeDialog dialog(4200000, 0, nullptr);
    QCOMPARE(m_boxes->lastText(), "Ошибка получения свойств штрих-кода");
    QCOMPARE(dialog.exec(), 0);
}

void TestCodeDialog::scannedCode_isNotSavedAtOnce()
{
    CodeDialog dialog(0, 7, nullptr);
    dialog.show();
    dialog.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QTest::keyClicks(dialog.focusWidget(), "4006381333931\r");
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.focusWidget(), packEdit(dialog));
    QCOMPARE(rows("SELECT COUNT(*) FROM codes"), "0");
    // A second scan by mistake is no pack quantity.
    m_boxes->answer("OK");
    QTest::keyClicks(dialog.focusWidget(), "4006381333931\r");
    QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите количество в упаковке.");
    QTest::keyClicks(dialog.focusWidget(), "12\r");
    QVERIFY(!dialog.isVisible());
    QCOMPARE(rows("SELECT code, packquantity FROM codes").remove(".0"), "4006381333931\t12");
}

void TestCodeDialog::largeFont_leavesRoomForEverything()
{
    const QFont former = QApplication::font();
    QFont large = former;
    large.setPointSize(16);
    QApplication::setFont(large);
    const auto putBack = qScopeGuard([&] { QApplication::setFont(former); });
    shop::addProduct({.id = 8, .name = QString("Набор посуды для дачи ").repeated(10)});
    shop::addProduct({.id = 9, .name = QString(150, u'Ж')});
    for (const qulonglong id : {7, 8, 9}) {
        CodeDialog dialog(0, id, nullptr);
        codeEdit(dialog)->setText("20000000000084");
        dialog.show();
        const auto *name = dialog.findChild<QLabel *>("nameLabel");
        QVERIFY(name->height() >= name->heightForWidth(name->width()));
        QVERIFY(name->width() >= name->minimumSizeHint().width());
        const QFontMetrics metrics = codeEdit(dialog)->fontMetrics();
        QVERIFY(codeEdit(dialog)->width() > metrics.horizontalAdvance(codeEdit(dialog)->text()));
        for (const QWidget *widget : dialog.findChildren<QWidget *>()) {
            if (widget->parent() == &dialog && widget->isVisible())
                QVERIFY2(dialog.rect().contains(widget->geometry()) &&
                             widget->height() >= widget->minimumSizeHint().height(),
                         qPrintable(widget->objectName()));
        }
    }
}

QTEST_MAIN(TestCodeDialog)
#include "tst_codedialog.moc"
