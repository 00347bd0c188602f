// The dialog in which a person at a scanner enters quantity and prices: keys only, and a barcode
// that arrives while it is open must do no harm.

#include "app/settings.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "income/quantityrestdialog.h"
#include "tests/support/databasetest.h"
#include "tests/support/simulatedscales.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

namespace {

const QString barcode = "4006381333931";

} // namespace

class TestQuantityRest : public DatabaseTest
{
    Q_OBJECT

private slots:
    void returnAlone_takesTheProposal()
    {
        open({.wareid = 11, .addedQuantity = 24});
        pressReturn();
        QCOMPARE(m_dialog->result(), int(QDialog::Accepted));
        QCOMPARE(m_dialog->acceptedQuantity(), 24.0);
        QCOMPARE(lines("wareid=11 AND quantity=24 AND incost=10 AND outcost=20 AND inoutratio=0"),
                 1);

        open({.wareid = 12, .addedQuantity = 1});
        QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
        QCOMPARE(m_dialog->result(), int(QDialog::Rejected));
        click(*m_dialog, "cancelPushButton");
        QCOMPARE(lines("wareid=12"), 0);
    }

    void startInPrice_goesOnToTheQuantity()
    {
        open({.wareid = 11, .addedQuantity = 2, .startInPrice = true});
        type("12,345");
        pressReturn();
        QCOMPARE(m_dialog->focusWidget(), m_quantity);
        QVERIFY(m_dialog->isVisible());
        type("7");
        pressReturn();
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(lines("quantity=7 AND incost BETWEEN 12.34499 AND 12.34501"), 1);
    }

    void typedQuantity_isReadAsMeant_data()
    {
        // stored: empty when refused
        addColumns<qulonglong, QString, QString>("wareid", "typed", "stored");
        addRow("pieces", 11ULL, "3", "3");
        addRow("half a piece", 11ULL, "7.5", "");
        addRow("return to the supplier", 11ULL, "-2", "-2");
        addRow("letters", 11ULL, "LOT-5", "");
        addRow("weight with a point", 12ULL, "0.125", "0.125");
        addRow("too fine a weight", 12ULL, "0.1255", "");
        addRow("the limit", 11ULL, "99999", "99999");
    }

    void typedQuantity_isReadAsMeant()
    {
        const auto [wareid, typed, stored] = rowValues<qulonglong, QString, QString>();
        open({.wareid = wareid, .addedQuantity = 5});
        type(typed);
        if (stored.isEmpty())
            m_boxes->answer("OK");
        pressReturn();
        QCOMPARE(m_dialog->isVisible(), stored.isEmpty());
        if (stored.isEmpty()) { // what was refused is selected and typed over
            QCOMPARE(lines("1=1"), 0);
            QCOMPARE(m_dialog->focusWidget(), m_quantity);
            type("8");
            pressReturn();
        }
        QCOMPARE(rows("SELECT quantity FROM incomeinvoice").toDouble(),
                 stored.isEmpty() ? 8 : stored.toDouble());
    }

    void weight_comesAsIfTyped()
    {
        open({.wareid = 12, .addedQuantity = 5});
        auto *button = m_dialog->findChild<QWidget *>("weighPushButton");
        QVERIFY(!button->isVisible()); // there are no scales
        SimulatedScales simulated({"\x06", "?", "\x06", SimulatedScales::packet(' ', " 1.255")});
        Settings::instance().setValue(SettingsKey::ScalesType, "1");
        Settings::instance().setValue(SettingsKey::ScalesPort, simulated.port());
        open({.wareid = 11, .addedQuantity = 5});
        button = m_dialog->findChild<QWidget *>("weighPushButton");
        QVERIFY(!button->isVisible()); // pieces
        m_dialog->load({.wareid = 12, .addedQuantity = 5});
        QVERIFY(button->isVisible());

        type("3.5");
        m_boxes->answer("OK");
        QTest::keyClick(m_dialog.get(), Qt::Key_F9);
        QCOMPARE(m_boxes->lastText(), "Неправильный размер пакета данных 1.");
        QCOMPARE(m_quantity->text(), "3.5");
        QTest::keyClick(m_dialog.get(), Qt::Key_F9);
        QCOMPARE(m_quantity->text(), "1.255");
        pressReturn();
        QCOMPARE(lines("wareid=12 AND quantity BETWEEN 1.25499 AND 1.25501"), 1);
    }

    void largeQuantity_isConfirmed()
    {
        open({.wareid = 11, .addedQuantity = 5});
        type("100000");
        m_boxes->answer("Отмена");
        pressReturn();
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(lines("1=1"), 0);
        const BoxRequest box = m_boxes->requests().first();
        QCOMPARE(box.text, "Подтвердите количество: 100000");
        QVERIFY(box.defaultButton == 1 && box.escapeButton == 1);
        m_boxes->answer("Подтвердить");
        pressReturn();
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(rows("SELECT quantity FROM incomeinvoice").toDouble(), 100000.0);
    }

    void scannedBarcode_doesNoHarm_data()
    {
        addColumns<bool, bool, QString>("startInPrice", "coefficient", "field");
        addRow("quantity", false, false, "quantityDoubleSpinBox");
        addRow("purchase price", true, false, "incostDoubleSpinBox");
        addRow("selling price", false, false, "outcostDoubleSpinBox");
        addRow("coefficient", false, true, "ratioDoubleSpinBox");
    }

    void scannedBarcode_doesNoHarm()
    {
        const auto [startInPrice, coefficient, field] = rowValues<bool, bool, QString>();
        open({.wareid = 11, .addedQuantity = 5, .startInPrice = startInPrice});
        if (coefficient)
            QTest::mouseClick(child<QCheckBox>("ratioCheckBox"), Qt::LeftButton, {}, QPoint(8, 8));
        auto *spinBox = child<NumberSpinBox>(qPrintable(field));
        spinBox->setFocus(Qt::TabFocusReason);
        type(barcode);
        m_boxes->answer(coefficient ? "OK" : "Отмена"); // beyond any coefficient
        pressReturn();
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(lines("1=1"), 0);
        QCOMPARE(m_dialog->focusWidget(), spinBox);
        if (spinBox == m_quantity)
            QCOMPARE(m_quantity->value(), 5.0); // and Return takes it
    }

    void coefficient_leadsTheSellingPrice()
    {
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET inoutratio='1.5' WHERE id='12'"));
        open({.wareid = 12, .addedQuantity = 1, .startInPrice = true});
        QVERIFY(child<QCheckBox>("ratioCheckBox")->isChecked());
        QVERIFY(m_outcost->isReadOnly());
        QCOMPARE(m_outcost->value(), 150.0); // though 20 was stored
        type("33.3");
        QCOMPARE(m_outcost->value(), 50.0); // 49.95
        auto *ratio = child<NumberSpinBox>("ratioDoubleSpinBox");
        ratio->setFocus(Qt::TabFocusReason);
        type("2");
        QCOMPARE(m_outcost->value(), 65.0); // 66.6
        pressReturn();
        QCOMPARE(lines("inoutratio=2 AND outcost=65"), 1);

        // By hand: the price stays and can be typed.
        open({.wareid = 12, .addedQuantity = 0, .editLine = false});
        child<QCheckBox>("ratioCheckBox")->setChecked(false);
        QVERIFY(!m_outcost->isReadOnly());
        QCOMPARE(m_outcost->value(), 65.0);
        m_outcost->setFocus(Qt::TabFocusReason);
        type("77,5");
        pressReturn();
        QCOMPARE(lines("inoutratio=0 AND outcost=77.5 AND quantity=1"), 1);
    }

    void untouchedPrices_stayWhole()
    {
        shop::addProduct({.id = 13, .incost = 1.0 / 3, .outcost = 12345.67, .currency = "USD"});
        open({.wareid = 13, .addedQuantity = 1});
        QCOMPARE(m_outcost->text(), "12345.67");
        QCOMPARE(m_incost->text(), "30");
        pressReturn();
        QCOMPARE(lines("outcost BETWEEN 12345.669 AND 12345.671"), 1);

        // More decimals than the field has are kept as long as nobody types.
        QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET incost='0.12345678'"));
        open({.wareid = 13, .addedQuantity = 1});
        QCOMPARE(m_incost->text(), "0.1235");
        pressReturn();
        QCOMPARE(lines("incost BETWEEN 0.1234567 AND 0.1234569"), 1);
    }

    void existingLine_showsWhatIsAdded()
    {
        shop::addLine({.wareId = 11, .quantity = 5, .incost = 7, .outcost = 15});
        open({.wareid = 11, .addedQuantity = 12});
        QCOMPARE(child<QLabel>("inReceiptLabel")->text(), "Уже в приходе: 5");
        QCOMPARE(child<QLabel>("sumLabel")->text(), "5 + 12");
        QCOMPARE(m_quantity->value(), 17.0);
        QCOMPARE(m_incost->value(), 7.0);
        rows("UPDATE incomeinvoice SET quantity=8"); // on another station
        m_boxes->answer("OK");
        pressReturn();
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(child<QLabel>("sumLabel")->text(), "8 + 12");
        QCOMPARE(m_quantity->value(), 20.0);
        pressReturn();
        QCOMPARE(lines("quantity=20 AND incost=7 AND outcost=15"), 1);
        QCOMPARE(lines("1=1"), 1);

        const qulonglong line = rows("SELECT id FROM incomeinvoice").toULongLong();
        // A fraction that the unit does not know is not cut off.
        QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET quantity='2.5'"));
        open({.wareid = 11, .addedQuantity = 12, .lineId = line, .editLine = true});
        QCOMPARE(child<QLabel>("sumLabel")->text(), "");
        QCOMPARE(m_quantity->text(), "2.5");
        pressReturn();
        QCOMPARE(lines("quantity=2.5"), 1);
    }

    void expiryDate_isNeverInvented_data()
    {
        // before: as an SQL value
        // typed: "-" when the field is emptied
        // after: "?" when refused
        addColumns<QString, QString, QString>("before", "typed", "after");
        addRow("kept", "'2027-02-28'", "", "2027-02-28");
        addRow("kept with a time", "'2027-02-28 00:00:00'", "", "2027-02-28 00:00:00");
        addRow("set", "''", "31.12.2027", "2027-12-31");
        addRow("changed", "'2027-02-28'", "010328", "2028-03-01");
        addRow("taken off", "'2027-02-28'", "-", "");
        addRow("no such day", "'2027-02-28'", "31.11.2027", "?");
        addRow("barcode", "'2027-02-28'", barcode, "?");
        addRow("no date stays as it was", "'до весны'", "", "до весны");
    }

    void expiryDate_isNeverInvented()
    {
        const auto [before, typed, after] = rowValues<QString, QString, QString>();
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET expiretime=" + before + " WHERE id='11'"));
        open({.wareid = 11});
        auto *field = child<QLineEdit>("expireLineEdit");
        if (before == "'2027-02-28'")
            QCOMPARE(field->text(), "28.02.2027");
        if (!typed.isEmpty()) {
            field->setFocus(Qt::TabFocusReason);
            if (typed == "-")
                QTest::keyClick(field, Qt::Key_Delete);
            else
                type(typed);
        }
        const bool refused = after == "?";
        if (refused)
            m_boxes->answer("OK");
        pressReturn();
        QCOMPARE(m_dialog->isVisible(), refused);
        QCOMPARE(lines("1=1"), refused ? 0 : 1);
        if (!refused)
            QCOMPARE(rows("SELECT COALESCE(expiretime,'') FROM warehouse WHERE id=11"), after);
    }

    void texts_showAsTheyAre()
    {
        open({.wareid = 11});
        QCOMPARE(child<QLabel>("nameLabel")->text().remove(QChar(0x200B)), shop::nastyName);
        QCOMPARE(child<QLabel>("articleLabel")->text(), "<b>А'1");
        QCOMPARE(child<QLabel>("idLabel")->text(), "11");
        QCOMPARE(child<QLabel>("stockLabel")->text(), "4 шт");
        const auto labels = m_dialog->findChildren<QLabel *>();
        for (const QLabel *label : labels)
            QCOMPARE(label->textFormat(), Qt::PlainText);
        QVERIFY(child<QLabel>("nameLabel")->toolTip().contains("&lt;img"));

        // A name of one endless word neither widens the dialog nor is cut off without a sign.
        const int width = m_dialog->width();
        const QString longName(1000, u'Щ');
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET name=" + sql::text(longName)));
        open({.wareid = 11});
        QCOMPARE(m_dialog->width(), width);
        const auto *name = child<QLabel>("nameLabel");
        QVERIFY(name->text().endsWith(QChar(0x2026)));
        QVERIFY(name->height() >= name->heightForWidth(name->width()));
    }

    void audit_withoutTheRight_isRefused()
    {
        open({.wareid = 11});
        child<QCheckBox>("auditCheckBox")->setChecked(true);
        m_boxes->answer("OK");
        pressReturn();
        QCOMPARE(m_dialog->result(), int(QDialog::Accepted));
    }

    void referencePrice_isOfferedWithAReferenceDatabase()
    {
        open({.wareid = 11});
        QVERIFY(!child<QCheckBox>("friendOutcostCheckBox")->isVisible());
        openReference();
        shop::addProduct({.id = 501}, friendConnection);
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET wuid='w'", friendConnection));
        open({.wareid = 11});
        QVERIFY(child<QCheckBox>("friendOutcostCheckBox")->isVisible());
        QVERIFY(!child<QCheckBox>("friendOutcostCheckBox")->isEnabled()); // no identifier

        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET wuid='w' WHERE id='11'"));
        open({.wareid = 11});
        child<QCheckBox>("friendOutcostCheckBox")->setChecked(true);
        m_outcost->setFocus(Qt::TabFocusReason);
        type("31");
        pressReturn();
        QCOMPARE(QueryValue(nullptr, "SELECT outcost FROM warehouse", friendConnection).toDouble(),
                 31.0);
    }

    void missingProduct_opensNothing()
    {
        QuantityRestDialog dialog({.wareid = 99});
        QCOMPARE(dialog.loadState(), LoadState::NotFound);
        QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    }

private:
    void prepare() override
    {
        openShop(int(Right::ReceiveGoods));
        shop::addProduct({.id = 11, .name = shop::nastyName, .stock = 4, .article = "<b>А'1"});
        shop::addProduct({.id = 12, .name = "Сыр", .incost = 100, .outcost = 150});
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET unitid='2' WHERE id='12'")); // kg
    }

    void tidy() override
    {
        m_dialog.reset();
        Settings::instance().reset();
    }

    template<typename Widget>
    Widget *child(const char *name) const
    {
        return ::child<Widget>(*m_dialog, name);
    }
    void open(const ReceiptRequest &request)
    {
        m_dialog = std::make_unique<QuantityRestDialog>(request);
        QCOMPARE(m_dialog->loadState(), LoadState::Loaded);
        m_quantity = child<NumberSpinBox>("quantityDoubleSpinBox");
        m_incost = child<NumberSpinBox>("incostDoubleSpinBox");
        m_outcost = child<NumberSpinBox>("outcostDoubleSpinBox");
        m_dialog->show();
        m_dialog->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
    }

    /// Keys go where the focus is.
    void type(const QString &text)
    {
        QVERIFY(m_dialog->focusWidget());
        QTest::keyClicks(m_dialog->focusWidget(), text);
    }

    void pressReturn()
    {
        QTest::keyClick(m_dialog->focusWidget(), Qt::Key_Return);
    }

    int lines(const QString &condition) const
    {
        return rows("SELECT COUNT(*) FROM incomeinvoice WHERE " + condition).toInt();
    }

    std::unique_ptr<QuantityRestDialog> m_dialog;
    NumberSpinBox *m_quantity = nullptr;
    NumberSpinBox *m_incost = nullptr;
    NumberSpinBox *m_outcost = nullptr;
};

QTEST_MAIN(TestQuantityRest)
#include "tst_quantityrest.moc"
