// What a scanned or typed text means: readings under other keyboard layouts, ids, pack codes, and
// the offer to look into the reference database.

#include "catalogue/waredialog.h"
#include "income/codelookup.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/widgets.h"

class TestCodeLookup : public DatabaseTest
{
    Q_OBJECT

private slots:
    void readings_areTheKeysPressed_data()
    {
        addColumns<QString, QStringList>("code", "readings");
        addRow("digits", "4006381333931", QStringList({"4006381333931"}));
        addRow("latin", "ABC.123;4", QStringList({"ABC.123;4"}));
        addRow("russian letters", "ФИс-1234.ч", QStringList({"ФИс-1234.ч", "ABc-1234/x"}));
        addRow("russian without digits", "Ёж.Э№", QStringList({"Ёж.Э№", "~;/\"#", "?;7\"1"}));
        addRow("typewriter digit row", "№-/\":,._?%",
               QStringList({"№-/\":,._?%", "#-|@^?/_&%", "1234567890"}));
        addRow("signs beside digits are not the typewriter's", "12-34567",
               QStringList({"12-34567"}));
        addRow("arabic digits", "٤٠٠٦٣٨١٣٣٣٩٣١", QStringList({"٤٠٠٦٣٨١٣٣٣٩٣١", "4006381333931"}));
        addRow("full-width", "Ａ４００６", QStringList({"Ａ４００６", "Ａ4006"}));
        addRow("digits beyond 16 bits", QString::fromUcs4(U"\U0001D7D2\U0001D7CE"),
               QStringList({QString::fromUcs4(U"\U0001D7D2\U0001D7CE"), "40"}));
    }

    void readings_areTheKeysPressed()
    {
        QFETCH(QString, code);
        QTEST(codeReadings(code), "readings");
    }

    void text_meansAProduct_data()
    {
        addColumns<QString, CodeKind, qulonglong, double>("text", "kind", "wareid", "pack");
        const auto row = [](const char *name, const QString &text, CodeKind kind,
                            qulonglong wareid = 0, double pack = 1) {
            addRow(name, text, kind, wareid, pack);
        };
        row("empty", "", CodeKind::Nothing);
        row("blanks and controls", QString(" \t\r\n") + QChar(0x1D) + QChar(0xFEFF),
            CodeKind::Nothing);
        row("zero", "000", CodeKind::Nothing);
        row("sign", "-11", CodeKind::Nothing);
        row("fraction", "1,1", CodeKind::Nothing);
        row("signs of the typewriter", "№-/", CodeKind::Nothing);
        row("id", " 0011 ", CodeKind::Product, 11);
        row("foreign digits", "١١", CodeKind::Product, 11);
        row("id of no product", "99", CodeKind::NotFound);
        row("eight digits are a code", "00000011", CodeKind::NotFound);
        row("id too large", "4294967296", CodeKind::NotFound);
        row("barcode", "4006381333931", CodeKind::Product, 11);
        row("pack", "4006381333948", CodeKind::Product, 12, 12);
        row("scanner's signs around it",
            QChar(0x02) + QString("4006381") + QChar(0x1D) + QString("333948") + QChar(0) +
                "\r\n\t",
            CodeKind::Product, 12, 12);
        row("russian layout", "ФИс-1234.ч", CodeKind::Product, 11);
        row("stored as it stands", "ЙЦУК-0001", CodeKind::Product, 12, 3);
        row("typewriter digit row", "\"%%,/_№///?/№", CodeKind::Product, 11);
        row("300 characters", QString(300, u'5'), CodeKind::Product, 12, 2.5);
        row("quotes and backslashes", "it's \\ `a`%", CodeKind::Product, 11);
        row("injection", "x' OR '1'='1", CodeKind::NotFound);
        row("backslash before the quote", "xxxxxxx\\' OR 1=1;--", CodeKind::NotFound);
        row("staged code", "4006381333955", CodeKind::NotFound);
    }

    void text_meansAProduct()
    {
        QFETCH(QString, text);
        const CodeResult result = lookUpCode(nullptr, text);
        QTEST(result.kind, "kind");
        QTEST(result.wareid, "wareid");
        QTEST(result.packQuantity, "pack");
    }

    void packQuantity_isNeverLost()
    {
        for (const auto &[stored, expected] :
             {std::pair("NULL", 1.0), {"0", 1.0}, {"-3", 1.0}, {"0.125", 0.125}}) {
            rows(
                QString("UPDATE codes SET packquantity=%1 WHERE code='4006381333948'").arg(stored));
            QCOMPARE(lookUpCode(nullptr, "4006381333948").packQuantity, expected);
        }
    }

    void referenceQuestion_isAskedWhereItHelps_data()
    {
        addColumns<QString, bool, bool>("text", "connected", "asked");
        addRow("unknown code", "4600000000015", true, true);
        addRow("no reference database", "4600000000015", false, false);
        addRow("in-store code", "2000000000008", true, false);
        addRow("in-store code, typewriter", "-%%%%%%%%%%%_", true, false);
        addRow("id", "99", true, false);
    }

    void referenceQuestion_isAskedWhereItHelps()
    {
        const auto [text, connected, asked] = rowValues<QString, bool, bool>();
        if (connected)
            openReference();
        if (asked)
            m_boxes->answer("Нет");
        QVERIFY(lookUpReferenceCode(nullptr, text).kind != CodeKind::Product);
        QCOMPARE(m_boxes->lastText(),
                 asked ? "Код не найден. Поискать в справочной базе данных?" : "");
        if (asked)
            QCOMPARE(m_boxes->requests().first().escapeButton, 1);
    }

    void referenceCode_leadsToTheLocalProduct_data()
    {
        addColumns<QString, QString, int, CodeKind, bool>("localWuid", "referenceWuid", "enabled",
                                                          "kind", "offered");
        addRow("same identifier", "'u''1'", "'u''1'", 1, CodeKind::Product, false);
        addRow("other identifier", "'u2'", "'u1'", 1, CodeKind::NotFound, true);
        addRow("empty identifiers", "''", "''", 1, CodeKind::NotFound, true);
        addRow("no identifiers", "NULL", "NULL", 1, CodeKind::NotFound, true);
        addRow("disabled there", "'u1'", "'u1'", 0, CodeKind::NotFound, false);
    }

    void referenceCode_leadsToTheLocalProduct()
    {
        const auto [localWuid, referenceWuid, enabled, kind, offered] =
            rowValues<QString, QString, int, CodeKind, bool>();
        openReference();
        shop::addProduct({.id = 501, .name = shop::nastyName, .enabled = enabled},
                         friendConnection);
        shop::addCode(501, "4600000000015", 6, friendConnection);
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET wuid=" + referenceWuid, friendConnection));
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET wuid=" + localWuid + " WHERE id='12'"));

        m_boxes->answer("Да");
        DialogSteps steps;
        if (offered)
            steps.whenOpen<WareDialog>([](WareDialog &card) {
                QCOMPARE(child<QLineEdit>(card, "nameLineEdit")->text(), shop::nastyName);
            });
        const CodeResult result = lookUpReferenceCode(nullptr, "4600000000015");
        QCOMPARE(result.kind, kind);
        if (kind == CodeKind::Product)
            QVERIFY(result.wareid == 12 && result.packQuantity == 6);
        QVERIFY(steps.allServed());
        QCOMPARE(rows("SELECT COUNT(*) FROM codes WHERE wareid!=0"), "7");
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse"), "2");
    }

    void referenceProduct_isCopiedThroughItsCard()
    {
        openReference();
        shop::addProduct({.id = 501, .name = shop::nastyName, .outcost = 70}, friendConnection);
        shop::addCode(501, "4600000000015", 6, friendConnection);
        shop::addCode(501, "4006381333948", 1, friendConnection); // of product 12 here
        for (const char *statement :
             {"INSERT INTO units(id,name) VALUES(77,'кг')",
              "INSERT INTO `groups`(id,name) VALUES(5,'О''Чай')",
              "UPDATE warehouse SET wuid='u1', unitid=77, groupid=5, currency='GBP', incost=2.5",
              "INSERT INTO currencies(c_code,value) VALUES('GBP',100)"})
            QVERIFY(QueryExec(nullptr, statement, friendConnection));
        QVERIFY(QueryExec(nullptr, "INSERT INTO `groups`(id,name) VALUES(9,'О''Чай')"));
        m_boxes->answer("Да");
        m_boxes->answer("OK");
        DialogSteps steps;
        steps.whenOpen<WareDialog>([](WareDialog &card) {
            type(card, "articleLineEdit", "2");
            click(card, "okPushButton");
        });
        const CodeResult result = lookUpReferenceCode(nullptr, "4600000000015");
        QVERIFY(m_boxes->lastText().contains("4006381333948"));
        QVERIFY(result.kind == CodeKind::Product && result.packQuantity == 6);
        QCOMPARE(rows("SELECT wuid, name, groupid, currency, incost, outcost FROM warehouse WHERE "
                      "id=" +
                      QString::number(result.wareid))
                     .remove(".0"),
                 "u1\t" + shop::nastyName + "\t9\tRUB\t250\t70");
        QCOMPARE(rows("SELECT units.name FROM warehouse LEFT JOIN units ON units.id=unitid WHERE "
                      "wuid='u1'"),
                 "кг");
        QVERIFY(QueryExec(nullptr, "DELETE FROM units WHERE id=77", friendConnection));
        QVERIFY(QueryExec(nullptr, "DELETE FROM currencies WHERE c_code='GBP'", friendConnection));
    }

    void failedStatement_isReported()
    {
        breakStatements("SELECT");
        QCOMPARE(lookUpCode(nullptr, "4006381333931").kind, CodeKind::Failed);
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 11, .name = shop::nastyName});
        shop::addProduct({.id = 12});
        shop::addCode(11, "4006381333931");
        shop::addCode(12, "4006381333948", 12);
        shop::addCode(11, "ABc-1234/x");
        shop::addCode(11, "it's \\ `a`%");
        shop::addCode(12, QString(300, u'5'), 2.5);
        shop::addCode(12, "ЙЦУК-0001", 3);
        shop::addCode(0, "4006381333955");  // staged for a product card
        shop::addCode(99, "4006381333962"); // its product was deleted
    }
};

QTEST_MAIN(TestCodeLookup)
#include "tst_codelookup.moc"
