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
    void rate_keepsItsSmallDecimals();
    void impossibleRate_keepsTheDialogOpen_data();
    void impossibleRate_keepsTheDialogOpen();
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

    // Neither empty fields nor a second currency of the same code are refused.
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

void TestCurrencyDialogs::rate_keepsItsSmallDecimals()
{
    QVERIFY(QueryExec(nullptr, "UPDATE currencies SET value='0.003527' WHERE id='3';"));
    CurrencyDialog dialog(3, nullptr);
    click(dialog, "savePushButton");
    QCOMPARE(rows("SELECT value FROM currencies WHERE id=3"), "0.003527");
}

void TestCurrencyDialogs::impossibleRate_keepsTheDialogOpen_data()
{
    addColumns<QString>("typed");
    addRow("emptied", "");
    addRow("zero", "0");
    addRow("too many decimals", "0.0000001");
}

void TestCurrencyDialogs::impossibleRate_keepsTheDialogOpen()
{
    QFETCH(QString, typed);

    CurrencyDialog dialog(2, nullptr);
    dialog.show();
    valueEdit(dialog)->selectAll();
    QTest::keyClick(valueEdit(dialog), Qt::Key_Delete);
    QTest::keyClicks(valueEdit(dialog), typed);
    m_boxes->answer("OK");
    QTest::keyClick(valueEdit(dialog), Qt::Key_Return);
    QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите курс валюты больше нуля, не более 6 знаков "
                                  "после запятой.");
    QVERIFY(dialog.isVisible());
    QCOMPARE(rows("SELECT value FROM currencies WHERE id=2"), "92.5");
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
