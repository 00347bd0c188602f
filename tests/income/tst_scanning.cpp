// Scanning without looking at the screen: whatever stands open and however the keys come, each scan
// ends up in the receipt or in the list of missed codes, and none in a number or as an answer.
#include "income/quantityrestdialog.h"
#include "income/receiptline.h"
#include "tests/support/databasetest.h"
#include "tests/support/datatable.h"
#include "tests/support/shop.h"
#include "tests/support/widgets.h"
#include "windowhands.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSpinBox>
#include <QTableView>
#include <QTableWidget>
#include <QTest>
#include <QToolButton>

class TestScanning : public DatabaseTest
{
    Q_OBJECT

private slots:
    void eachScan_becomesALine_data();
    void eachScan_becomesALine();
    void whatStopsALine_keepsTheScan();
    void scanInABox_answersNothing();
    void typedKeys_areNoScan();
    void missedCodes_areKeptAndBound();
    void lastAddition_isTakenBack();

private:
    void prepare() override;
    void tidy() override;

    /// Runs the steps one after another in whatever event loop is the innermost, until all are done
    /// and nothing stands open any more.
    void run(const QList<std::function<void()>> &steps);
    void scan(const QString &code, int returns = 1, int gap = 3)
    {
        m_hands->press(code, gap, returns);
    }
    QString lines() const
    {
        return rows("SELECT wareid, CAST(quantity AS INTEGER) FROM incomeinvoice ORDER BY wareid")
            .replace('\t', '|')
            .replace('\n', ' ');
    }
    template<typename Widget>
    Widget *child(const char *name) const
    {
        return ::child<Widget>(*m_window, name);
    }
    static QDialog *dialog()
    {
        return qobject_cast<QuantityRestDialog *>(QApplication::activeModalWidget());
    }

    std::unique_ptr<WindowHands> m_hands;
    std::unique_ptr<IncomeInvoiceWindow> m_window;
};

void TestScanning::prepare()
{
    m_hands = std::make_unique<WindowHands>();
    openShop();
    WindowHands::givePassword();
    for (int id = 101; id <= 104; ++id) {
        shop::addProduct({.id = qulonglong(id), .name = "Товар " + QString::number(id)});
        shop::addCode(qulonglong(id), "4600000000" + QString::number(id), id == 104 ? 12 : 1);
    }
    m_window = m_hands->openWindow(m_database->entry(), "Скан");
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    child<QLineEdit>("codeLineEdit")->setFocus();
}

void TestScanning::tidy()
{
    m_window.reset();
    m_hands.reset();
}

void TestScanning::run(const QList<std::function<void()>> &steps)
{
    qsizetype at = 0;
    qsizetype done = 0;
    std::function<void()> next = [&] {
        const auto &step = steps.at(at++);
        if (at < steps.size())
            QTimer::singleShot(120, this, next); // first: the step may not return for long
        step();
        ++done;
    };
    next();
    QTRY_COMPARE_WITH_TIMEOUT(done, steps.size(), 30000);
    QTRY_VERIFY(!QApplication::activeModalWidget());
}

void TestScanning::eachScan_becomesALine_data()
{
    // gap: ms between keys; keys: of a person, to accept what stands open at the end
    addColumns<bool, int, int>("atOnce", "returns", "gap");
    addRow("one Return", false, 1, 3);
    addRow("two Returns", false, 2, 3);
    addRow("slow scanner", false, 1, 45);
    addRow("at once", true, 1, 3);
    addRow("at once, two Returns", true, 2, 3);
}

void TestScanning::eachScan_becomesALine()
{
    QFETCH(bool, atOnce);
    QFETCH(int, returns);
    QFETCH(int, gap);
    child<QAction>("addOnScanAction")->setChecked(atOnce);
    QList<std::function<void()>> steps;
    for (const char *code : {"4600000000101", "4600000000102", "4600000000101", "4600000000104",
                             "4600000000103", "4600000000104"})
        steps += [this, code, returns, gap] {
            scan(code, returns, gap);
        };
    steps += [this] {
        if (dialog())
            m_hands->press({}, 0);
    };
    run(steps);
    QCOMPARE(lines(), "101|2 102|1 103|1 104|24");
    QCOMPARE(m_hands->sounds, "++++++");
    // The line entered last is shown, and the last code is not looked up by one Return more.
    m_hands->press({}, 0);
    QVERIFY(!dialog());
    QCOMPARE(lines(), "101|2 102|1 103|1 104|24");
    auto *view = child<QTableView>("incomeinvoiceTableView");
    QCOMPARE(view->currentIndex().siblingAtColumn(1).data().toString(), "104");
}

/// A multiplier that was typed holds for the scan behind it; what it leads to is asked about, and
/// the next scan waits for the answer.
void TestScanning::whatStopsALine_keepsTheScan()
{
    rows("UPDATE warehouse SET outcost='9' WHERE id='102'");
    auto *multiplier = child<QSpinBox>("multiplierSpinBox");
    multiplier->setMaximum(999999);
    multiplier->setFocus();
    multiplier->selectAll();
    m_boxes->answer("Отмена");
    m_boxes->answer("Вернуться к цене");
    m_boxes->answer("Записать");
    run({[this] { m_hands->press("100000", 150, 0); }, [this] { scan("4600000000101"); },
         [this] { scan("4600000000102"); }, // stopped: 100,000
         [this] {
             QCOMPARE(lines(), "");
             QTest::keyClicks(dialog()->focusWidget(), "7");
             m_hands->press({}, 0);
         },
         [this] {
             QVERIFY(dialog()); // on the code that waited
             m_hands->press({}, 0);
         },
         [this] {
             m_hands->press({}, 0);
         }});
    QCOMPARE(m_boxes->texts().value(0), "Подтвердите количество: 100000");
    QCOMPARE(m_boxes->texts().value(1), m_boxes->texts().value(2));
    QCOMPARE(lines(), "101|7 102|1");
    QVERIFY(m_hands->sounds.contains('-'));
    // Agreed to once, not asked again.
    run({[this] { scan("4600000000102"); },
         [this] {
             m_hands->press({}, 0);
         }});
    QCOMPARE(lines(), "101|7 102|2");
}

void TestScanning::scanInABox_answersNothing()
{
    QMessageBox box(QMessageBox::Question, "Lavkor", "Удалить?", {}, m_window.get());
    QPushButton *yes = box.addButton("Да", QMessageBox::ActionRole);
    box.setDefaultButton(yes);
    run({[&box] { box.exec(); },
         [this, yes] {
             yes->setFocus();
             scan("4600000000103", 2);
         },
         [&box] {
             QVERIFY(box.isVisible());
             box.reject();
         },
         [this] {
             QVERIFY(dialog());
             m_hands->press({}, 0);
         }});
    QCOMPARE(lines(), "103|1");
}

void TestScanning::typedKeys_areNoScan()
{
    auto *filter = child<QLineEdit>("namefilterLineEdit");
    filter->setFocus();
    filter->setText("Това");
    // A slow barcode is a search.
    run({[this, filter] {
             filter->clear();
             m_hands->press("4600000000102", 120, 0);
         },
         [] {},
         [] {
         }});
    QCOMPARE(child<QTableView>("warehouseTableView")->model()->rowCount(), 1);
    filter->setText("102 това");
    QTRY_COMPARE(child<QTableView>("warehouseTableView")->model()->rowCount(), 1);
    // A fast one is a scan, and the field is as before. Return held down accepts nothing.
    run({[this] { scan("4600000000101"); },
         [filter] {
             QCOMPARE(filter->text(), "102 това");
             QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, {}, "\r", true);
             QApplication::sendEvent(dialog()->focusWidget(), &held);
             QVERIFY(dialog());
         },
         [this] {
             m_hands->press({}, 0);
         }});
    QCOMPARE(lines(), "101|1");
    // Esc makes room in the code field.
    auto *field = child<QLineEdit>("codeLineEdit");
    QTest::keyClick(field, Qt::Key_Escape);
    QCOMPARE(field->text(), "");
}

void TestScanning::missedCodes_areKeptAndBound()
{
    auto *button = child<QToolButton>("missedButton");
    child<QAction>("addOnScanAction")->setChecked(true);
    rows("INSERT INTO codes(wareid,code,packquantity) VALUES('999','4600000000999','1')");
    run({[this] { scan("4609999999999"); }, [this] { scan("4609999999999"); },
         [this] { scan("4600000000101"); },
         [this] {
             scan("4600000000999");
         }});
    QCOMPARE(button->text(), "Не найдено кодов: 2");
    QVERIFY(child<QLabel>("scanLabel")->text().contains("999 удалено"));
    QCOMPARE(m_hands->sounds, "--+-");

    m_boxes->answer("Показать коды");
    m_hands->steps.add("MissedCodesDialog", [](QDialog *dialog) {
        auto *codes = ::child<QTableWidget>(*dialog, "codesTableWidget");
        QCOMPARE(codes->item(0, 0)->text(), "4609999999999");
        QCOMPARE(codes->item(0, 3)->text(), "2");
        ::child<QLineEdit>(*dialog, "filterLineEdit")->setText("4600000000103");
        QTRY_COMPARE(::child<QTableView>(*dialog, "productsTableView")->model()->rowCount(), 1);
        click(*dialog, "bindPushButton");
    });
    m_hands->accept(); // two scans of one unit each
    m_hands->steps.add("MissedCodesDialog",
                       [](QDialog *dialog) { click(*dialog, "removePushButton"); });
    click(*m_window, "applyIncomeInvoicePushButton");
    QVERIFY(m_hands->steps.allServed());
    QCOMPARE(lines(), "101|1 103|2");
    QCOMPARE(rows("SELECT wareid FROM codes WHERE code='4609999999999'"), "103");
    QVERIFY(!button->isVisible());
}

void TestScanning::lastAddition_isTakenBack()
{
    child<QAction>("addOnScanAction")->setChecked(true);
    shop::addLine({.wareId = 101, .quantity = 5, .incost = 8, .outcost = 30});
    const QString before = rows("SELECT * FROM incomeinvoice");
    run({[this] { scan("4600000000101"); }, [this] { scan("4600000000104"); },
         [this] { scan("4600000000104"); },
         [this] {
             scan("4600000000102");
         }});
    QCOMPARE(lines(), "101|6 102|1 104|24");
    const auto takeBack = [this] {
        QTest::keyClick(child<QLineEdit>("codeLineEdit"), Qt::Key_Z, Qt::ControlModifier);
    };
    rows("UPDATE incomeinvoice SET quantity='3' WHERE wareid='102'");
    takeBack();
    QCOMPARE(lines(), "101|6 102|3 104|24"); // another station has changed it since
    QVERIFY(child<QLabel>("scanLabel")->text().contains("изменили"));
    takeBack();
    QCOMPARE(lines(), "101|6 102|3 104|12");
    takeBack();
    QCOMPARE(lines(), "101|6 102|3");
    takeBack();
    rows("DELETE FROM incomeinvoice WHERE wareid='102'");
    QCOMPARE(rows("SELECT * FROM incomeinvoice"), before);
    takeBack();
    QVERIFY(child<QLabel>("scanLabel")->text().contains("нечего"));
}

int main(int argc, char *argv[])
{
    return runWindowTest<TestScanning>(argc, argv);
}

#include "tst_scanning.moc"
