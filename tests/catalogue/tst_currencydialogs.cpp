#include "catalogue/currenciesdialog.h"
#include "catalogue/currencydialog.h"

#include "db/session.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

namespace {

QLineEdit *edit(const QDialog &dialog, const char *name)
{
    return child<QLineEdit>(dialog, name);
}

NumberSpinBox *valueEdit(const QDialog &dialog)
{
    return child<NumberSpinBox>(dialog, "valueDoubleSpinBox");
}

void typeValue(const QDialog &dialog, const char *text)
{
    valueEdit(dialog)->selectAll();
    QTest::keyClick(valueEdit(dialog), Qt::Key_Delete);
    QTest::keyClicks(valueEdit(dialog), text);
}

} // namespace

class TestCurrencyDialogs : public DialogTest
{
    Q_OBJECT

private slots:
    void currency_isAdded()
    {
        CurrencyDialog dialog(0, nullptr);
        dialog.show();
        QCOMPARE(dialog.windowTitle(), "Добавление валюты");
        // Neither an empty symbol nor a second currency of the same code is refused.
        QTest::keyClicks(edit(dialog, "cCodeLineEdit"), "USD");
        typeValue(dialog, "0,25");
        QTest::keyClick(valueEdit(dialog), Qt::Key_Return);
        QCOMPARE(dialog.result(), 1);
        QCOMPARE(rows("SELECT id, c_code, symbol, value FROM currencies WHERE id>3"),
                 QString::number(dialog.id()) + "\tUSD\t\t0.25");
    }

    void untouchedRate_staysAsStored()
    {
        for (const char *rate : {"0", "NULL", "1500000", "0.003527", "64.78123"}) {
            rows(QStringLiteral("UPDATE currencies SET symbol='?', value=%1 WHERE id=3").arg(rate));
            const QString stored = rows("SELECT value FROM currencies WHERE id=3");
            CurrencyDialog dialog(3, nullptr);
            dialog.show();
            QCOMPARE(valueEdit(dialog)->text(), QString(rate).remove("NULL"));
            edit(dialog, "symbolLineEdit")->setText("$");
            valueEdit(dialog)->setFocus();
            click(dialog, "savePushButton");
            QCOMPARE(rows("SELECT symbol, value FROM currencies WHERE id=3"), "$\t" + stored);
        }
    }

    void impossibleInput_keepsTheDialogOpen()
    {
        const std::tuple<const char *, const char *, const char *> inputs[] = {
            {"EUR", "", "введите курс валюты"},
            {"EUR", "0", "не может быть меньше 0.000001."},
            {"EUR", "0.0000001", "не больше 6."},
            {"EUR", "1500000", "не может быть больше 999999."},
            {"EUR", "LOT-5", "Это не число."},
            {" ", "92.5", "введите код валюты"}};
        CurrencyDialog dialog(2, nullptr);
        dialog.show();
        for (const auto &[code, rate, told] : inputs) {
            edit(dialog, "cCodeLineEdit")->setText(code);
            typeValue(dialog, rate);
            edit(dialog, "cCodeLineEdit")->setFocus();
            m_boxes->answer("OK");
            click(dialog, "savePushButton");
            QVERIFY2(m_boxes->lastText().contains(told), qPrintable(m_boxes->lastText()));
            QVERIFY(dialog.isVisible());
            QCOMPARE(valueEdit(dialog)->text(), rate);
        }
        QCOMPARE(rows("SELECT c_code, value FROM currencies WHERE id=2"), "EUR\t92.5");
    }

    void list_opensRowsAndRefreshes()
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
        for (const int way : {0, 1, 2}) {
            const double rate = 100 + 1.25 * way;
            m_steps->whenOpen<CurrencyDialog>([&](CurrencyDialog &dialog) {
                QCOMPARE(dialog.windowTitle(), "Редактирование валюты 2");
                valueEdit(dialog)->setValue(rate);
                click(dialog, "savePushButton");
            });
            if (way == 0)
                QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, place);
            else if (way == 1)
                QTest::keyClick(table, Qt::Key_Return);
            else
                click(list, "editPushButton");
            QVERIFY(list.isVisible());
            QCOMPARE(model->index(1, 3).data().toString(), QString::number(rate));
            QCOMPARE(table->currentIndex().row(), 1);
            QCOMPARE(Session::instance().convertCurrencyToMain(1, "EUR"), rate);
        }

        m_steps->whenOpen<CurrencyDialog>([&](CurrencyDialog &dialog) {
            edit(dialog, "cCodeLineEdit")->setText("CNY");
            click(dialog, "savePushButton");
        });
        click(list, "newPushButton");
        QCOMPARE(model->rowCount(), 4);
        QCOMPARE(table->currentIndex().row(), 3);
        QCOMPARE(Session::instance().currencies().last().code, "CNY");
        click(list, "closePushButton");
        QVERIFY(!list.isVisible());
    }

    void otherStation_isNotOverwrittenUnasked()
    {
        CurrencyDialog dialog(2, nullptr);
        dialog.show();
        edit(dialog, "symbolLineEdit")->setText("E");
        rows("UPDATE currencies SET symbol='Э', value=99 WHERE id=2");
        for (const char *answer : {"Отмена", "Заменить"}) {
            QVERIFY(dialog.isVisible());
            m_boxes->answer(answer);
            click(dialog, "savePushButton");
        }
        QVERIFY(!dialog.isVisible());
        QCOMPARE(m_boxes->requests().size(), 2);
        QVERIFY(m_boxes->requests().last().note.contains("Символ: Э"));
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

    void recalculation_tellsWhatItHasChanged()
    {
        shop::addProduct({.id = 1, .incost = 33.3, .outcost = 7});
        shop::addProduct({.id = 2, .incost = 10, .outcost = 20});
        rows("UPDATE warehouse SET inoutratio=id*0.5+1");
        CurrenciesDialog list(nullptr);
        click(list, "calculateOutcostPushButton");
        QCOMPARE(child<QLabel>(list, "resultLabel")->text(), "Изменено расходных цен: 1");
        QCOMPARE(rows("SELECT outcost FROM warehouse ORDER BY id").remove(".0"), "50\n20");
    }

private:
    void prepare() override
    {
        m_steps = std::make_unique<DialogSteps>();
        openShop();
        rows("DELETE FROM currencies WHERE id>1; INSERT INTO currencies(id,c_code,symbol,value) "
             "VALUES(2,'EUR','€',92.5),(3,'USD','$',1);");
        QVERIFY(Session::instance().loadCurrencies(mainConnection));
    }

    void tidy() override
    {
        QVERIFY(m_steps->allServed());
    }

    std::unique_ptr<DialogSteps> m_steps;
};

QTEST_MAIN(TestCurrencyDialogs)
#include "tst_currencydialogs.moc"
