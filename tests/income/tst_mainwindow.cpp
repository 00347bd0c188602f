// The main window driven as a person at a scanner drives it: keys into the code field, Return
// through the dialogs, buttons of the boxes.
#include "catalogue/groupdialog.h"
#include "db/query.h"
#include "db/transaction.h"
#include "tests/support/databasetest.h"
#include "tests/support/datatable.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/widgets.h"
#include "windowhands.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSpinBox>
#include <QTableView>
#include <QTest>
#include <QTreeWidget>

#include <algorithm>
#include <memory>

class TestMainWindow : public DatabaseTest
{
    Q_OBJECT

private slots:
    void scans_becomeLinesAndAPostedReceipt();
    void boxesOfAPosting_comeAfterIt();
    void wrongInput_neverBlocksTheNextScan_data();
    void wrongInput_neverBlocksTheNextScan();
    void secondScanOfAProduct_changesItsLine();
    void filters_narrowTheProducts();
    void scansFindTheCodeField();
    void extendedColumns_comeAndGo();
    void deletedLines_areGone();
    void linesChangedDuringTheQuestion_areNotDeleted_data();
    void linesChangedDuringTheQuestion_areNotDeleted();
    void otherStation_isSeenByTheTimer();
    void lostServer_isShownAndForgotten();
    void nastyNames_showAsTheyAre();
    void groupOfSelectedProducts_isChanged();
    void menuKey_opensTheMenu();
    void windowState_isKept();

private:
    void prepare() override;
    void tidy() override;
    template<typename Widget>
    Widget *child(const char *name) const
    {
        return ::child<Widget>(*m_window, name);
    }
    void openWindow();
    void activate();
    void scan(const QString &code)
    {
        m_hands->scan(*m_window, code);
    }
    void accept(const QString &quantity = {})
    {
        m_hands->accept(quantity);
    }
    QString cell(const char *table, int row, const QString &header) const;
    int lineCount(const char *table) const
    {
        return child<QTableView>(table)->model()->rowCount();
    }
    void doubleClick(const char *table, int row) const;
    std::unique_ptr<WindowHands> m_hands;
    std::unique_ptr<IncomeInvoiceWindow> m_window;
};

void TestMainWindow::prepare()
{
    m_hands = std::make_unique<WindowHands>();
    openShop();
    WindowHands::givePassword();
    QVERIFY(QueryExec(nullptr, "INSERT INTO `groups`(id,parent,name) "
                               "VALUES('1','0','Еда'),('2','1','Молоко'),('3','0','Мебель')"));
    QVERIFY(QueryExec(nullptr, "INSERT INTO brands(id,name) VALUES('1','Буря'),('2','Штиль')"));
    shop::addProduct({.id = 101, .name = "Молоко ТОПЛЁНОЕ", .stock = 5, .article = "М-1"});
    shop::addProduct({.id = 102, .name = "Стол", .article = "abc"});
    shop::addProduct({.id = 103, .name = "Старый стул", .enabled = 0});
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET groupid='2', brandid='1' WHERE id='101'"));
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET groupid='3', brandid='2' WHERE id='102'"));
    shop::addCode(101, "4600000000015", 1);
    shop::addCode(102, "4600000000022", 12);

    openWindow();
}

void TestMainWindow::tidy()
{
    const bool served = m_hands->steps.allServed();
    m_window.reset();
    m_hands.reset();
    QVERIFY(served);
}

void TestMainWindow::openWindow()
{
    m_window = m_hands->openWindow(m_database->entry(), "Проверка %1 <b>");
    activate();
}

/// Shortcuts belong to the active window, and no window manager gives that back after a dialog.
void TestMainWindow::activate()
{
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

QString TestMainWindow::cell(const char *table, int row, const QString &header) const
{
    const QAbstractItemModel *model = child<QTableView>(table)->model();
    for (int column = 0; column < model->columnCount(); ++column) {
        if (model->headerData(column, Qt::Horizontal).toString() == header)
            return model->index(row, column).data().toString();
    }
    return "no column " + header;
}

void TestMainWindow::doubleClick(const char *table, int row) const
{
    auto *view = child<QTableView>(table);
    const QPoint at = view->visualRect(view->model()->index(row, 3)).center();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, at);
}

void TestMainWindow::scans_becomeLinesAndAPostedReceipt()
{
    QVERIFY(m_window->windowTitle().startsWith("Приход - Проверка %1 <b>"));
    QCOMPARE(child<QLabel>("in_totalLabel")->text(), "Приходный итог: 0");
    QCOMPARE(child<QLabel>("totalLabel")->text(), "Расходный итог: 0");

    accept();
    scan("4600000000015");
    activate();
    QTest::keyClick(child<QLineEdit>("codeLineEdit"), Qt::Key_F7);
    QCOMPARE(child<QSpinBox>("multiplierSpinBox")->value(), 2);
    accept();
    scan("4600000000022"); // a pack of 12, twice
    QCOMPARE(child<QSpinBox>("multiplierSpinBox")->value(), 1);
    QTRY_VERIFY(child<QLineEdit>("codeLineEdit")->hasSelectedText());
    QCOMPARE(lineCount("incomeinvoiceTableView"), 2);
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "1");
    QCOMPARE(cell("incomeinvoiceTableView", 1, "Кол-во"), "24");
    QCOMPARE(child<QLabel>("countLabel")->text(), "Строк: 2, единиц: 25, приходная сумма: 250");
    QCOMPARE(child<QLabel>("totalLabel")->text(), "Расходный итог: 500");
    QVERIFY(child<QLabel>("scanLabel")->text().contains("Стол"));
    QCOMPARE(m_hands->sounds, "++");

    m_boxes->answer("Отмена");
    click(*m_window, "applyIncomeInvoicePushButton");
    QVERIFY(m_boxes->requests().last().note.startsWith("Строк: 2, единиц: 25\n"));
    QCOMPARE(rows("SELECT COUNT(*) FROM income"), "0");
    m_boxes->answer("Провести (безналичными)");
    click(*m_window, "applyIncomeInvoicePushButton");
    QCOMPARE(lineCount("incomeinvoiceTableView"), 0);
    QCOMPARE(rows("SELECT COUNT(*) FROM incomereports WHERE payment_type=4 AND total=250 AND "
                  "userid=1"),
             "1");
    QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE (id=101 AND quantity=6) OR (id=102 AND "
                  "quantity=24)"),
             "2");
    QVERIFY(child<QLabel>("scanLabel")->text().contains("№ 1"));
    // An empty list asks nothing.
    click(*m_window, "applyIncomeInvoicePushButton");
    QCOMPARE(child<QLabel>("scanLabel")->text(), "Приход пуст, проводить нечего");
    accept();
    scan("4600000000015");
    m_boxes->answer("Провести (наличными)",
                    [this] { m_database->client("DELETE FROM incomeinvoice"); });
    click(*m_window, "applyIncomeInvoicePushButton");
    QVERIFY(child<QLabel>("scanLabel")->text().contains("на другом рабочем месте"));
    QCOMPARE(rows("SELECT COUNT(*) FROM incomereports"), "1");
}

void TestMainWindow::boxesOfAPosting_comeAfterIt()
{
    shop::addAlert(101, "12345");
    Settings::instance().setValue(SettingsKey::SmsGateHost, "127.0.0.1:1");
    accept();
    scan("4600000000015");
    // The carts are refused for good.
    setStatementObserver([](QString &sqlText, const QString &) {
        if (sqlText.startsWith("UPDATE cart"))
            sqlText = "SELECT nonsense FROM nowhere";
    });
    bool held = false;
    const auto look = [&] {
        held = held || inTransaction();
    };
    m_boxes->answer("Провести (наличными)");
    m_boxes->answer("OK", look);
    if (m_dialect != Dialect::PostgreSql) // where nothing is refused alone
        m_boxes->answer("OK", look);
    click(*m_window, "applyIncomeInvoicePushButton");
    setStatementObserver({});
    QVERIFY(!held);
    const QStringList texts = m_boxes->texts().mid(1);
    if (m_dialect == Dialect::PostgreSql) {
        QVERIFY(texts.value(0).startsWith("Накладная не проведена"));
        QVERIFY(child<QLabel>("scanLabel")->text().startsWith("Накладная не проведена: "));
        QCOMPARE(rows("SELECT COUNT(*) FROM income"), "0");
        return;
    }
    QVERIFY(texts.value(0).startsWith("Накладная № 1 проведена, но записано не всё"));
    QVERIFY(texts.value(1).contains("не оповещено: 1."));
    QVERIFY(texts.value(1).contains("неправильный телефонный номер: 12345 размер 5"));
    QCOMPARE(rows("SELECT COUNT(*) FROM income"), "1");
    QCOMPARE(rows("SELECT COUNT(*) FROM alerts"), "1");
}

void TestMainWindow::wrongInput_neverBlocksTheNextScan_data()
{
    addColumns<QString>("input");
    addRow("zero", "0");
    addRow("letters", "abc");
    addRow("too large an id", "4294967296");
    addRow("id of nothing", "999");
    addRow("unknown code", "4609999999999");
    addRow("unknown internal code", "2009999999999");
    addRow("300 characters", QString(300, u'7'));
    addRow("quotes", "';DROP TABLE codes;--");
    addRow("blanks", "   ");
    addRow("control characters", QStringLiteral("460\0\u001b\t\r\n\u001d\u007f\u20289999999999"));
    addRow("half a character", QStringLiteral("460") + QChar(0xd83d));
}

void TestMainWindow::wrongInput_neverBlocksTheNextScan()
{
    QFETCH(QString, input);
    // Control characters are no keys that QTest knows: they come by the clipboard.
    const bool typed = std::all_of(input.begin(), input.end(), [](QChar c) { return c.isPrint(); });
    if (!typed) {
        QApplication::clipboard()->setText(input);
        child<QLineEdit>("codeLineEdit")->paste();
    }
    scan(typed ? input : QString());
    QCOMPARE(lineCount("incomeinvoiceTableView"), 0);
    QVERIFY(!m_hands->sounds.contains("+"));
    accept("3");
    scan("4600000000015");
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "3");
}

void TestMainWindow::secondScanOfAProduct_changesItsLine()
{
    accept("2");
    scan("4600000000015");
    accept("7");
    scan("101"); // by its number
    QCOMPARE(lineCount("incomeinvoiceTableView"), 1);
    QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice"), "1");
    accept("4");
    doubleClick("incomeinvoiceTableView", 0);
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "4");
    accept("1");
    doubleClick("warehouseTableView", 1);
    QCOMPARE(lineCount("incomeinvoiceTableView"), 2);
    // Escape writes nothing.
    m_hands->steps.add("QuantityRestDialog",
                       [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
    scan("4600000000022");
    QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice"), "2");
}

void TestMainWindow::filters_narrowTheProducts()
{
    auto *filter = child<QLineEdit>("namefilterLineEdit");
    QCOMPARE(lineCount("warehouseTableView"), 2);
    filter->setText("топлёно");
    QTRY_COMPARE(lineCount("warehouseTableView"), 1);
    QCOMPARE(cell("warehouseTableView", 0, "Код"), "101");
    filter->setText("ABC");
    QTRY_COMPARE(cell("warehouseTableView", 0, "Код"), "102");
    filter->setText("%'");
    QTRY_COMPARE(lineCount("warehouseTableView"), 0);
    filter->clear();
    QTRY_COMPARE(lineCount("warehouseTableView"), 2);

    auto *groups = child<QComboBox>("groupfilterComboBox");
    QCOMPARE(groups->itemText(0), "Все группы");
    QCOMPARE(groups->count(), 4);
    const int food = groups->findText("Еда");
    QCOMPARE(groups->itemText(food + 1), " - Молоко");
    groups->setFocus();
    groups->setCurrentIndex(food);
    emit groups->activated(food);
    QCOMPARE(cell("warehouseTableView", 0, "Код"), "101");
    QCOMPARE(lineCount("warehouseTableView"), 1);
    groups->setCurrentIndex(0);
    auto *brands = child<QComboBox>("brandfilterComboBox");
    QCOMPARE(brands->itemText(0), "Все производители");
    brands->setCurrentIndex(brands->findText("Штиль"));
    emit brands->activated(brands->currentIndex());
    QCOMPARE(cell("warehouseTableView", 0, "Код"), "102");
    brands->setCurrentIndex(0);
    child<QAction>("showDisabledProductsAction")->trigger();
    QCOMPARE(lineCount("warehouseTableView"), 3);
}

/// A scanner knows nothing of the focus: its keys arrive wherever that is.
void TestMainWindow::scansFindTheCodeField()
{
    auto *field = child<QLineEdit>("codeLineEdit");
    const QList<QWidget *> places = {child<QTableView>("incomeinvoiceTableView"),
                                     child<QTableView>("warehouseTableView"),
                                     child<QComboBox>("groupfilterComboBox"),
                                     child<QComboBox>("brandfilterComboBox"),
                                     child<QCheckBox>("ratioCheckBox"),
                                     child<QCheckBox>("incostCheckBox"),
                                     child<QPushButton>("lockPushButton"),
                                     child<QPushButton>("applyIncomeInvoicePushButton"),
                                     child<QSpinBox>("multiplierSpinBox"),
                                     field};
    int expected = 0;
    for (QWidget *place : places) {
        activate();
        place->setFocus(Qt::MouseFocusReason);
        if (place == field)
            QTest::mouseClick(field, Qt::LeftButton); // takes the selection away
        accept();
        m_hands->press("4600000000015", 5);
        ++expected;
        QTRY_COMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), QString::number(expected));
        QCOMPARE(field->text(), "4600000000015");
        QCOMPARE(child<QSpinBox>("multiplierSpinBox")->value(), 1);
    }
    // A multiplier can be typed all the same.
    activate();
    auto *multiplier = child<QSpinBox>("multiplierSpinBox");
    multiplier->setFocus();
    multiplier->selectAll();
    QTest::keyClicks(multiplier, "12");
    QTest::keyClick(multiplier, Qt::Key_Return);
    QCOMPARE(multiplier->value(), 12);
    QCOMPARE(QApplication::focusWidget(), field);
}

void TestMainWindow::extendedColumns_comeAndGo()
{
    accept("2");
    scan("4600000000015");
    rows("UPDATE incomeinvoice SET incost='0'");
    child<QCheckBox>("ratioCheckBox")->setChecked(true);
    // A purchase price of 0 has no ratio, and must not cost the whole list.
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Коэф."), "");
    rows("UPDATE incomeinvoice SET incost='8'");
    child<QAction>("refreshAction")->trigger();
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Коэф."), "2.5");
    rows("UPDATE incomeinvoice SET incost='4000', outcost='5100', inoutratio='1.275'");
    child<QAction>("refreshAction")->trigger();
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Коэф."), "1.275");
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Фикс.коэф"), "1.275");
    rows("UPDATE incomeinvoice SET incost='8', outcost='20'");
    child<QAction>("refreshAction")->trigger();
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Прих.сумма"), "16");
    QCOMPARE(child<QLabel>("in_totalLabel")->text(), "Приходный итог: 16");
    child<QCheckBox>("ratioCheckBox")->setChecked(false);
    QCOMPARE(child<QLabel>("in_totalLabel")->text(), "Приходный итог: 0");
}

void TestMainWindow::deletedLines_areGone()
{
    accept();
    scan("4600000000015");
    accept();
    scan("4600000000022");
    auto *view = child<QTableView>("incomeinvoiceTableView");
    activate();
    view->setFocus();
    view->selectRow(0);
    m_boxes->answer("Нет");
    QTest::keyClick(view, Qt::Key_Delete);
    QCOMPARE(lineCount("incomeinvoiceTableView"), 2);
    m_boxes->answer("Да");
    QTest::keyClick(view, Qt::Key_Delete);
    QCOMPARE(m_boxes->lastText(), "Вы действительно хотите удалить из прихода выделенные позиции?");
    QCOMPARE(m_boxes->requests().last().note, "Молоко ТОПЛЁНОЕ — 1 шт");
    QCOMPARE(rows("SELECT wareid FROM incomeinvoice"), "102");
    view->selectRow(0);
    child<QAction>("copyAction")->trigger();
    QVERIFY(QApplication::clipboard()->text().contains("abc\tСтол\t20\t12\t"));
}

void TestMainWindow::linesChangedDuringTheQuestion_areNotDeleted_data()
{
    QTest::addColumn<QString>("meanwhile");
    QTest::addColumn<int>("left");
    QTest::newRow("twelve more there") << "UPDATE incomeinvoice SET quantity='13'" << 1;
    QTest::newRow("posted there") << "DELETE FROM incomeinvoice" << 0;
}

void TestMainWindow::linesChangedDuringTheQuestion_areNotDeleted()
{
    QFETCH(QString, meanwhile);
    QFETCH(int, left);
    accept();
    scan("4600000000015");
    accept();
    scan("4600000000022");
    activate();
    auto *view = child<QTableView>("incomeinvoiceTableView");
    view->setFocus();
    view->selectAll();
    m_boxes->answer("Да", [&] { rows(meanwhile + " WHERE wareid='101'"); });
    m_boxes->answer("OK");
    QTest::keyClick(view, Qt::Key_Delete);
    QVERIFY2(m_boxes->lastText().contains("Молоко ТОПЛЁНОЕ"), qPrintable(m_boxes->lastText()));
    QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice").toInt(), left);
    QCOMPARE(lineCount("incomeinvoiceTableView"), left);
    if (left > 0)
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "13");
    QVERIFY(child<QLineEdit>("codeLineEdit")->hasFocus());
}

void TestMainWindow::otherStation_isSeenByTheTimer()
{
    QVERIFY(m_database->open(otherStation));
    for (int id = 200; id < 260; ++id) {
        shop::addProduct({.id = qulonglong(id)}, otherStation);
        shop::addLine({.wareId = qulonglong(id)}, otherStation);
    }
    QTRY_COMPARE(lineCount("incomeinvoiceTableView"), 60);
    auto *view = child<QTableView>("incomeinvoiceTableView");
    view->selectRow(40);
    view->scrollTo(view->model()->index(45, 0));
    const QString place = view->currentIndex().siblingAtColumn(0).data().toString();
    const int scroll = view->verticalScrollBar()->value();
    QVERIFY(scroll > 0);
    QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET quantity='9' WHERE wareid='200'",
                      otherStation));
    QTRY_COMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "9");
    QCOMPARE(view->currentIndex().siblingAtColumn(0).data().toString(), place);
    QCOMPARE(view->verticalScrollBar()->value(), scroll);
    QCOMPARE(view->selectionModel()->selectedRows().size(), 1);
}

void TestMainWindow::lostServer_isShownAndForgotten()
{
    if (m_dialect == Dialect::Sqlite)
        return;
    TestServers::instance().stop(m_dialect);
    QTRY_COMPARE(child<QLabel>("connectionLabel")->text(), "нет связи");
    TestServers::instance().start(m_dialect);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>("connectionLabel")->text(), "связь есть", 30000);
    accept();
    scan("4600000000015");
    QCOMPARE(lineCount("incomeinvoiceTableView"), 1);
}

void TestMainWindow::nastyNames_showAsTheyAre()
{
    const QString name = shop::nastyName;
    shop::addProduct({.id = 300, .name = name});
    accept();
    scan("300");
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Наименование"), name);
    QVERIFY(child<QLabel>("scanLabel")->text().contains(name));
    QCOMPARE(child<QLabel>("scanLabel")->textFormat(), Qt::PlainText);
    child<QLineEdit>("namefilterLineEdit")->setText("100% %1 <IMG");
    QTRY_COMPARE(lineCount("warehouseTableView"), 1);
    QCOMPARE(cell("warehouseTableView", 0, "Наименование"), name);
    // The name has the room that there is, and is whole in the tool tip.
    m_window->resize(2400, 600);
    for (const char *table : {"warehouseTableView", "incomeinvoiceTableView"}) {
        auto *view = child<QTableView>(table);
        QTRY_COMPARE(view->horizontalHeader()->length(), view->viewport()->width());
        QVERIFY(view->model()
                    ->index(0, 3)
                    .data(Qt::ToolTipRole)
                    .toString()
                    .contains("&lt;img src=x&gt;"));
    }
}

void TestMainWindow::groupOfSelectedProducts_isChanged()
{
    const int count = lineCount("warehouseTableView");
    const QString before = rows("SELECT id, groupid FROM warehouse ORDER BY id");
    const auto choose = [this](const QString &group, const QString &button) {
        m_hands->steps.whenOpen<GroupDialog>([=](GroupDialog &dialog) {
            auto *tree = dialog.findChild<QTreeWidget *>();
            tree->setCurrentItem(tree->findItems(group, Qt::MatchRecursive).value(0));
            dialog.findChild<QPushButton *>(button)->click();
        });
        child<QTableView>("warehouseTableView")->selectAll();
        child<QAction>("changeGroupAction")->trigger();
    };
    choose("Мебель", "cancelPushButton");
    // The second product cannot be written: the first one is not left in the new group.
    int written = 0;
    setStatementObserver([&](QString &sqlText, const QString &) {
        if (sqlText.startsWith("UPDATE warehouse SET groupid") && ++written >= 2)
            sqlText = "SELECT nonsense FROM nowhere";
    });
    m_boxes->answer("OK");
    choose("Мебель", "acceptPushButton");
    setStatementObserver({});
    QVERIFY(m_boxes->lastText().startsWith("Группа не изменена"));
    QCOMPARE(rows("SELECT id, groupid FROM warehouse ORDER BY id"), before);

    choose("Мебель", "acceptPushButton");
    QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE groupid=3").toInt(), count);
    QCOMPARE(child<QLabel>("scanLabel")->text(),
             QStringLiteral("Группа «Мебель» записана наименованиям: %1").arg(count));
    choose("без группы", "acceptPushButton");
    QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE groupid=0").toInt(), count);
}

void TestMainWindow::menuKey_opensTheMenu()
{
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F10);
    QCOMPARE(QApplication::activePopupWidget(), child<QMenu>("fileMenu"));
    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
    QTRY_COMPARE(m_window->focusWidget(), child<QLineEdit>("codeLineEdit"));
}

void TestMainWindow::windowState_isKept()
{
    m_window->resize(901, 555);
    m_window->close();
    m_window.reset();
    openWindow();
    QCOMPARE(m_window->size(), QSize(901, 555));
    QVERIFY(QSettings().contains("incomegeometry"));
    QVERIFY(QSettings().contains("income_warehouse_table_state"));
}

int main(int argc, char *argv[])
{
    return runWindowTest<TestMainWindow>(argc, argv);
}

#include "tst_mainwindow.moc"
