// What the entry of a product proposes and writes. Units may neither be doubled nor lost, whatever
// other stations and the connection do meanwhile.

#include "db/session.h"
#include "db/sqltext.h"
#include "income/posting.h"
#include "income/receiptline.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"
#include "tests/support/files.h"

#include <QWidget>

class TestReceiptLine : public DatabaseTest
{
    Q_OBJECT

private slots:
    void newLine_isProposedInTheMainCurrency()
    {
        shop::addProduct({.id = 12, .incost = 2.5, .outcost = 300, .currency = "USD"});
        QVERIFY(QueryExec(nullptr,
                          "UPDATE warehouse SET inoutratio='1.5', expiretime='2027-02-28', "
                          "unitid='2' WHERE id='12'"));
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 12, .addedQuantity = 24}));
        QVERIFY(!entry.line());
        QCOMPARE(entry.proposedIncost(), 225.0);
        QCOMPARE(entry.proposedInoutratio(), 1.5);
        QCOMPARE(entry.proposedOutcost(), 300.0);
        QCOMPARE(entry.product().expiretime, "2027-02-28");
        QCOMPARE(entry.product().unit, "кг");
        QCOMPARE(entry.product().decimals, 3);

        ReceiptEntry nasty;
        QVERIFY(load(nasty, {.wareid = 11}));
        QCOMPARE(nasty.product().name, shop::nastyName);
        QCOMPARE(nasty.product().article, "А'1");
        QCOMPARE(nasty.product().quantity, 4.0);
        QCOMPARE(nasty.product().decimals, 0);

        // Without a unit anything may be weighed; without numbers all is 0.
        QVERIFY(QueryExec(nullptr, "INSERT INTO warehouse(id,name) VALUES('13','Голый')"));
        ReceiptEntry bare;
        QVERIFY(load(bare, {.wareid = 13}));
        QCOMPARE(bare.product().decimals, 3);
        QCOMPARE(bare.proposedIncost(), 0.0);
        QCOMPARE(bare.product().expiretime, "");
    }

    void existingLine_isProposedWithItsOwnPrices()
    {
        shop::addLine({.wareId = 11, .quantity = 5, .incost = 7, .outcost = 15, .inoutratio = 2});
        shop::addLine({.wareId = 11, .quantity = 0.5, .incost = 7, .outcost = 15});
        const qulonglong second = rows("SELECT MAX(id) FROM incomeinvoice").toULongLong();

        ReceiptEntry scanned;
        QVERIFY(load(scanned, {.wareid = 11, .addedQuantity = 12}));
        QCOMPARE(scanned.line()->quantity, 5.0);
        QCOMPARE(scanned.proposedQuantity(), 17.0);
        QCOMPARE(scanned.otherLinesQuantity(), 0.5);
        QCOMPARE(scanned.proposedIncost(), 7.0);
        QCOMPARE(scanned.proposedInoutratio(), 2.0);
        QCOMPARE(scanned.proposedOutcost(), 15.0);

        ReceiptEntry edited;
        QVERIFY(
            load(edited, {.wareid = 11, .addedQuantity = 12, .lineId = second, .editLine = true}));
        QCOMPARE(edited.proposedQuantity(), 0.5);
        QCOMPARE(edited.otherLinesQuantity(), 5.0);
        QCOMPARE(edited.load(nullptr, {.wareid = 11, .lineId = 77, .editLine = true}),
                 LoadState::NotFound);
    }

    void everything_isWritten()
    {
        ReceiptEntry fresh;
        QVERIFY(load(fresh, {.wareid = 11}));
        QCOMPARE(fresh.save(nullptr, {.quantity = 1.5,
                                      .incost = 10,
                                      .inoutratio = 2,
                                      .outcost = 20,
                                      .expiretime = "2027-02-28",
                                      .audited = true}),
                 SaveState::Saved);
        const QString stamped = " LIKE '20__-__-__ __:__:__'";
        QCOMPARE(rows("SELECT wareid FROM incomeinvoice WHERE incost=10 AND inoutratio=2 AND "
                      "outcost=20 AND quantity=1.5 AND userid=3 AND timestamp" +
                      stamped),
                 "11");
        QCOMPARE(rows("SELECT expiretime FROM warehouse WHERE latime" + stamped), "2027-02-28");

        // The other lines of a product get its prices, but not its quantity.
        shop::addLine({.wareId = 11, .quantity = 2});
        shop::addLine({.wareId = 12, .quantity = 3});
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11}));
        QCOMPARE(entry.save(nullptr, {.quantity = -6, .incost = 11, .outcost = 33.25}),
                 SaveState::Saved);
        QCOMPARE(quantities(), "-6 2 3");
        QCOMPARE(rows("SELECT wareid FROM incomeinvoice WHERE incost=11 AND inoutratio=0 AND "
                      "outcost=33.25 AND userid=3 AND timestamp<>'2026-01-02 03:04:05'"),
                 "11\n11");
    }

    void amounts_arriveWhole()
    {
        for (const double amount : {1234567.89, 0.125, 0.000001, 123456789012.0}) {
            ReceiptEntry entry;
            QVERIFY(load(entry, {.wareid = 11}));
            QCOMPARE(entry.save(nullptr, {.quantity = amount, .incost = amount, .outcost = amount}),
                     SaveState::Saved);
            // PostgreSQL's REAL has four bytes.
            const QString expected = "CAST(" + sql::text(sql::exact(amount)) + " AS " +
                                     (m_dialect == Dialect::MySql ? "DOUBLE" : "REAL") + ")";
            QCOMPARE(rows("SELECT wareid FROM incomeinvoice WHERE quantity=" + expected +
                          " AND incost=" + expected + " AND outcost=" + expected),
                     "11");
        }
    }

    void otherStation_neverDoublesOrLosesUnits_data()
    {
        // before: in the line when the entry is opened
        // typed: the quantity accepted
        // after: quantities of the lines
        // proposed: where the entry goes on
        addColumns<double, double, QString, SaveState, QString, double>(
            "before", "typed", "meanwhile", "state", "after", "proposed");
        const QString deleted = "DELETE FROM incomeinvoice";
        addRow("more scanned there", 5.0, 17.0, "UPDATE incomeinvoice SET quantity='8'",
               SaveState::Changed, "8", 20.0);
        addRow("one more of very many", 5e6, 5000010.0,
               "UPDATE incomeinvoice SET quantity='5000001'", SaveState::Changed, "5000001",
               5000011.0);
        addRow("posted, units added", 5.0, 17.0, deleted, SaveState::Saved, "12", 0.0);
        addRow("posted, less typed", 5.0, 3.0, deleted, SaveState::Changed, "", 0.0);
        addRow("posted, begun anew there", 5.0, 17.0,
               "UPDATE incomeinvoice SET id='50', quantity='2'", SaveState::Changed, "2", 14.0);
        addRow("binary fractions", 0.1, 0.3, deleted, SaveState::Saved, "0.2", 0.0);
    }

    void otherStation_neverDoublesOrLosesUnits()
    {
        const auto [before, typed, meanwhile, state, after, proposed] =
            rowValues<double, double, QString, SaveState, QString, double>();
        shop::addLine({.wareId = 11, .quantity = before});
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = typed - before}));
        QVERIFY(m_database->open(otherStation));
        QVERIFY(QueryExec(nullptr, meanwhile, otherStation));

        m_boxes->answer("OK");
        QCOMPARE(save(entry, typed), state);
        QCOMPARE(quantities(), after);
        if (state != SaveState::Changed)
            return;
        QCOMPARE(entry.proposedQuantity(), proposed);
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice WHERE userid=3"), "0");
        if (proposed == 0)
            return;
        QCOMPARE(save(entry, proposed), SaveState::Saved);
        QCOMPARE(quantities(), sql::exact(proposed));
    }

    void otherStation_waitsBetweenLookAndWrite()
    {
        shop::addLine({.wareId = 11, .quantity = 5});
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = 12}));
        QSqlQuery other = impatientStation();
        QList<bool> allowed;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            if (sqlText.startsWith("UPDATE incomeinvoice SET quantity"))
                allowed = {other.exec("DELETE FROM incomeinvoice"),
                           other.exec("UPDATE incomeinvoice SET quantity='8'")};
        });
        QCOMPARE(save(entry, 17), SaveState::Saved);
        QCOMPARE(allowed, QList<bool>({false, false}));
        QCOMPARE(quantities(), "17");
        QVERIFY(other.exec("DELETE FROM incomeinvoice"));
    }

    void thrownOutTransaction_isBegunAnew()
    {
        shop::addLine({.wareId = 11, .quantity = 5});
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = 12}));
        int tries = 0;
        setStatementObserver([&](QString &sqlText, const QString &) {
            if (!sqlText.startsWith("UPDATE incomeinvoice SET quantity") || ++tries == 3)
                return;
            if (tries == 1)
                sqlText = "SELECT nonsense FROM nowhere";
            else if (m_dialect != Dialect::Sqlite)
                TestServers::instance().killClients(m_dialect);
            else
                sqlText = "ROLLBACK";
        });
        QCOMPARE(save(entry, 17), SaveState::Saved);
        QCOMPARE(tries, 3);
        QCOMPARE(quantities(), "17");

        // At last it is given up, and the user is told; a later try starts from what is there. A
        // quantity without its prices is no half of an entry.
        for (const char *statement :
             {"UPDATE incomeinvoice SET quantity", "UPDATE incomeinvoice SET incost"}) {
            breakStatements(statement);
            m_boxes->answer("OK");
            QCOMPARE(save(entry, 18), SaveState::Failed);
            QVERIFY(m_boxes->lastText().startsWith("Ошибка SQL:"));
            QCOMPARE(quantities(), "17");
        }
        setStatementObserver({});
        QCOMPARE(save(entry, 18), SaveState::Saved);
        QCOMPARE(quantities(), "18");
    }

    void lostCommit_isLookedUp_data()
    {
        // before: in the line; 0: a new one is written. Twelve units are added
        // gone: the server stays away until the user has given up and saves one unit more
        // meanwhile: there, before the station looks
        addColumns<CuttingProxy::Cut, double, bool, QString, SaveState, QString>(
            "cut", "before", "gone", "meanwhile", "state", "after");
        const auto answer = CuttingProxy::Cut::Answer;
        const auto request = CuttingProxy::Cut::Request;
        const QString deleted = "DELETE FROM incomeinvoice";
        const QString handled = ", userid='9', timestamp='2026-12-31 00:00:00'";
        for (const double before : {0.0, 5.0}) {
            const auto add = [before](const char *name, auto... values) {
                addRow(qPrintable(QString(before == 0 ? "new line: " : "line: ") + name),
                       values...);
            };
            const QString saved = sql::exact(before + 12);
            const QString more = sql::exact(before + 13);
            add("reply lost", answer, before, false, QString(), SaveState::Saved, saved);
            add("request lost", request, before, false, QString(), SaveState::Saved, saved);
            add("reply lost, gone", answer, before, true, QString(), SaveState::Saved, more);
            add("request lost, gone", request, before, true, QString(), SaveState::Saved, more);
            add("added to there", answer, before, true,
                "UPDATE incomeinvoice SET quantity='15'" + handled, SaveState::InDoubt,
                QString("15"));
            add("posted there", answer, before, true, QString("post"), SaveState::InDoubt,
                QString());
        }
        addRow("line: changed at once", answer, 5.0, false,
               QString("UPDATE incomeinvoice SET quantity='8'"), SaveState::InDoubt, QString("8"));
        addRow("line: deleted at once", request, 5.0, false, deleted, SaveState::InDoubt,
               QString());
        addRow("new line: deleted there", answer, 0.0, true, deleted, SaveState::Saved,
               QString("13"));
        addRow("new line: priced there", answer, 0.0, true,
               "UPDATE incomeinvoice SET outcost='99'" + handled, SaveState::InDoubt,
               QString("12"));
        addRow("new line: begun there", request, 0.0, true,
               QString("INSERT INTO incomeinvoice(wareid,quantity,userid) VALUES('11','12','9')"),
               SaveState::InDoubt, QString("12"));
        addRow("new line: another product posted there", request, 0.0, true,
               QString("INSERT INTO income(wareid,quantity) VALUES('12','12')"), SaveState::Saved,
               QString("13"));
    }

    void lostCommit_isLookedUp()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        const auto [cut, before, gone, meanwhile, state, after] =
            rowValues<CuttingProxy::Cut, double, bool, QString, SaveState, QString>();
        if (before > 0)
            shop::addLine({.wareId = 11, .quantity = before});
        CuttingProxy proxy(TestServers::instance().port(m_dialect));
        QVERIFY(openThrough(proxy.port()));
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = 12}));
        proxy.cutNext(cut, "COMMIT", gone);
        if (gone) {
            m_boxes->answer("Отмена"); // reconnect?
            QCOMPARE(save(entry, before + 12, 20, &m_window), SaveState::Failed);
            QVERIFY(entry.isInDoubt());
            proxy.setRefusing(false);
        }
        setStatementObserver(
            [&, begins = int(gone)](const QString &sqlText, const QString &connection) mutable {
                if (connection != mainConnection || sqlText != "BEGIN" || ++begins != 2)
                    return;
                if (meanwhile == "post")
                    ReceiptPosting(nullptr, otherStation).post(PaymentType::Cash, {});
                else if (!meanwhile.isEmpty())
                    rows(meanwhile);
            });
        QVERIFY(m_database->open(otherStation));
        if (state == SaveState::InDoubt)
            m_boxes->answer("OK");
        QCOMPARE(save(entry, before + (gone ? 13 : 12), 20, &m_window), state);
        QVERIFY(proxy.hasCut());
        QVERIFY(!entry.isInDoubt());
        QCOMPARE(quantities(), after);
        if (state == SaveState::InDoubt) {
            QVERIFY(m_boxes->lastText().contains("Неизвестно"));
            QCOMPARE(entry.proposedQuantity(), after.toDouble()); // nothing behind one's back
            // The user has looked and decides.
            QCOMPARE(save(entry, 16), SaveState::Saved);
            QCOMPARE(quantities(), "16");
        }
    }

    /// One begun as a change of a line that is gone.
    void failedNewLine_canBeSavedAgain()
    {
        shop::addLine({.wareId = 11, .quantity = 5});
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = 12}));
        rows("DELETE FROM incomeinvoice");
        breakStatements("INSERT INTO incomeinvoice");
        m_boxes->answer("OK");
        QCOMPARE(save(entry, 17, 25), SaveState::Failed);
        breakStatements("UPDATE incomeinvoice SET incost");
        m_boxes->answer("OK");
        QCOMPARE(save(entry, 17, 25), SaveState::Failed);
        QCOMPARE(quantities(), "");
        setStatementObserver({});
        m_boxes->answer("OK"); // what became of the line
        QCOMPARE(save(entry, 17, 25), SaveState::Saved);
        QCOMPARE(quantities(), "12");
        QCOMPARE(rows("SELECT wareid FROM incomeinvoice WHERE outcost=25"), "11");
    }

    void pricesOfAnotherStation_stay()
    {
        shop::addLine({.wareId = 11, .quantity = 5, .incost = 10, .outcost = 20});
        const auto changeThere = [this] {
            rows("UPDATE incomeinvoice SET outcost='30'; "
                 "UPDATE warehouse SET expiretime='2027-01-01' WHERE id='11';");
        };
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = 1}));
        changeThere();
        // What the user sees, what the line keeps and what is passed on is one price.
        m_boxes->answer("OK");
        QCOMPARE(save(entry, 6), SaveState::Changed);
        QVERIFY(m_boxes->lastText().contains("была 20, стала 30"));
        QCOMPARE(entry.proposedOutcost(), 30.0);
        QCOMPARE(save(entry, 6, 30), SaveState::Saved);
        QCOMPARE(quantities(), "6");
        QCOMPARE(rows("SELECT outcost FROM incomeinvoice").toDouble(), 30.0);
        QCOMPARE(rows("SELECT expiretime FROM warehouse"), "2027-01-01");

        // What the user has typed wins.
        rows("UPDATE incomeinvoice SET outcost='20'; UPDATE warehouse SET expiretime='';");
        QVERIFY(load(entry, {.wareid = 11, .addedQuantity = 1}));
        changeThere();
        QCOMPARE(save(entry, 7, 25), SaveState::Saved);
        QCOMPARE(quantities(), "7");
        QCOMPARE(rows("SELECT outcost FROM incomeinvoice").toDouble(), 25.0);
    }

    void audit_needsItsRight()
    {
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11}));
        QCOMPARE(save(entry, 1), SaveState::Saved); // without the tick
        shop::logIn({.id = 3, .login = "a", .name = "A", .rights = 1023 & ~int(Right::AuditStock)});
        m_boxes->answer("OK");
        QVERIFY(load(entry, {.wareid = 11}));
        QCOMPARE(entry.save(nullptr, {.quantity = 2, .audited = true}), SaveState::Saved);
        QCOMPARE(rows("SELECT id FROM warehouse WHERE latime<>''"), "");
        QCOMPARE(quantities(), "2");
        QCOMPARE(m_boxes->lastText(), "У Вас недостаточно прав для проверки.");
    }

    void referencePrice_isPassedOn_data()
    {
        addColumns<QString, double, bool, QString, QString>("wuid", "stock", "wanted", "outcost",
                                                            "mark");
        addRow("on the shelf", "u'1", 2.0, true, "25.5", "501");
        addRow("not in stock", "u'1", 0.0, true, "25.5", "");
        addRow("not wanted", "u'1", 2.0, false, "20", "");
        addRow("empty identifier", "", 2.0, true, "20", "");
    }

    void referencePrice_isPassedOn()
    {
        const auto [wuid, stock, wanted] = rowValues<QString, double, bool>();
        const ScratchDatabase &reference = openReference();
        reference.client("INSERT INTO changeoutcostinfo(wareid,ctime) VALUES(501,'old')");
        shop::addProduct({.id = 501, .stock = stock}, friendConnection);
        const QString identify = "UPDATE warehouse SET wuid=" + sql::text(wuid);
        QVERIFY(QueryExec(nullptr, identify, friendConnection) && QueryExec(nullptr, identify));
        ReceiptEntry entry;
        QVERIFY(load(entry, {.wareid = 11}));
        QCOMPARE(entry.save(nullptr, {.quantity = 1, .outcost = 25.5, .passToReference = wanted}),
                 SaveState::Saved);
        QTEST(reference.client("SELECT outcost FROM warehouse WHERE id=501").remove(".0"),
              "outcost");
        QTEST(reference.client("SELECT wareid FROM changeoutcostinfo WHERE ctime LIKE '20%'"),
              "mark");
        QCOMPARE(reference.client("SELECT COUNT(*) FROM changeoutcostinfo"), "1");
        QCOMPARE(logText().contains("справочной базе данных, наименование № 501"),
                 wanted && !wuid.isEmpty());
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 11, .name = shop::nastyName, .stock = 4, .article = "А'1"});
    }

    /// The quantities of all lines, as the database's own client sees them.
    QString quantities() const
    {
        QStringList texts;
        for (const QString &text :
             rows("SELECT quantity FROM incomeinvoice ORDER BY id").split('\n'))
            texts += text.isEmpty() ? QString() : sql::exact(text.toDouble());
        return texts.join(' ');
    }
    static SaveState save(ReceiptEntry &entry, double quantity, double outcost = 20,
                          QWidget *window = nullptr)
    {
        return entry.save(window, {.quantity = quantity, .incost = 10, .outcost = outcost});
    }
    bool load(ReceiptEntry &entry, const ReceiptRequest &request)
    {
        return entry.load(nullptr, request) == LoadState::Loaded;
    }

    QWidget m_window;
};

QTEST_MAIN(TestReceiptLine)
#include "tst_receiptline.moc"
