// Scanning without looking at the screen: whatever stands open and however the keys come, each scan
// ends up in the receipt or in the list of missed codes, and none in a number or as an answer.
#include "income/quantityrestdialog.h"
#include "windowhands.h"

#include <QCompleter>
#include <QMessageBox>
#include <QSpinBox>
#include <QTableWidget>
#include <QToolButton>

class TestScanning : public MainWindowTest
{
    Q_OBJECT

private slots:
    void eachScan_becomesALine_data()
    {
        // gap: ms between keys; keys: of a person, to accept what stands open at the end
        addColumns<bool, int, int>("atOnce", "returns", "gap");
        addRow("one Return", false, 1, 3);
        addRow("two Returns", false, 2, 3);
        addRow("slow scanner", false, 1, 45);
        addRow("at once, two Returns", true, 2, 3);
    }

    void eachScan_becomesALine()
    {
        const auto [atOnce, returns, gap] = rowValues<bool, int, int>();
        child<QAction>("addOnScanAction")->setChecked(atOnce);
        const bool asks = !atOnce;
        QList<Step> steps;
        for (const char *code : {"4600000000101", "4600000000102", "4600000000101", "4600000000104",
                                 "4600000000103", "4600000000104"})
            steps +=
                scanned(QString(steps.size(), u'+'), asks && !steps.isEmpty(), code, returns, gap);
        steps += {heard("++++++", asks), [=, this] {
                      if (asks)
                          m_hands->press({});
                  }};
        run(steps);
        QCOMPARE(lines(), "101|2 102|1 103|1 104|24");
        QCOMPARE(m_hands->sounds, "++++++");
        // The line entered last is shown, and the last code is not looked up by one Return more.
        m_hands->press({});
        QVERIFY(!QApplication::activeModalWidget());
        QCOMPARE(lines(), "101|2 102|1 103|1 104|24");
        auto *view = child<QTableView>("incomeinvoiceTableView");
        QCOMPARE(view->currentIndex().siblingAtColumn(1).data().toString(), "104");
    }

    /// A multiplier that was typed holds for the scan behind it; what it leads to is asked about,
    /// and the next scan waits for the answer.
    void whatStopsALine_keepsTheScan()
    {
        rows("UPDATE warehouse SET outcost='9' WHERE id='102'");
        auto *multiplier = child<QSpinBox>("multiplierSpinBox");
        multiplier->setMaximum(999999);
        multiplier->setFocus();
        multiplier->selectAll();
        m_boxes->answer("Отмена");
        m_boxes->answer("Вернуться к цене");
        m_boxes->answer("Записать");
        const Step accepts = {{}, [this] {
                                  m_hands->press({});
                              }};
        run({{heard({}, false),
              [this] {
                  m_hands->press("100000", 150, 0);
              }},
             scanned({}, false, "4600000000101"),
             scanned("+", true, "4600000000102"), // stopped: 100,000
             {heard("+-", true),
              [this] {
                  QCOMPARE(lines(), "");
                  QTest::keyClicks(dialog()->focusWidget(), "7");
                  m_hands->press({});
              }},
             {heard("+-+", true), accepts.act}, // on the code that waited
             {[this] { return m_boxes->texts().size() == 2 && dialog(); }, accepts.act}});
        QCOMPARE(m_boxes->texts().value(0), "Подтвердите количество: 100000");
        QCOMPARE(m_boxes->texts().value(1), m_boxes->texts().value(2));
        QCOMPARE(lines(), "101|7 102|1");
        // Agreed to once, not asked again.
        run({scanned("+-+", false, "4600000000102"), {heard("+-++", true), accepts.act}});
        QCOMPARE(lines(), "101|7 102|2");
    }

    void scanInABox_answersNothing()
    {
        QMessageBox box(QMessageBox::Question, "Lavkor", "Удалить?", {}, m_window.get());
        QPushButton *yes = box.addButton("Да", QMessageBox::ActionRole);
        box.setDefaultButton(yes);
        run({{heard({}, false),
              [&box] {
                  box.exec();
              }},
             {[&box] { return box.isVisible(); },
              [this, yes] {
                  yes->setFocus();
                  scan("4600000000103", 2);
              }},
             {heard("-", false), // where it was, since nothing else has closed it
              [&box] {
                  QVERIFY(box.isVisible());
                  box.reject();
              }},
             {heard("-+", true), [this] {
                  m_hands->press({});
              }}});
        QCOMPARE(lines(), "103|1");
    }

    void typedKeys_areNoScan()
    {
        auto *filter = child<QLineEdit>("namefilterLineEdit");
        filter->setFocus();
        // A slow barcode is a search.
        m_hands->press("4600000000102", 120, 0);
        QTRY_COMPARE(lineCount("warehouseTableView"), 1);
        QVERIFY(!QApplication::activeModalWidget());
        filter->setText("102 това");
        QTRY_COMPARE(lineCount("warehouseTableView"), 1);
        // A fast one is a scan, and the field is as before. Return held down accepts nothing.
        run({scanned({}, false, "4600000000101"),
             {heard("+", true), [this, filter] {
                  QCOMPARE(filter->text(), "102 това");
                  QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, {}, "\r", true);
                  QApplication::sendEvent(dialog()->focusWidget(), &held);
                  QVERIFY(dialog());
                  m_hands->press({});
              }}});
        QCOMPARE(lines(), "101|1");
        // Proposals below a field are no box: what is typed over them stays.
        filter->setFocus();
        filter->clear();
        QCompleter names(QStringList{"/tmp/a", "/tmp/b"});
        filter->setCompleter(&names);
        m_hands->press("/tmp/list", 90, 0);
        QCOMPARE(filter->text(), "/tmp/list");
        filter->setCompleter(nullptr);
        // Esc makes room in the code field.
        auto *field = child<QLineEdit>("codeLineEdit");
        QTest::keyClick(field, Qt::Key_Escape);
        QCOMPARE(field->text(), "");
    }

    void missedCodes_areKeptAndBound()
    {
        auto *button = child<QToolButton>("missedButton");
        child<QAction>("addOnScanAction")->setChecked(true);
        rows("INSERT INTO codes(wareid,code,packquantity) VALUES('999','4600000000999','1')");
        run({scanned({}, false, "4609999999999"),
             scanned("-", false, "4609999999999"),
             scanned("--", false, "4600000000101"),
             scanned("--+", false, "4600000000999"),
             {heard("--+-", false), [] {
              }}});
        QCOMPARE(button->text(), "Не найдено кодов: 2");
        QVERIFY(label("scanLabel").contains("999 удалено"));

        m_boxes->answer("Показать коды");
        m_hands->steps.add("MissedCodesDialog", [](QDialog *dialog) {
            auto *codes = ::child<QTableWidget>(*dialog, "codesTableWidget");
            QCOMPARE(codes->item(0, 0)->text(), "4609999999999");
            QCOMPARE(codes->item(0, 3)->text(), "2");
            ::child<QLineEdit>(*dialog, "filterLineEdit")->setText("4600000000103");
            QTRY_COMPARE(::child<QTableView>(*dialog, "productsTableView")->model()->rowCount(), 1);
            click(*dialog, "bindPushButton");
        });
        accept(); // two scans of one unit each
        m_hands->steps.add("MissedCodesDialog",
                           [](QDialog *dialog) { click(*dialog, "removePushButton"); });
        click(*m_window, "applyIncomeInvoicePushButton");
        QVERIFY(m_hands->steps.allServed());
        QCOMPARE(lines(), "101|1 103|2");
        QCOMPARE(rows("SELECT wareid FROM codes WHERE code='4609999999999'"), "103");
        QVERIFY(!button->isVisible());
    }

    void lastAddition_isTakenBack()
    {
        child<QAction>("addOnScanAction")->setChecked(true);
        shop::addLine({.wareId = 101, .quantity = 5, .incost = 8, .outcost = 30});
        const QString before = rows("SELECT * FROM incomeinvoice");
        run({scanned({}, false, "4600000000101"),
             scanned("+", false, "4600000000104"),
             scanned("++", false, "4600000000104"),
             scanned("+++", false, "4600000000102"),
             {heard("++++", false), [] {
              }}});
        QCOMPARE(lines(), "101|6 102|1 104|24");
        const auto takeBack = [this] {
            QTest::keyClick(child<QLineEdit>("codeLineEdit"), Qt::Key_Z, Qt::ControlModifier);
        };
        rows("UPDATE incomeinvoice SET quantity='3' WHERE wareid='102'");
        takeBack();
        QCOMPARE(lines(), "101|6 102|3 104|24"); // another station has changed it since
        QVERIFY(label("scanLabel").contains("изменили"));
        takeBack();
        QCOMPARE(lines(), "101|6 102|3 104|12");
        takeBack();
        QCOMPARE(lines(), "101|6 102|3");
        takeBack();
        rows("DELETE FROM incomeinvoice WHERE wareid='102'");
        QCOMPARE(rows("SELECT * FROM incomeinvoice"), before);
        takeBack();
        QVERIFY(label("scanLabel").contains("нечего"));
    }

private:
    /// What is done, as soon as something is true.
    struct Step
    {
        std::function<bool()> ready;
        std::function<void()> act;
    };

    void prepare() override
    {
        openShop();
        for (int id = 101; id <= 104; ++id) {
            shop::addProduct({.id = qulonglong(id), .name = "Товар " + QString::number(id)});
            shop::addCode(qulonglong(id), "4600000000" + QString::number(id), id == 104 ? 12 : 1);
        }
        openWindow();
        child<QLineEdit>("codeLineEdit")->setFocus();
    }

    /// Whether these sounds were heard so far, and whether the dialog of a line stands open.
    std::function<bool()> heard(const QString &sounds, bool open) const
    {
        return [=, this] {
            return m_hands->sounds == sounds && (dialog() != nullptr) == open;
        };
    }

    Step scanned(const QString &sounds, bool open, const QString &code, int returns = 1,
                 int gap = 3)
    {
        return {heard(sounds, open), [=, this] {
                    scan(code, returns, gap);
                }};
    }

    /// Runs the steps one after another in whatever event loop is the innermost, until all are done
    /// and nothing stands open any more.
    void run(const QList<Step> &steps)
    {
        constexpr int lookMs = 5;
        QObject context;
        qsizetype begun = 0;
        qsizetype done = 0;
        std::function<void()> next = [&] {
            if (begun == steps.size())
                return;
            QTimer::singleShot(lookMs, &context, next); // first: a step may not return for long
            if (!steps.at(begun).ready())
                return;
            steps.at(begun++).act();
            ++done;
        };
        next();
        QTRY_COMPARE_WITH_TIMEOUT(done, steps.size(), 60000);
        QTRY_VERIFY(!QApplication::activeModalWidget());
    }

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

    /// The dialog of a line, once the keys go there.
    static QDialog *dialog()
    {
        return qobject_cast<QuantityRestDialog *>(QApplication::activeWindow());
    }
};

int main(int argc, char *argv[])
{
    return runWindowTest<TestScanning>(argc, argv);
}

#include "tst_scanning.moc"
