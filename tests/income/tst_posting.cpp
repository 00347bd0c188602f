// Posting is all or nothing, and what is deleted from the working list is what was posted, on each
// of the three databases, whatever other stations do meanwhile.
#include "app/settings.h"
#include "db/session.h"
#include "income/customeralerts.h"
#include "sms/sendsmsdialog.h"
#include "tests/support/databasetest.h"

class TestPosting : public DatabaseTest
{
    Q_OBJECT

private slots:
    void posting_writesEverythingAndEmptiesTheList()
    {
        shop::addProduct({.id = 11, .name = "О'Нил \\ `x` %1 <b>", .stock = 4, .outcost = 20});
        shop::addProduct({.id = 12, .stock = 0, .outcost = 20});
        shop::addProduct({.id = 13, .stock = 9, .incost = 1, .outcost = 50, .currency = "USD"});
        QVERIFY(QueryExec(nullptr, "INSERT INTO articles(wareid,name,orderquantity) "
                                   "VALUES('11','a','5'),('99','b','5')"));
        QVERIFY(QueryExec(nullptr, "INSERT INTO cart(wareid,outcost) VALUES('11','1'),('99','1')"));
        shop::addLine(
            {.wareId = 11, .quantity = 2.5, .incost = 10, .outcost = 25, .inoutratio = 2});
        shop::addLine({.wareId = 12, .quantity = 3, .incost = 7, .outcost = 30, .userId = 6});
        shop::addLine({.wareId = 13, .quantity = -2, .incost = 180, .outcost = 50.00005});

        QList<int> progress;
        PostingCallbacks callbacks;
        callbacks.started = callbacks.progress = [&](int lines) {
            progress += lines;
        };
        const PostingResult result =
            ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cashless, callbacks);

        QCOMPARE(result.outcome, PostingOutcome::Posted);
        QCOMPARE(result.reportId, 1ULL);
        QCOMPARE(progress, QList<int>({3, 0, 1, 2}));
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice"), "0");
        QCOMPARE(
            rows("SELECT wareid FROM income WHERE reportid=1 AND timestamp='2026-01-02 03:04:05' "
                 "ORDER BY wareid"),
            "11\n12\n13");
        QCOMPARE(rows("SELECT userid FROM income ORDER BY wareid"), "5\n6\n5");
        QCOMPARE(
            rows("SELECT id FROM incomereports WHERE total=-314 AND payment_type=4 AND userid=3"),
            "1");
        QCOMPARE(rows("SELECT id FROM warehouse WHERE (id=11 AND quantity=6.5 AND incost=10 AND "
                      "outcost=25 AND inoutratio=2) OR (id=12 AND quantity=3 AND incost=7 AND "
                      "outcost=30) OR (id=13 AND quantity=7 AND incost=2) ORDER BY id"),
                 "11\n12\n13");
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE orderquantity=0"), "3");
        QCOMPARE(rows("SELECT wareid FROM articles WHERE orderquantity=0"), "11");
        QCOMPARE(rows("SELECT wareid FROM cart WHERE outcost=25"), "11");
        // New labels only for goods that stood on the shelf with another price.
        QCOMPARE(rows("SELECT wareid FROM changeoutcostinfo"), "11");
    }

    void customers_areToldOnceAndHoldNobodyUp()
    {
        QVERIFY(m_database->open(otherStation));
        shop::addProduct({.id = 11, .name = "Чайник \"Искра\" %1"});
        shop::addProduct({.id = 12, .stock = -5});
        shop::addProduct({.id = 13, .stock = 5});
        for (const int line : {11, 11, 12, 13})
            shop::addLine({.wareId = qulonglong(line), .quantity = line == 13 ? -1.0 : 2.0});
        for (const char *phone : {"111", "333", "bad", "late"})
            shop::addAlert(11, phone);
        shop::addAlert(12, "222");
        shop::addAlert(13, "444");
        const QList<DueAlert> due = post().due;
        QCOMPARE(due.size(), 4);
        // By another station: the options of this one are older.
        m_database->client(
            "UPDATE options SET value='Есть <PRODUCT>, <PRODUCT>!' WHERE name='SMS_ONSALE_TEXT'");

        QStringList sent;
        AlertCallbacks callbacks;
        callbacks.send = [&](const QString &phone, const QString &text, SmsRun &run) {
            sent += phone + '|' + text;
            run.over = phone == "bad"; // as a silent gateway
            run.reason = run.over ? "нет ответа" : "";
            if (sent.size() == 1) {
                shop::addLine({.wareId = 12}, otherStation); // would fail behind a lock
                m_database->client("DELETE FROM alerts WHERE phone='333'");
            }
            return !run.over;
        };
        CustomerAlerts alerts;
        QVERIFY(alerts.tell(due, callbacks).text().isEmpty()); // no gateway
        Settings::instance().setValue(SettingsKey::SmsGateHost, "sms.example");
        breakStatements("DELETE FROM alerts");
        const AlertReport report = alerts.tell(due, callbacks);
        setStatementObserver({});
        QVERIFY2(report.text().startsWith("Покупателей оповещено по СМС: 1, не оповещено: 2."),
                 qPrintable(report.text()));
        QVERIFY2(report.text().endsWith("\nнет ответа (покупателей: 2)"),
                 qPrintable(report.text()));
        QCOMPARE(alerts.tell(due, callbacks).told, 0);
        Settings::instance().reset();
        const QString text = "|Есть Чайник \"Искра\" %1, Чайник \"Искра\" %1!";
        QCOMPARE(sent, QStringList({"111" + text, "bad" + text, "bad" + text}));
        QCOMPARE(rows("SELECT phone FROM alerts ORDER BY id"), "bad\nlate\n222\n444");
    }

    void question_namesSumsWithoutDust()
    {
        shop::addProduct({.id = 11});
        shop::addLine({.wareId = 11, .quantity = 3, .incost = 0.335, .outcost = 0});
        shop::addLine({.wareId = 11, .quantity = 0.2, .incost = 1, .outcost = 0.9});
        shop::addLine({.wareId = 11, .quantity = 1, .incost = 5, .outcost = 5});
        QCOMPARE(ReceiptPosting(nullptr, mainConnection).look()->text(),
                 "Строк: 3, единиц: 4.2\nПриходная сумма: 6.21\nРасходная сумма: 5.18\n"
                 "Строк с расходной ценой 0 или ниже приходной: 2");
    }

    void posting_refusesWhatItCannotPost()
    {
        shop::addProduct({.id = 11});
        QCOMPARE(post().outcome, PostingOutcome::EmptyList);

        shop::addLine({.wareId = 11});
        shop::addLine({.wareId = 11, .quantity = 0});
        const QString withZero = everything();
        const PostingResult result = post();
        QCOMPARE(result.outcome, PostingOutcome::ZeroQuantity);
        QCOMPARE(result.message, "В накладной имеются позиции с нулевым количеством.");
        QCOMPARE(everything(), withZero);
        QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET quantity=NULL WHERE quantity='0'"));
        QCOMPARE(post().outcome, PostingOutcome::ZeroQuantity);
    }

    void posting_keepsAmountsWhole()
    {
        shop::addProduct({.id = 11});
        shop::addProduct({.id = 12});
        shop::addLine({.wareId = 11, .quantity = 0.125, .incost = 8, .outcost = 1234567.89});
        shop::addLine({.wareId = 12, .quantity = 1, .incost = 1234567.89, .outcost = 0.01});
        const PostingResult result = post();
        QCOMPARE(result.outcome, PostingOutcome::Posted);
        const double tolerance = m_dialect == Dialect::PostgreSql ? 1 : 1e-6;
        QVERIFY(qAbs(rows("SELECT total FROM incomereports").toDouble() - 1234568.89) < tolerance);
        QVERIFY(qAbs(rows("SELECT outcost FROM warehouse WHERE id=11").toDouble() - 1234567.89) <
                tolerance);
        QCOMPARE(rows("SELECT quantity FROM warehouse WHERE id=11"), "0.125");
        QCOMPARE(rows("SELECT quantity FROM income WHERE wareid=11"), "0.125");
    }

    void posting_stopsWhenTheListHasChanged_data()
    {
        // statement: before which the change comes; empty: while the user is asked
        addColumns<QString, QString>("change", "statement");
        const QString added =
            "INSERT INTO incomeinvoice(wareid,quantity,incost,outcost) VALUES('12','1','1','1')";
        addRow("line added", added, "BEGIN");
        addRow("line deleted", "DELETE FROM incomeinvoice WHERE wareid='11'", "");
        addRow("quantity", "UPDATE incomeinvoice SET quantity='9' WHERE wareid='12'", "");
        addRow("price", "UPDATE incomeinvoice SET outcost='9' WHERE wareid='12'", "BEGIN");
        addRow("posted by another", "post", "BEGIN");
        addRow("posted before it is read", "DELETE FROM incomeinvoice",
               "SELECT wareid, incomeinvoice");
    }

    void posting_stopsWhenTheListHasChanged()
    {
        const auto [change, statement] = rowValues<QString, QString>();
        shop::addProduct({.id = 11});
        shop::addProduct({.id = 12});
        shop::addLine({.wareId = 11});
        shop::addLine({.wareId = 12});
        QVERIFY(m_database->open(otherStation));
        ReceiptPosting posting(nullptr, mainConnection);
        QVERIFY(posting.look());
        QVERIFY(!posting.hasChanged());
        QString before;
        const auto changeOnce = [&, change = change] {
            if (!before.isEmpty())
                return;
            before = "being changed";
            if (change == "post")
                QCOMPARE(ReceiptPosting(nullptr, otherStation).post(PaymentType::Cash, {}).outcome,
                         PostingOutcome::Posted);
            else
                rows(change);
            before = everything();
        };
        setStatementObserver([&, statement = statement](QString &sqlText, const QString &) {
            if (sqlText.startsWith(statement))
                changeOnce();
        });
        if (statement.isEmpty())
            changeOnce();
        QCOMPARE(posting.hasChanged(), statement.isEmpty());
        const PostingResult result = posting.post(PaymentType::Cash, {});
        setStatementObserver({});
        QCOMPARE(result.outcome, PostingOutcome::ListChanged);
        QVERIFY(!result.message.isEmpty());
        QCOMPARE(everything(), before);
    }

    void posting_keepsLinesThatOthersAddMeanwhile()
    {
        QSqlQuery other = impatientStation();
        for (const qulonglong id : {11, 12, 13})
            shop::addProduct({.id = id});
        shop::addLine({.wareId = 11});
        shop::addLine({.wareId = 12});
        bool added = true;
        PostingCallbacks callbacks;
        callbacks.progress = [&](int done) {
            if (done != 1)
                return;
            added = other.exec("INSERT INTO incomeinvoice(wareid,quantity,incost,outcost) "
                               "VALUES('13','1','1','1')");
        };
        QCOMPARE(post(callbacks).outcome, PostingOutcome::Posted);
        QVERIFY(!added); // it had to wait for the posting and gave up
        shop::addLine({.wareId = 13}, otherStation);
        QCOMPARE(rows("SELECT wareid FROM incomeinvoice"), "13");
        QCOMPARE(rows("SELECT wareid FROM income ORDER BY wareid"), "11\n12");
    }

    void rates_areThoseOfTheDatabase()
    {
        const auto setRate = [this](const QString &rate) {
            rows("UPDATE currencies SET value='" + rate + "' WHERE c_code='EUR'");
        };
        setRate("90");
        QVERIFY(Session::instance().loadCurrencies(mainConnection));
        shop::addProduct({.id = 11});
        shop::addProduct({.id = 12, .currency = "EUR"});
        shop::addLine({.wareId = 12, .incost = 900});
        setRate("100"); // by another workstation, of which this one hears nothing
        QCOMPARE(post().outcome, PostingOutcome::Posted);
        QCOMPARE(rows("SELECT incost FROM warehouse WHERE id=12").toDouble(), 9.0);

        shop::addLine({.wareId = 11});
        shop::addLine({.wareId = 12, .incost = 700});
        const QString before = everything();
        setStatementObserver([](QString &sqlText, const QString &) {
            if (sqlText.contains("FROM currencies"))
                sqlText = "SELECT nonsense FROM nowhere";
        });
        QCOMPARE(post().outcome, PostingOutcome::Failed);
        setStatementObserver({});
        setRate("0");
        const PostingResult result = post();
        QCOMPARE(result.outcome, PostingOutcome::Failed);
        QVERIFY2(result.message.contains("«EUR»"), qPrintable(result.message));
        QCOMPARE(everything(), before);
        setRate("100");
        QCOMPARE(post().outcome, PostingOutcome::Posted);
        QCOMPARE(rows("SELECT incost FROM warehouse WHERE id=12").toDouble(), 7.0);
    }

    /// Other programs write into the shared tables too.
    void foreignRows_loseNoUnits()
    {
        shop::addProduct({.id = 11});
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET quantity=NULL"));
        shop::addLine({.wareId = 11, .quantity = 2});
        shop::addLine({.wareId = 77, .quantity = 3}); // of a product that was deleted
        const PostingResult result = post();
        QCOMPARE(result.outcome, PostingOutcome::Posted);
        QCOMPARE(rows("SELECT quantity FROM warehouse").toDouble(), 2.0);
        QCOMPARE(rows("SELECT COUNT(*) FROM income"), "2");
        QVERIFY2(result.message.endsWith(" 77"), qPrintable(result.message));
        if (m_dialect == Dialect::PostgreSql) { // the only one that knows such a number
            shop::addLine({.wareId = 11, .quantity = 2});
            QVERIFY(QueryExec(nullptr, "UPDATE incomeinvoice SET quantity='NaN'"));
            QCOMPARE(post().outcome, PostingOutcome::ZeroQuantity);
        }
    }

    void posting_movesTheSequenceOn()
    {
        rows("INSERT INTO incomereports(id,total) VALUES(500,1)");
        shop::addProduct({.id = 11});
        shop::addLine({.wareId = 11});
        QCOMPARE(post().reportId, 501ULL);
        rows("INSERT INTO incomereports(total) VALUES(1)");
        shop::addLine({.wareId = 11});
        QCOMPARE(post().reportId, 503ULL);
    }

private:
    void prepare() override
    {
        openShop();
    }

    PostingResult post(const PostingCallbacks &callbacks = {})
    {
        return ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, callbacks);
    }

    /// All that a posting may touch, as the database's own client sees it.
    QString everything() const
    {
        QString all;
        for (const char *table : {"incomeinvoice", "income", "incomereports", "warehouse",
                                  "articles", "cart", "changeoutcostinfo", "alerts"})
            all += rows(QStringLiteral("SELECT * FROM ") + QLatin1String(table) + " ORDER BY id") +
                   "\n--\n";
        return all;
    }
};

QTEST_GUILESS_MAIN(TestPosting)
#include "tst_posting.moc"
