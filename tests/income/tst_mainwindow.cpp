// The main window driven as a person at a scanner drives it: keys into the code field, Return
// through the dialogs, buttons of the boxes.
#include "app/settings.h"
#include "db/query.h"
#include "db/schema.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "income/incomeinvoicewindow.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"
#include "widgets/sound.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSpinBox>
#include <QTableView>
#include <QTest>

#include <algorithm>
#include <memory>

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void initTestCase();
    void init();
    void cleanup();
    void scans_becomeLinesAndAPostedReceipt();
    void wrongInput_neverBlocksTheNextScan_data();
    void wrongInput_neverBlocksTheNextScan();
    void secondScanOfAProduct_changesItsLine();
    void filters_narrowTheProducts();
    void scansFindTheCodeField();
    void extendedColumns_comeAndGo();
    void deletedLines_areGone();
    void otherStation_isSeenByTheTimer();
    void lostServer_isShownAndForgotten();
    void nastyNames_showAsTheyAre();
    void windowState_isKept();
    void commandsOfLaterDialogs_areDisabled();

private:
    template<typename T>
    T *child(const char *name) const
    {
        T *found = m_window->findChild<T *>(QLatin1String(name));
        if (!found)
            qFatal("no child %s", name);
        return found;
    }
    void openWindow();
    void activate();
    void scan(const QString &code);
    void accept(const QString &quantity = {});
    QString cell(const char *table, int row, const QString &header) const;
    int rows(const char *table) const
    {
        return child<QTableView>(table)->model()->rowCount();
    }
    void doubleClick(const char *table, int row) const;
    QString read(const QString &statement) const
    {
        return m_database->client(statement);
    }

    Dialect m_dialect = Dialect::Sqlite;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::unique_ptr<ScratchDatabase> m_database;
    std::unique_ptr<IncomeInvoiceWindow> m_window;
    std::unique_ptr<DialogSteps> m_steps;
    QStringList m_sounds;
};

void TestMainWindow::initTestCase_data()
{
    addDialectRows();
}

void TestMainWindow::initTestCase()
{
    // A renamed widget would leave its slot dead without a compiler's word.
    QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
}

void TestMainWindow::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    m_dialect = dialect;
    m_home = std::make_unique<TestHome>();
    m_boxes.reset(); // of a case that ended before its time
    m_boxes = std::make_unique<QueuedBoxes>();
    m_steps = std::make_unique<DialogSteps>();
    QSettings().clear();
    QSettings().setValue("acceptedEula", true);
    m_sounds.clear();
    setSoundHandler([this](Sound sound) { m_sounds += sound == Sound::Found ? "+" : "-"; });

    m_database = std::make_unique<ScratchDatabase>(dialect);
    QVERIFY(m_database->open("filling"));
    QVERIFY(shop::create("filling"));
    QVERIFY(Session::instance().logIn(nullptr, "admin", "", "filling") ==
            LoginResult::PasswordNeeded);
    QVERIFY(Session::instance().setPassword(nullptr, "secret", "filling"));
    QVERIFY(QueryExec(nullptr,
                      "INSERT INTO `groups`(id,parent,name) "
                      "VALUES('1','0','Еда'),('2','1','Молоко'),('3','0','Мебель')",
                      "filling"));
    QVERIFY(QueryExec(nullptr, "INSERT INTO brands(id,name) VALUES('1','Буря'),('2','Штиль')",
                      "filling"));
    shop::addProduct({.id = 101, .name = "Молоко ТОПЛЁНОЕ", .stock = 5, .article = "М-1"},
                     "filling");
    shop::addProduct({.id = 102, .name = "Стол", .article = "abc"}, "filling");
    shop::addProduct({.id = 103, .name = "Старый стул", .enabled = 0}, "filling");
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET groupid='2', brandid='1' WHERE id='101'",
                      "filling"));
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET groupid='3', brandid='2' WHERE id='102'",
                      "filling"));
    shop::addCode(101, "4600000000015", 1, "filling");
    shop::addCode(102, "4600000000022", 12, "filling");

    ConnectionEntry entry = m_database->entry();
    entry.name = "Проверка %1 <b>";
    Settings::instance().load(m_home->path() + "/none");
    Settings::instance().setConnections({entry});
    openWindow();
}

void TestMainWindow::cleanup()
{
    QVERIFY(m_steps->allServed());
    m_window.reset();
    QVERIFY(m_boxes->verify());
    setSoundHandler({});
    m_steps.reset();
    m_database.reset();
    m_boxes.reset();
    Settings::instance().reset();
    m_home.reset();
}

void TestMainWindow::openWindow()
{
    m_steps->add("SelectConnectionDialog", [](QDialog *dialog) {
        QTest::keyClicks(dialog->findChild<QLineEdit *>("passwordLineEdit"), "secret");
        QTest::keyClick(dialog->findChild<QLineEdit *>("passwordLineEdit"), Qt::Key_Return);
    });
    m_window = std::make_unique<IncomeInvoiceWindow>();
    QVERIFY(m_window->isReady());
    m_window->show();
    activate();
}

/// Shortcuts belong to the active window, and no window manager gives that back after a dialog.
void TestMainWindow::activate()
{
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

void TestMainWindow::scan(const QString &code)
{
    // Like a scanner: keys wherever the focus is, then Return.
    auto *field = child<QLineEdit>("codeLineEdit");
    field->setFocus();
    QTest::keyClicks(field, code);
    QTest::keyClick(field, Qt::Key_Return);
}

/// Return through the next QuantityRestDialog, with a quantity typed over the proposed one if
/// given.
void TestMainWindow::accept(const QString &quantity)
{
    m_steps->add("QuantityRestDialog", [quantity](QDialog *dialog) {
        auto *field = dialog->findChild<QAbstractSpinBox *>("quantityDoubleSpinBox");
        QVERIFY(field);
        field->setFocus();
        if (!quantity.isEmpty()) {
            field->selectAll();
            QTest::keyClicks(field, quantity);
        }
        QTest::keyClick(field, Qt::Key_Return);
    });
}

QString TestMainWindow::cell(const char *table, int row, const QString &header) const
{
    const QAbstractItemModel *model = child<QTableView>(table)->model();
    for (int column = 0; column < model->columnCount(); ++column) {
        if (model->headerData(column, Qt::Horizontal).toString() == header)
            return model->index(row, column).data().toString();
    }
    return QStringLiteral("no column ") + header;
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
    QCOMPARE(rows("incomeinvoiceTableView"), 2);
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "1");
    QCOMPARE(cell("incomeinvoiceTableView", 1, "Кол-во"), "24");
    QCOMPARE(child<QLabel>("countLabel")->text(), "Строк: 2, единиц: 25");
    QCOMPARE(child<QLabel>("totalLabel")->text(), "Расходный итог: 500");
    QVERIFY(child<QLabel>("scanLabel")->text().contains("Стол"));
    QCOMPARE(m_sounds.join(QString()), "++");

    m_boxes->answer("Отмена");
    QTest::mouseClick(child<QPushButton>("applyIncomeInvoicePushButton"), Qt::LeftButton);
    QCOMPARE(read("SELECT COUNT(*) FROM income"), "0");
    m_boxes->answer("Провести (безналичными)");
    QTest::mouseClick(child<QPushButton>("applyIncomeInvoicePushButton"), Qt::LeftButton);
    QCOMPARE(rows("incomeinvoiceTableView"), 0);
    QCOMPARE(read("SELECT COUNT(*) FROM incomereports WHERE payment_type=4 AND total=250 AND "
                  "userid=1"),
             "1");
    QCOMPARE(read("SELECT COUNT(*) FROM warehouse WHERE (id=101 AND quantity=6) OR (id=102 AND "
                  "quantity=24)"),
             "2");
    QVERIFY(child<QLabel>("scanLabel")->text().contains("№ 1"));
    // An empty list posts nothing and says nothing.
    m_boxes->answer("Провести (наличными)");
    QTest::mouseClick(child<QPushButton>("applyIncomeInvoicePushButton"), Qt::LeftButton);
    QCOMPARE(read("SELECT COUNT(*) FROM incomereports"), "1");
}

void TestMainWindow::wrongInput_neverBlocksTheNextScan_data()
{
    QTest::addColumn<QString>("input");
    QTest::newRow("zero") << "0";
    QTest::newRow("letters") << "abc";
    QTest::newRow("too large an id") << "4294967296";
    QTest::newRow("id of nothing") << "999";
    QTest::newRow("unknown code") << "4609999999999";
    QTest::newRow("unknown internal code") << "2009999999999";
    QTest::newRow("300 characters") << QString(300, u'7');
    QTest::newRow("quotes") << "';DROP TABLE codes;--";
    QTest::newRow("blanks") << "   ";
    QTest::newRow("control characters")
        << QStringLiteral("460\0\x1b\t\r\n\x1d\x7f\u20289999999999");
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
    QCOMPARE(rows("incomeinvoiceTableView"), 0);
    QVERIFY(!m_sounds.contains("+"));
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
    QCOMPARE(rows("incomeinvoiceTableView"), 1);
    QCOMPARE(read("SELECT COUNT(*) FROM incomeinvoice"), "1");
    accept("4");
    doubleClick("incomeinvoiceTableView", 0);
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), "4");
    accept("1");
    doubleClick("warehouseTableView", 1);
    QCOMPARE(rows("incomeinvoiceTableView"), 2);
    // Escape writes nothing.
    m_steps->add("QuantityRestDialog",
                 [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
    scan("4600000000022");
    QCOMPARE(read("SELECT COUNT(*) FROM incomeinvoice"), "2");
}

void TestMainWindow::filters_narrowTheProducts()
{
    auto *filter = child<QLineEdit>("namefilterLineEdit");
    QCOMPARE(rows("warehouseTableView"), 2);
    filter->setText("топлёно");
    QTRY_COMPARE(rows("warehouseTableView"), 1);
    QCOMPARE(cell("warehouseTableView", 0, "Код"), "101");
    filter->setText("ABC");
    QTRY_COMPARE(cell("warehouseTableView", 0, "Код"), "102");
    filter->setText("%'");
    QTRY_COMPARE(rows("warehouseTableView"), 0);
    filter->clear();
    QTRY_COMPARE(rows("warehouseTableView"), 2);

    auto *groups = child<QComboBox>("groupfilterComboBox");
    QCOMPARE(groups->itemText(0), "Все группы");
    QCOMPARE(groups->count(), 4);
    const int food = groups->findText("Еда");
    QCOMPARE(groups->itemText(food + 1), " - Молоко");
    groups->setFocus();
    groups->setCurrentIndex(food);
    emit groups->activated(food);
    QCOMPARE(cell("warehouseTableView", 0, "Код"), "101");
    QCOMPARE(rows("warehouseTableView"), 1);
    groups->setCurrentIndex(0);
    auto *brands = child<QComboBox>("brandfilterComboBox");
    QCOMPARE(brands->itemText(0), "Все производители");
    brands->setCurrentIndex(brands->findText("Штиль"));
    emit brands->activated(brands->currentIndex());
    QCOMPARE(cell("warehouseTableView", 0, "Код"), "102");
    brands->setCurrentIndex(0);
    child<QAction>("showDisabledProductsAction")->trigger();
    QCOMPARE(rows("warehouseTableView"), 3);
}

/// A scanner knows nothing of the focus: its keys arrive wherever that is.
void TestMainWindow::scansFindTheCodeField()
{
    auto *field = child<QLineEdit>("codeLineEdit");
    const auto scanAtFocus = [&](const QString &code) {
        for (const QChar c : code)
            QTest::keyClick(QApplication::focusWidget(), c.toLatin1());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    };
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
        scanAtFocus("4600000000015");
        QCOMPARE(field->text(), "4600000000015");
        QCOMPARE(cell("incomeinvoiceTableView", 0, "Кол-во"), QString::number(++expected));
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
    QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET incost='0'", "filling"));
    child<QCheckBox>("ratioCheckBox")->setChecked(true);
    // A purchase price of 0 has no ratio, and must not cost the whole list.
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Коэф."), "");
    QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET incost='8'", "filling"));
    child<QAction>("refreshAction")->trigger();
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Коэф."), "2.50");
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
    QCOMPARE(rows("incomeinvoiceTableView"), 2);
    m_boxes->answer("Да");
    QTest::keyClick(view, Qt::Key_Delete);
    QCOMPARE(m_boxes->lastText(), "Вы действительно хотите удалить из прихода выделенные позиции?");
    QCOMPARE(read("SELECT wareid FROM incomeinvoice"), "102");
    // A scan while the list has the focus goes into the code field.
    view->setFocus();
    accept("5");
    for (const QChar c : QString("4600000000015"))
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : view,
                        c.toLatin1());
    QTest::keyClick(child<QLineEdit>("codeLineEdit"), Qt::Key_Return);
    QCOMPARE(rows("incomeinvoiceTableView"), 2);
    child<QAction>("copyAction");
    view->selectRow(1);
    child<QAction>("copyAction")->trigger();
    QVERIFY(QApplication::clipboard()->text().contains("М-1\tМолоко ТОПЛЁНОЕ\t20\t5\t"));
}

void TestMainWindow::otherStation_isSeenByTheTimer()
{
    for (int id = 200; id < 260; ++id) {
        shop::addProduct({.id = qulonglong(id)}, "filling");
        shop::addLine({.wareId = qulonglong(id)}, "filling");
    }
    QTRY_COMPARE(rows("incomeinvoiceTableView"), 60);
    auto *view = child<QTableView>("incomeinvoiceTableView");
    view->selectRow(40);
    view->scrollTo(view->model()->index(45, 0));
    const QString place = view->currentIndex().siblingAtColumn(0).data().toString();
    const int scroll = view->verticalScrollBar()->value();
    QVERIFY(scroll > 0);
    QVERIFY(
        QueryExec(nullptr, "UPDATE incomeinvoice SET quantity='9' WHERE wareid='200'", "filling"));
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
    QCOMPARE(rows("incomeinvoiceTableView"), 1);
}

void TestMainWindow::nastyNames_showAsTheyAre()
{
    const QString name = "О'Нил \\ `x` 100% %1 <img src=x> «ё»";
    shop::addProduct({.id = 300, .name = name}, "filling");
    accept();
    scan("300");
    QCOMPARE(cell("incomeinvoiceTableView", 0, "Наименование"), name);
    QVERIFY(child<QLabel>("scanLabel")->text().contains(name));
    QCOMPARE(child<QLabel>("scanLabel")->textFormat(), Qt::PlainText);
    child<QLineEdit>("namefilterLineEdit")->setText("100% %1 <IMG");
    QTRY_COMPARE(rows("warehouseTableView"), 1);
    QCOMPARE(cell("warehouseTableView", 0, "Наименование"), name);
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

void TestMainWindow::commandsOfLaterDialogs_areDisabled()
{
    for (const char *name :
         {"warehouseAction", "restAction", "loadAction", "wareBaseAction", "syncArticlesAction",
          "syncImagesAction", "editWareAction", "exportIncomeInvoiceAction"})
        QVERIFY2(!child<QAction>(name)->isEnabled(), name);
    for (const char *name : {"deletewareAction", "increaseMultiplierAction", "copyAction",
                             "helpAction", "aboutAction", "refreshAction", "currenciesAction",
                             "updateCostsAction", "showDisabledProductsAction", "exitAction"})
        QVERIFY2(child<QAction>(name)->isEnabled(), name);
    m_boxes->answer("OK");
    child<QAction>("aboutAction")->trigger();
    QVERIFY(m_boxes->lastText().contains(QCoreApplication::applicationVersion()));
}

int main(int argc, char *argv[])
{
    QCoreApplication::setOrganizationName("LavkorTest");
    QCoreApplication::setApplicationName("Lavkor");
    QCoreApplication::setApplicationVersion("1.40.1");
    QApplication application(argc, argv);
    TestMainWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mainwindow.moc"
