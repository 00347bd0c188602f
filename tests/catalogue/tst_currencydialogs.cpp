#include "catalogue/currenciesdialog.h"
#include "catalogue/currencydialog.h"

#include "db/query.h"
#include "db/session.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"
#include "widgets/numberspinbox.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTimer>

#include <map>
#include <memory>

namespace {

QLineEdit *edit(const QDialog &dialog, const QString &name)
{
    return dialog.findChild<QLineEdit *>(name);
}

NumberSpinBox *valueEdit(const QDialog &dialog)
{
    return dialog.findChild<NumberSpinBox *>("valueDoubleSpinBox");
}

void click(const QDialog &dialog, const QString &button)
{
    QTest::mouseClick(dialog.findChild<QPushButton *>(button), Qt::LeftButton);
}

} // namespace

class TestCurrencyDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void newCurrency_isStored();
    void savedCurrency_isLoadedAndChanged();
    void missingCurrency_endsTheDialog();
    void rate_keepsItsSmallDecimals();
    void impossibleRate_keepsTheDialogOpen_data();
    void impossibleRate_keepsTheDialogOpen();
    void list_opensRowsAndRefreshes_data();
    void list_opensRowsAndRefreshes();
    void cancelledEdit_changesNothing();
    void recalculation_changesPricesByRate();

private:
    QString rows(const QString &sqlText) const
    {
        return m_database->client(sqlText);
    }

    /// Runs in the currency dialog as soon as it is open.
    void whenOpen(const std::function<void(CurrencyDialog &)> &action);

    /// The database of this kind, connected; its schema is made once for all cases.
    ScratchDatabase &shopDatabase(Dialect dialect);

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::map<Dialect, std::unique_ptr<ScratchDatabase>> m_databases;
    ScratchDatabase *m_database = nullptr;
};

void TestCurrencyDialogs::initTestCase_data()
{
    addDialectRows();
}

ScratchDatabase &TestCurrencyDialogs::shopDatabase(Dialect dialect)
{
    std::unique_ptr<ScratchDatabase> &database = m_databases[dialect];
    const bool isNew = !database;
    if (isNew)
        database = std::make_unique<ScratchDatabase>(dialect);
    if (!database->open() || (isNew && !shop::create()))
        qFatal("No database for the test");
    return *database;
}

void TestCurrencyDialogs::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    m_database = &shopDatabase(dialect);
    QVERIFY(QueryExec(nullptr, "DELETE FROM warehouse;"));
    QVERIFY(QueryExec(nullptr, "DELETE FROM currencies WHERE id>'3';"));
    QVERIFY(QueryExec(nullptr, "REPLACE INTO currencies(id,c_code,symbol,value) "
                               "VALUES('2','EUR','€','92.5');"));
    QVERIFY(QueryExec(nullptr, "UPDATE currencies SET value='1' WHERE id='3';"));
    QVERIFY(Session::instance().loadCurrencies(mainConnection));
}

void TestCurrencyDialogs::cleanup()
{
    const bool expected = m_boxes->verify();
    m_boxes.reset();
    m_home.reset();
    Session::instance().reset();
    QVERIFY(expected);
}

void TestCurrencyDialogs::whenOpen(const std::function<void(CurrencyDialog &)> &action)
{
    QTimer::singleShot(0, this, [action] {
        auto *dialog = qobject_cast<CurrencyDialog *>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        action(*dialog);
        dialog->close(); // a failed check must not leave it open
    });
}

void TestCurrencyDialogs::newCurrency_isStored()
{
    CurrencyDialog dialog(0, nullptr);
    dialog.show();
    QCOMPARE(dialog.windowTitle(), "Добавление валюты");
    QTest::keyClicks(edit(dialog, "cCodeLineEdit"), "T'ST");
    edit(dialog, "symbolLineEdit")->setText("₮'%1");
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
    QCOMPARE(edit(dialog, "cCodeLineEdit")->text(), "EUR");
    QCOMPARE(edit(dialog, "symbolLineEdit")->text(), "€");
    QCOMPARE(valueEdit(dialog)->value(), 92.5);

    // Neither empty fields nor a second currency of the same code are refused.
    edit(dialog, "cCodeLineEdit")->setText("USD");
    edit(dialog, "symbolLineEdit")->clear();
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
    QTest::addColumn<QString>("typed");
    QTest::newRow("emptied") << "";
    QTest::newRow("zero") << "0";
    QTest::newRow("too many decimals") << "0.0000001";
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
    QTest::addColumn<QString>("way");
    QTest::newRow("button") << "button";
    QTest::newRow("double click") << "double click";
    QTest::newRow("Return") << "Return";
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
    bool opened = false;
    whenOpen([&](CurrencyDialog &dialog) {
        opened = true;
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
    QVERIFY(opened);
    QVERIFY(list.isVisible());
    QCOMPARE(model->index(1, 3).data().toString(), "101.25");
    QCOMPARE(table->currentIndex().row(), 1);
    QCOMPARE(Session::instance().convertCurrencyToMain(2, "EUR"), 202.5);

    whenOpen([&](CurrencyDialog &dialog) {
        QCOMPARE(dialog.windowTitle(), "Добавление валюты");
        edit(dialog, "cCodeLineEdit")->setText("CNY");
        click(dialog, "savePushButton");
    });
    click(list, "addPushButton");
    QCOMPARE(model->rowCount(), 4);
    QCOMPARE(Session::instance().currencies().last().code, "CNY");
    click(list, "closePushButton");
    QVERIFY(!list.isVisible());
}

void TestCurrencyDialogs::cancelledEdit_changesNothing()
{
    CurrenciesDialog list(nullptr);
    list.show();
    bool opened = false;
    whenOpen([&](CurrencyDialog &dialog) {
        opened = true;
        edit(dialog, "cCodeLineEdit")->setText("XXX");
        click(dialog, "cancelPushButton");
    });
    click(list, "addPushButton");
    QVERIFY(opened);
    QCOMPARE(rows("SELECT COUNT(*) FROM currencies"), "3");
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
