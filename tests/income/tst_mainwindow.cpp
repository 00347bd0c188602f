// The main window driven as a person at a scanner drives it: keys into the code field, Return
// through the dialogs, buttons of the boxes.
#include "catalogue/groupdialog.h"
#include "db/transaction.h"
#include "windowhands.h"

#include <QClipboard>
#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>
#include <QSettings>
#include <QSpinBox>
#include <QTreeWidget>

class TestMainWindow : public MainWindowTest
{
    Q_OBJECT

private slots:
    void scans_becomeLinesAndAPostedReceipt()
    {
        QVERIFY(m_window->windowTitle().startsWith("Приход - Проверка %1 <b>"));
        QCOMPARE(label("in_totalLabel"), "Приходный итог: 0");
        QCOMPARE(label("totalLabel"), "Расходный итог: 0");

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
        QCOMPARE(label("countLabel"), "Строк: 2, единиц: 25, приходная сумма: 250");
        QCOMPARE(label("totalLabel"), "Расходный итог: 500");
        QVERIFY(label("scanLabel").contains("Стол"));
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
        QVERIFY(label("scanLabel").contains("№ 1"));
        // An empty list asks nothing.
        click(*m_window, "applyIncomeInvoicePushButton");
        QCOMPARE(label("scanLabel"), "Приход пуст, проводить нечего");
        accept();
        scan("4600000000015");
        m_boxes->answer("Провести (наличными)",
                        [this] { m_database->client("DELETE FROM incomeinvoice"); });
        click(*m_window, "applyIncomeInvoicePushButton");
        QVERIFY(label("scanLabel").contains("на другом рабочем месте"));
        QCOMPARE(rows("SELECT COUNT(*) FROM incomereports"), "1");
    }

    void boxesOfAPosting_comeAfterIt()
    {
        shop::addAlert(101, "12345");
        Settings::instance().setValue(SettingsKey::SmsGateHost, "127.0.0.1:1");
        accept();
        scan("4600000000015");
        // The carts are refused for good.
        breakStatements("UPDATE cart");
        const auto look = [] {
            QVERIFY(!inTransaction());
        };
        const bool alone = m_dialect != Dialect::PostgreSql; // a statement can be refused alone
        m_boxes->answer("Провести (наличными)");
        for (int boxes = alone ? 2 : 1; boxes > 0; --boxes)
            m_boxes->answer("OK", look);
        click(*m_window, "applyIncomeInvoicePushButton");
        setStatementObserver({});
        QVERIFY2(
            m_boxes->texts().value(1).startsWith(
                alone ? "Накладная № 1 проведена, но записано не всё" : "Накладная не проведена"),
            qPrintable(m_boxes->lastText()));
        QCOMPARE(label("scanLabel").startsWith("Накладная не проведена: "), !alone);
        QCOMPARE(m_boxes->lastText().contains("не оповещено: 1."), alone);
        QCOMPARE(m_boxes->lastText().contains("неправильный телефонный номер: 12345 размер 5"),
                 alone);
        QCOMPARE(rows("SELECT COUNT(*) FROM income"), alone ? "1" : "0");
        QCOMPARE(rows("SELECT COUNT(*) FROM alerts"), "1");
    }

    void wrongInput_neverBlocksTheNextScan()
    {
        for (const QString &typed : {QString("4609999999999"), QString(300, u'7')})
            scan(typed);
        // Control characters are no keys that QTest knows: they come by the clipboard.
        for (const QString &pasted :
             {QStringLiteral("460\0\u001b\t\r\n\u001d\u007f\u20289999999999"),
              QStringLiteral("460") + QChar(0xd83d)}) {
            QApplication::clipboard()->setText(pasted);
            child<QLineEdit>("codeLineEdit")->selectAll();
            child<QLineEdit>("codeLineEdit")->paste();
            scan({});
        }
        QCOMPARE(lineCount("incomeinvoiceTableView"), 0);
        QCOMPARE(m_hands->sounds, "----");
        accept("3");
        scan("4600000000015");
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "3");
    }

    void secondScanOfAProduct_changesItsLine()
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

    void filters_narrowTheProducts()
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

        const auto *groups = child<QComboBox>("groupfilterComboBox");
        QCOMPARE(groups->itemText(0), "Все группы");
        QCOMPARE(groups->count(), 4);
        QCOMPARE(groups->itemText(groups->findText("Еда") + 1), " - Молоко");
        choose("groupfilterComboBox", "Еда");
        QCOMPARE(cell("warehouseTableView", 0, "Код"), "101");
        QCOMPARE(lineCount("warehouseTableView"), 1);
        choose("groupfilterComboBox", "Все группы");
        choose("brandfilterComboBox", "Штиль");
        QCOMPARE(cell("warehouseTableView", 0, "Код"), "102");
        choose("brandfilterComboBox", "Все производители");
        child<QAction>("showDisabledProductsAction")->trigger();
        QCOMPARE(lineCount("warehouseTableView"), 3);
    }

    /// A scanner knows nothing of the focus: its keys arrive wherever that is.
    void scansFindTheCodeField()
    {
        auto *field = child<QLineEdit>("codeLineEdit");
        QWidgetList places = {field};
        for (const char *name : {"incomeinvoiceTableView", "warehouseTableView",
                                 "groupfilterComboBox", "ratioCheckBox", "lockPushButton",
                                 "applyIncomeInvoicePushButton", "multiplierSpinBox"})
            places += child<QWidget>(name);
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

    void extendedColumns_comeAndGo()
    {
        scanBoth();
        child<QCheckBox>("ratioCheckBox")->setChecked(true);
        const auto shown = [this](const QString &change, const QString &header) {
            rows("UPDATE incomeinvoice SET " + change + " WHERE wareid=101");
            child<QAction>("refreshAction")->trigger();
            return cell("incomeinvoiceTableView", 0, header);
        };
        // A purchase price of 0 has no ratio, and must not cost the whole list.
        QCOMPARE(shown("incost='0'", "Коэф."), "");
        QCOMPARE(shown("incost='4000', outcost='5100', inoutratio='1.275'", "Коэф."), "1.275");
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Фикс.коэф"), "1.275");
        QCOMPARE(shown("quantity='2', incost='8', outcost='20'", "Прих.сумма"), "16");
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Коэф."), "2.5");
        QCOMPARE(label("in_totalLabel"), "Приходный итог: 26");
        child<QCheckBox>("ratioCheckBox")->setChecked(false);
        QCOMPARE(label("in_totalLabel"), "Приходный итог: 0");
    }

    void deletedLines_areGone()
    {
        scanBoth();
        auto *view = child<QTableView>("incomeinvoiceTableView");
        activate();
        view->setFocus();
        view->selectRow(0);
        m_boxes->answer("Нет");
        QTest::keyClick(view, Qt::Key_Delete);
        QCOMPARE(lineCount("incomeinvoiceTableView"), 2);
        QCOMPARE(m_boxes->requests().last().note, "Молоко ТОПЛЁНОЕ — 1 шт");
        // What has changed during the question stays.
        view->selectAll();
        m_boxes->answer(
            "Да", [this] { rows("UPDATE incomeinvoice SET quantity='13' WHERE wareid='101'"); });
        m_boxes->answer("OK");
        QTest::keyClick(view, Qt::Key_Delete);
        QVERIFY2(m_boxes->lastText().contains("Молоко ТОПЛЁНОЕ"), qPrintable(m_boxes->lastText()));
        QCOMPARE(rows("SELECT wareid FROM incomeinvoice"), "101");
        QCOMPARE(lineCount("incomeinvoiceTableView"), 1);
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "13");
        QVERIFY(child<QLineEdit>("codeLineEdit")->hasFocus());
        view->selectRow(0);
        child<QAction>("copyAction")->trigger();
        QVERIFY(QApplication::clipboard()->text().contains("М-1\tМолоко ТОПЛЁНОЕ\t20\t13\t"));
    }

    void otherStation_isSeenByTheTimer()
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

    void lostServer_isShownAndForgotten()
    {
        if (isServer())
            TestServers::instance().stop(m_dialect);
        else
            rows("ALTER TABLE incomeinvoice RENAME TO lost");
        QTRY_COMPARE(label("connectionLabel"), "нет связи");
        if (isServer())
            TestServers::instance().start(m_dialect);
        else
            rows("ALTER TABLE lost RENAME TO incomeinvoice");
        QTRY_COMPARE_WITH_TIMEOUT(label("connectionLabel"), "связь есть", 30000);
        accept();
        scan("4600000000015");
        QCOMPARE(lineCount("incomeinvoiceTableView"), 1);
    }

    void nastyNames_showAsTheyAre()
    {
        const QString &name = shop::nastyName;
        shop::addProduct({.id = 300, .name = name});
        accept();
        scan("300");
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Наименование"), name);
        QVERIFY(label("scanLabel").contains(name));
        QCOMPARE(child<QLabel>("scanLabel")->textFormat(), Qt::PlainText);
        child<QLineEdit>("namefilterLineEdit")->setText("100% %1 <IMG");
        QTRY_COMPARE(lineCount("warehouseTableView"), 1);
        QCOMPARE(cell("warehouseTableView", 0, "Наименование"), name);
        // The name has the room that there is, and is whole in the tool tip.
        m_window->resize(2400, 600);
        for (const char *table : {"warehouseTableView", "incomeinvoiceTableView"}) {
            auto *view = child<QTableView>(table);
            QTRY_COMPARE(view->horizontalHeader()->length(), view->viewport()->width());
            const QVariant tip = view->model()->index(0, 3).data(Qt::ToolTipRole);
            QVERIFY(tip.toString().contains("&lt;img src=x&gt;"));
        }
    }

    void groupOfSelectedProducts_isChanged()
    {
        const int count = lineCount("warehouseTableView");
        const QString before = rows("SELECT id, groupid FROM warehouse ORDER BY id");
        const auto move = [this](const QString &group, const QString &button) {
            m_hands->steps.whenOpen<GroupDialog>([=](GroupDialog &dialog) {
                auto *tree = dialog.findChild<QTreeWidget *>();
                tree->setCurrentItem(tree->findItems(group, Qt::MatchRecursive).value(0));
                dialog.findChild<QPushButton *>(button)->click();
            });
            child<QTableView>("warehouseTableView")->selectAll();
            child<QAction>("changeGroupAction")->trigger();
        };
        move("Мебель", "cancelPushButton");
        // The second product cannot be written: the first one is not left in the new group.
        setStatementObserver([written = 0](QString &sqlText, const QString &) mutable {
            if (sqlText.startsWith("UPDATE warehouse SET groupid") && ++written >= 2)
                sqlText = "SELECT nonsense FROM nowhere";
        });
        m_boxes->answer("OK");
        move("Мебель", "acceptPushButton");
        setStatementObserver({});
        QVERIFY(m_boxes->lastText().startsWith("Группа не изменена"));
        QCOMPARE(rows("SELECT id, groupid FROM warehouse ORDER BY id"), before);

        move("Мебель", "acceptPushButton");
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE groupid=3").toInt(), count);
        QCOMPARE(label("scanLabel"),
                 QStringLiteral("Группа «Мебель» записана наименованиям: %1").arg(count));
        move("без группы", "acceptPushButton");
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE groupid=0").toInt(), count);
    }

    void menuKey_opensTheMenu()
    {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_F10);
        QCOMPARE(QApplication::activePopupWidget(), child<QMenu>("fileMenu"));
        QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
        QTRY_COMPARE(m_window->focusWidget(), child<QLineEdit>("codeLineEdit"));
    }

    void windowState_isKept()
    {
        m_window->resize(901, 555);
        m_window->close();
        QVERIFY(QSettings().contains("income_warehouse_table_state"));
        m_window.reset();
        openWindow();
        QCOMPARE(m_window->size(), QSize(901, 555));
    }

private:
    void prepare() override
    {
        openShop();
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
        openWindow("Проверка %1 <b>");
    }

    /// A line of one unit of each product.
    void scanBoth()
    {
        for (const char *id : {"101", "102"}) {
            accept();
            scan(id);
        }
    }

    QString cell(const char *table, int row, const QString &header) const
    {
        const QAbstractItemModel *model = child<QTableView>(table)->model();
        int column = 0;
        while (column < model->columnCount() &&
               model->headerData(column, Qt::Horizontal).toString() != header)
            ++column;
        return model->index(row, column).data().toString();
    }

    void doubleClick(const char *table, int row) const
    {
        auto *view = child<QTableView>(table);
        const QPoint at = view->visualRect(view->model()->index(row, 3)).center();
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, at);
    }

    void choose(const char *comboBox, const QString &text)
    {
        auto *box = child<QComboBox>(comboBox);
        box->setCurrentIndex(box->findText(text));
        emit box->activated(box->currentIndex());
    }
};

int main(int argc, char *argv[])
{
    return runWindowTest<TestMainWindow>(argc, argv);
}

#include "tst_mainwindow.moc"
