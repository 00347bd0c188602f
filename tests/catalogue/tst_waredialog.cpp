#include "catalogue/waredialog.h"

#include "catalogue/codedialog.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QPlainTextEdit>
#include <QTabWidget>
#include <QWheelEvent>

namespace {

void typeNumber(const QDialog &card, const char *name, const char *text)
{
    auto *field = child<NumberSpinBox>(card, name);
    field->selectAll();
    QTest::keyClicks(field, text);
}

double number(const QDialog &card, const char *name)
{
    return child<NumberSpinBox>(card, name)->exact();
}

} // namespace

class TestWareDialog : public DialogTest
{
    Q_OBJECT

private slots:
    void sellingPrice_followsUntilItIsTyped()
    {
        WareDialog card(7, nullptr);
        card.show();
        typeNumber(card, "inoutratioDoubleSpinBox", "1.5");
        QCOMPARE(number(card, "outcostDoubleSpinBox"), 1350.0); // 10 dollars at 90
        typeNumber(card, "incostDoubleSpinBox", "1,1");
        QCOMPARE(number(card, "outcostDoubleSpinBox"), 150.0);
        QCOMPARE(child<QLabel>(card, "marginLabel")->text(),
                 "Наценка 52\u00a0%, 51\u00a0₽");
        auto *currency = child<QComboBox>(card, "currencyComboBox");
        currency->setCurrentIndex(currency->findData("RUB"));
        QCOMPARE(number(card, "outcostDoubleSpinBox"), 1.0);
        currency->setCurrentIndex(currency->findData("USD"));

        // Another station has a new rate.
        rows("UPDATE currencies SET value=100 WHERE c_code='USD'");
        m_boxes->answer("OK");
        click(card, "okPushButton");
        QVERIFY(card.isVisible() && m_boxes->lastText().contains("160"));
        typeNumber(card, "outcostDoubleSpinBox", "99.5");
        QCOMPARE(number(card, "inoutratioDoubleSpinBox"), 0.0);
        child<QTabWidget>(card, "tabWidget")->setCurrentIndex(1);
        card.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&card));
        QTest::keyClick(child<QTableView>(card, "codesTableView"), Qt::Key_Return,
                        Qt::ControlModifier);
        QVERIFY(!card.isVisible());
        QCOMPARE(rows("SELECT incost, inoutratio, outcost FROM warehouse").remove(".0"),
                 "1.1\t0\t99.5");
    }

    void whatNoListOffers_isKept()
    {
        const QString columns = "enabled, type, marking, section, groupid, brandid, favoritid, "
                                "unitid, currency, description, width, incost, orderquantity";
        rows("UPDATE warehouse SET enabled=5, type=4, marking=2, section=-3, groupid=-1, "
             "brandid=77, favoritid=123, unitid=99, currency='XYZ', description='a\u00a0b\r\nc', "
             "width=-5, incost=1234.5678, orderquantity=0.1234567");
        const QString before = rows("SELECT " + columns + " FROM warehouse");
        WareDialog card(7, nullptr);
        QCOMPARE(child<QComboBox>(card, "brandComboBox")->currentText(), "№ 77, нет в списке");
        type(card, "keywordsLineEdit", "new  words");
        click(card, "okPushButton");
        QCOMPARE(rows("SELECT keywords FROM warehouse"), "new words");
        QCOMPARE(rows("SELECT " + columns + " FROM warehouse"), before);
    }

    void badInput_keepsTheCardOpen()
    {
        WareDialog card(0, nullptr);
        card.show();
        m_boxes->answer("OK");
        click(card, "okPushButton");
        QCOMPARE(m_boxes->lastText(), "Пожалуйста, введите наименование.");
        QCOMPARE(card.focusWidget(), child<QLineEdit>(card, "nameLineEdit"));
        type(card, "nameLineEdit", "Товар");
        QTest::keyClick(card.focusWidget(), Qt::Key_Return);
        QCOMPARE(card.focusWidget(), child<QLineEdit>(card, "articleLineEdit"));
        m_boxes->answer("OK");
        click(card, "okPushButton");
        QCOMPARE(m_boxes->lastText(),
                 "Запись с такими же именем и артикулом уже существует под кодом 7.");
        type(card, "articleLineEdit", "2");
        for (const char *weight : {"1234.567", "12345678", "x"}) {
            typeNumber(card, "weightDoubleSpinBox", weight);
            m_boxes->answer("OK");
            click(card, "okPushButton");
            QVERIFY(m_boxes->lastText().startsWith("Вес: "));
        }
        m_boxes->answer("Вернуться");
        QTest::keyClick(&card, Qt::Key_Escape);
        QVERIFY(card.isVisible());
        m_boxes->answer("Закрыть");
        QTest::keyClick(&card, Qt::Key_Escape);
        QVERIFY(!card.isVisible());
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse"), "1");
    }

    void codeOfAnother_isNotTaken()
    {
        DialogSteps steps;
        steps.whenOpen<WareDialog>([this](WareDialog &card) {
            shop::addCode(7, "4600000000015");
            type(card, "nameLineEdit", "Чай");
            m_boxes->answer("OK");
            click(card, "okPushButton");
            m_boxes->answer("Закрыть");
        });
        QCOMPARE(createProduct(nullptr, {}, "4600000000015"), 0U);
        QVERIFY(m_boxes->requests().first().text.contains("наименованию 7"));
        m_boxes->answer("OK");
        QCOMPARE(createProduct(nullptr, {}, "4600000000015"), 0U);
    }

    void choice_isThatOfTheUser()
    {
        rows("INSERT INTO `groups`(id,name) VALUES(3,'Чай')");
        WareDialog card(7, nullptr);
        card.show();
        auto *groups = child<QComboBox>(card, "groupComboBox");
        groups->setCurrentIndex(groups->findData(3));
        QWheelEvent wheel({5, 5}, groups->mapToGlobal(QPointF(5, 5)), {}, {0, 120}, {}, {},
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(groups, &wheel);
        QCOMPARE(groups->currentText(), "Чай");
        rows("DELETE FROM `groups`");
        m_boxes->answer("OK");
        click(card, "okPushButton");
        QVERIFY(card.isVisible() && m_boxes->lastText().contains("«Чай» тем временем удалили"));
    }

    void changeElsewhere_isShownColumnByColumn()
    {
        WareDialog card(7, nullptr);
        card.show();
        type(card, "nameLineEdit", "Чай");
        rows("UPDATE warehouse SET outcost=35, marking=1");
        m_boxes->answer("Взять новое");
        click(card, "okPushButton");
        QVERIFY(m_boxes->requests().last().note.contains(
            "Расходная цена: было «20», стало «35», у Вас «20»"));
        QVERIFY(card.isVisible());
        QCOMPARE(number(card, "outcostDoubleSpinBox"), 35.0);
        rows("DELETE FROM warehouse");
        m_boxes->answer("Записать");
        click(card, "okPushButton");
        QVERIFY(!card.isVisible());
        QCOMPARE(rows("SELECT name, outcost, marking FROM warehouse").remove(".0"), "Чай\t35\t1");
    }

    void scan_goesToTheBarcodes()
    {
        shop::addCode(7, "4600000000015");
        shop::addCode(8, "4600000000022");
        WareDialog card(7, nullptr);
        card.show();
        card.takeScan("4600000000015");
        const auto *tabs = child<QTabWidget>(card, "tabWidget");
        QCOMPARE(tabs->tabText(tabs->currentIndex()), "Штрих-коды (1)");
        m_boxes->answer("OK");
        card.takeScan("4600000000022");
        QVERIFY(m_boxes->lastText().contains("наименованию 8"));
        DialogSteps steps;
        steps.whenOpen<CodeDialog>([](CodeDialog &dialog) { click(dialog, "okPushButton"); });
        card.takeScan("4600000000039");
        QVERIFY(steps.allServed());
        QCOMPARE(tabs->tabText(tabs->currentIndex()), "Штрих-коды (2)");

        auto *codes = child<QTableView>(card, "codesTableView");
        QCOMPARE(codes->currentIndex().row(), 1);
        rows("INSERT INTO labels(code) VALUES('4600000000039')");
        m_boxes->answer("Да");
        card.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&card));
        QTest::keyClick(codes, Qt::Key_Delete);
        QTRY_COMPARE(m_boxes->lastText(), "Вы действительно хотите удалить выделенные штрих-коды?");
        codes->clearSelection();
        m_boxes->answer("OK");
        click(card, "codesDeletePushButton");
        QCOMPARE(m_boxes->lastText(), "Не выделено ни одного элемента.");
        QCOMPARE(rows("SELECT code FROM codes WHERE wareid=7"), "4600000000015");
        QCOMPARE(rows("SELECT COUNT(*) FROM labels"), "0");
    }

    void copy_hasNoBarcodesAndStock()
    {
        shop::addCode(7, "4600000000015");
        rows("UPDATE warehouse SET wuid='u', quantity=5, incost=12345.678; INSERT INTO "
             "wareproperties(wareid,value) VALUES(7,1.5),(0,8)");
        DialogSteps steps;
        steps.whenOpen<WareDialog>([](WareDialog &card) {
            type(card, "articleLineEdit", "2");
            click(card, "okPushButton");
        });
        const qulonglong id = copyProduct(nullptr, 7);
        QVERIFY(steps.allServed() && id > 7);
        QCOMPARE(rows("SELECT name, article, wuid, quantity, incost FROM warehouse WHERE id=" +
                      QString::number(id))
                     .remove(".0"),
                 "Товар\t2\t\t0\t12345.678");
        QCOMPARE(rows("SELECT wareid, value FROM wareproperties ORDER BY id"),
                 "7\t1.5\n" + QString::number(id) + "\t1.5");
        QCOMPARE(rows("SELECT wareid FROM codes"), "7");
        m_boxes->answer("OK");
        QCOMPARE(editProduct(nullptr, 4711), 0U);
        QCOMPARE(m_boxes->lastText(), "Товара с номером id=4711 не существует!");
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 7, .currency = "USD"});
    }
};

QTEST_MAIN(TestWareDialog)
#include "tst_waredialog.moc"
