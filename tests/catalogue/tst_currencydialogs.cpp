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

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include <functional>
#include <memory>

namespace {

NumberSpinBox *valueEdit(const QDialog &dialog)
{
    return child<NumberSpinBox>(dialog, "valueDoubleSpinBox");
}

} // namespace

class TestCurrencyDialogs : public DialogTest
{
    Q_OBJECT

private slots:
    void currency_isAddedAndChanged();
    void untouchedRate_staysAsStored();
    void impossibleInput_keepsTheDialogOpen_data();
    void impossibleInput_keepsTheDialogOpen();
    void list_opensRowsAndRefreshes();
    void otherStation_isNotOverwrittenUnasked();
    void recalculation_tellsWhatItHasChanged();

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

void TestCurrencyDialogs::currency_isAddedAndChanged()
{
    CurrencyDialog added(0, nullptr);
    added.show();
    QCOMPARE(added.windowTitle(), "Добавление валюты");
    QTest::keyClicks(child<QLineEdit>(added, "cCodeLineEdit"), "T'ST");
    child<QLineEdit>(added, "symbolLineEdit")->setText("₮'%1");
    valueEdit(added)->selectAll();
    QTest::keyClicks(valueEdit(added), "0,25");
    QTest::keyClick(valueEdit(added), Qt::Key_Return);
    QCOMPARE(added.result(), 1);

    CurrencyDialog dialog(added.id(), nullptr);
    QCOMPARE(child<QLineEdit>(dialog, "cCodeLineEdit")->text(), "T'ST");
    QCOMPARE(child<QLineEdit>(dialog, "symbolLineEdit")->text(), "₮'%1");
    QCOMPARE(valueEdit(dialog)->value(), 0.25);
    // Neither an empty symbol nor a second currency of the same code is refused.
    child<QLineEdit>(dialog, "cCodeLineEdit")->setText("USD");
    child<QLineEdit>(dialog, "symbolLineEdit")->clear();
    click(dialog, "savePushButton");
    QCOMPARE(rows("SELECT c_code, symbol, value FROM currencies WHERE id>3"), "USD\t\t0.25");
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

void TestCurrencyDialogs::list_opensRowsAndRefreshes()
{
    CurrenciesDialog list(nullptr);
    list.show();
    auto *table = child<QTableView>(list, "currenciesTableView");
    QAbstractItemModel *model = table->model();
    QCOMPARE(model->rowCount(), 3);
    QVERIFY(table->isColumnHidden(0));
    QVERIFY(!child<QPushButton>(list, "deletePushButton")->isVisible());

    const QPoint place = table->visualRect(model->index(1, 1)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, place);
    const std::function<void()> ways[] = {
        [&] { QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, place); },
        [&] { QTest::keyClick(table, Qt::Key_Return); },
        [&] {
            click(list, "editPushButton");
        }};
    double rate = 100;
    for (const auto &open : ways) {
        rate += 1.25;
        m_steps->whenOpen<CurrencyDialog>([&](CurrencyDialog &dialog) {
            QCOMPARE(dialog.windowTitle(), "Редактирование валюты 2");
            valueEdit(dialog)->setValue(rate);
            click(dialog, "savePushButton");
        });
        open();
        QVERIFY(list.isVisible());
        QCOMPARE(model->index(1, 3).data().toString(), QString::number(rate));
        QCOMPARE(table->currentIndex().row(), 1);
        QCOMPARE(Session::instance().convertCurrencyToMain(1, "EUR"), rate);
    }

    m_steps->whenOpen<CurrencyDialog>([&](CurrencyDialog &dialog) {
        child<QLineEdit>(dialog, "cCodeLineEdit")->setText("CNY");
        click(dialog, "savePushButton");
    });
    click(list, "addPushButton");
    QCOMPARE(model->rowCount(), 4);
    QCOMPARE(table->currentIndex().row(), 3);
    QCOMPARE(Session::instance().currencies().last().code, "CNY");
    click(list, "closePushButton");
    QVERIFY(!list.isVisible());
}

void TestCurrencyDialogs::otherStation_isNotOverwrittenUnasked()
{
    CurrencyDialog dialog(2, nullptr);
    dialog.show();
    child<QLineEdit>(dialog, "symbolLineEdit")->setText("E");
    rows("UPDATE currencies SET symbol='Э', value=99 WHERE id=2");
    m_boxes->answer("Отмена");
    click(dialog, "savePushButton");
    QVERIFY(m_boxes->requests().last().note.contains("Символ: Э"));
    QVERIFY(dialog.isVisible());
    rows("UPDATE currencies SET c_code='EURO' WHERE id=2");
    m_boxes->answer("Заменить");
    click(dialog, "savePushButton");
    QVERIFY(!dialog.isVisible());
    // The rate, which nobody has touched here, is the other station's.
    QCOMPARE(rows("SELECT c_code, symbol, value FROM currencies WHERE id=2").remove(".0"),
             "EUR\tE\t99");

    CurrencyDialog gone(2, nullptr);
    gone.show();
    rows("DELETE FROM currencies WHERE id=2");
    m_boxes->answer("Добавить");
    click(gone, "savePushButton");
    QCOMPARE(rows("SELECT symbol, value FROM currencies WHERE id>3").remove(".0"), "E\t99");
    QCOMPARE(CurrencyDialog(2, nullptr).exec(), 0);
}

void TestCurrencyDialogs::recalculation_tellsWhatItHasChanged()
{
    shop::addProduct({.id = 1, .incost = 33.3, .outcost = 7});
    shop::addProduct({.id = 2, .incost = 10, .outcost = 20});
    rows("UPDATE warehouse SET inoutratio=id*0.5+1");
    CurrenciesDialog list(nullptr);
    list.show();
    click(list, "calculateOutcostPushButton");
    QCOMPARE(list.findChild<QLabel *>("resultLabel")->text(), "Изменено расходных цен: 1");
    QCOMPARE(rows("SELECT outcost FROM warehouse ORDER BY id").remove(".0"), "50\n20");
}

QTEST_MAIN(TestCurrencyDialogs)
#include "tst_currencydialogs.moc"
