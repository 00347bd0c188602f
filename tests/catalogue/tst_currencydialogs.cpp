#include "catalogue/currenciesdialog.h"
#include "catalogue/currencydialog.h"

#include "db/query.h"
#include "db/session.h"
#include "tests/support/databasetest.h"
#include "tests/support/datatable.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/shop.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include <memory>

namespace {

NumberSpinBox *valueEdit(const QDialog &dialog)
{
    return child<NumberSpinBox>(dialog, "valueDoubleSpinBox");
}

} // namespace

class TestCurrencyDialogs : public DatabaseTest
{
    Q_OBJECT

private slots:
    void newCurrency_isStored();
    void savedCurrency_isLoadedAndChanged();
    void missingCurrency_endsTheDialog();
    void untouchedRate_staysAsStored();
    void impossibleInput_keepsTheDialogOpen_data();
    void impossibleInput_keepsTheDialogOpen();
    void list_opensRowsAndRefreshes_data();
    void list_opensRowsAndRefreshes();
    void recalculation_changesPricesByRate();

private:
    void prepare() override;
    void tidy() override;

    std::unique_ptr<DialogSteps> m_steps;
};

void TestCurrencyDialogs::prepare()
{
    m_steps = std::make_unique<DialogSteps>();
    openShop();
    QVERIFY(QueryExec(nullptr, "DELETE FROM currencies WHERE id>'3';"));
    QVERIFY(QueryExec(nullptr, "REPLACE INTO currencies(id,c_code,symbol,value) "
                               "VALUES('2','EUR','€','92.5');"));
    QVERIFY(QueryExec(nullptr, "UPDATE currencies SET value='1' WHERE id='3';"));
    QVERIFY(Session::instance().loadCurrencies(mainConnection));
}

void TestCurrencyDialogs::tidy()
{
    QVERIFY(m_steps->allServed());
}

void TestCurrencyDialogs::newCurrency_isStored()
{
    CurrencyDialog dialog(0, nullptr);
    dialog.show();
    QCOMPARE(dialog.windowTitle(), "Добавление валюты");
    QTest::keyClicks(child<QLineEdit>(dialog, "cCodeLineEdit"), "T'ST");
    child<QLineEdit>(dialog, "symbolLineEdit")->setText("₮'%1");
    valueEdit(dialog)->selectAll();
    QTest::keyClicks(valueEdit(dialog), "0,25");
    QTest::keyClick(valueEdit(dialog), Qt::Key_Return);
    QCOMPARE(dialog.result(), 1);
    QCOMPARE(rows("SELECT c_code, symbol, value FROM currencies WHERE id>3"), "T'ST\t₮'%1\t0.25");
}

void TestCurrencyDialogs::savedCurrency_isLoadedAndChanged()
{
    CurrencyDialog dialog(2, nullptr);
    QCOMPARE(dialog.windowTitle(), "Редактирование валюты 2");
    QCOMPARE(child<QLineEdit>(dialog, "cCodeLineEdit")->text(), "EUR");
    QCOMPARE(child<QLineEdit>(dialog, "symbolLineEdit")->text(), "€");
    QCOMPARE(valueEdit(dialog)->value(), 92.5);

    // Neither an empty symbol nor a second currency of the same code is refused.
    child<QLineEdit>(dialog, "cCodeLineEdit")->setText("USD");
    child<QLineEdit>(dialog, "symbolLineEdit")->clear();
    click(dialog, "savePushButton");
    QCOMPARE(dialog.result(), 1);
    QCOMPARE(rows("SELECT id FROM currencies WHERE c_code='USD' ORDER BY id"), "2\n3");
    QCOMPARE(rows("SELECT COUNT(*) FROM currencies WHERE symbol=''"), "1");
}

void TestCurrencyDialogs::missingCurrency_endsTheDialog()
{
    CurrencyDialog dialog(42, nullptr);
    QCOMPARE(dialog.exec(), 0);
}

void TestCurrencyDialogs::untouchedRate_staysAsStored()
{
    for (const char *rate : {"0", "NULL", "1500000", "0.003527", "64.78123"}) {
        rows(QStringLiteral("UPDATE currencies SET symbol='?', value=%1 WHERE id=3").arg(rate));
        const QString stored = rows("SELECT value FROM currencies WHERE id=3");
        CurrencyDialog dialog(3, nullptr);
        dialog.show();
        QCOMPARE(valueEdit(dialog)->text(), QString(rate).remove("NULL"));
        child<QLineEdit>(dialog, "symbolLineEdit")->setText("$");
        valueEdit(dialog)->setFocus();
        click(dialog, "savePushButton");
        QCOMPARE(rows("SELECT symbol, value FROM currencies WHERE id=3"), "$\t" + stored);
    }
}

void TestCurrencyDialogs::impossibleInput_keepsTheDialogOpen_data()
{
    addColumns<QString, QString, QString>("code", "rate", "told");
    addRow("emptied", "EUR", "", "введите курс валюты");
    addRow("zero", "EUR", "0", "не может быть меньше 0.000001.");
    addRow("too many decimals", "EUR", "0.0000001", "не больше 6.");
    addRow("too much", "EUR", "1500000", "не может быть больше 999999.");
    addRow("words", "EUR", "LOT-5", "Это не число.");
    addRow("no code", " ", "92.5", "введите код валюты");
}

void TestCurrencyDialogs::impossibleInput_keepsTheDialogOpen()
{
    QFETCH(QString, code);
    QFETCH(QString, rate);
    QFETCH(QString, told);

    CurrencyDialog dialog(2, nullptr);
    dialog.show();
    child<QLineEdit>(dialog, "cCodeLineEdit")->setText(code);
    valueEdit(dialog)->selectAll();
    QTest::keyClick(valueEdit(dialog), Qt::Key_Delete);
    QTest::keyClicks(valueEdit(dialog), rate);
    child<QLineEdit>(dialog, "cCodeLineEdit")->setFocus();
    m_boxes->answer("OK");
    click(dialog, "savePushButton");
    QVERIFY2(m_boxes->lastText().contains(told), qPrintable(m_boxes->lastText()));
    QVERIFY(dialog.isVisible());
    QCOMPARE(valueEdit(dialog)->text(), rate);
    QCOMPARE(rows("SELECT c_code, value FROM currencies WHERE id=2"), "EUR\t92.5");
}

void TestCurrencyDialogs::list_opensRowsAndRefreshes_data()
{
    addColumns<QString>("way");
    addRow("button", "button");
    addRow("double click", "double click");
    addRow("Return", "Return");
}

void TestCurrencyDialogs::list_opensRowsAndRefreshes()
{
    QFETCH(QString, way);

    CurrenciesDialog list(nullptr);
    list.show();
    auto *table = list.findChild<QTableView *>("currenciesTableView");
    QAbstractItemModel *model = table->model();
    QCOMPARE(model->rowCount(), 3);
    QVERIFY(table->isColumnHidden(0));
    QVERIFY(!list.findChild<QPushButton *>("editPushButton")->isEnabled());
    QCOMPARE(model->index(1, 3).data().toString(), "92.5");

    const QPoint place = table->visualRect(model->index(1, 1)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, place);
    m_steps->whenOpen<CurrencyDialog>([&](CurrencyDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), "Редактирование валюты 2");
        valueEdit(dialog)->setValue(101.25);
        click(dialog, "savePushButton");
    });
    if (way == "button")
        click(list, "editPushButton");
    else if (way == "Return")
        QTest::keyClick(table, Qt::Key_Return);
    else
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, place);
    QVERIFY(list.isVisible());
    QCOMPARE(model->index(1, 3).data().toString(), "101.25");
    QCOMPARE(table->currentIndex().row(), 1);
    QCOMPARE(Session::instance().convertCurrencyToMain(2, "EUR"), 202.5);

    m_steps->whenOpen<CurrencyDialog>([&](CurrencyDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), "Добавление валюты");
        child<QLineEdit>(dialog, "cCodeLineEdit")->setText("CNY");
        click(dialog, "savePushButton");
    });
    click(list, "addPushButton");
    QCOMPARE(model->rowCount(), 4);
    QCOMPARE(Session::instance().currencies().last().code, "CNY");
    click(list, "closePushButton");
    QVERIFY(!list.isVisible());
}

void TestCurrencyDialogs::recalculation_changesPricesByRate()
{
    shop::addProduct({.id = 1, .incost = 33.3, .outcost = 7});
    shop::addProduct({.id = 2, .incost = 1, .outcost = 7, .currency = "EUR"});
    shop::addProduct({.id = 3, .incost = 10, .outcost = 20});
    shop::addProduct({.id = 4, .incost = 10, .outcost = 7});
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET inoutratio='1.5' WHERE id<='2';"));
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET inoutratio='2' WHERE id='3';"));

    CurrenciesDialog list(nullptr);
    list.show();
    click(list, "calculateOutcostPushButton");
    // The third has its price already, the fourth has no coefficient.
    QCOMPARE(list.findChild<QLabel *>("resultLabel")->text(), "Изменено расходных цен: 2");
    QCOMPARE(rows("SELECT outcost FROM warehouse ORDER BY id").remove(".0"), "50\n140\n20\n7");
    QVERIFY(!QApplication::activeModalWidget());
}

QTEST_MAIN(TestCurrencyDialogs)
#include "tst_currencydialogs.moc"
