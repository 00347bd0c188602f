// Everything that needs a right is done by somebody who has lost one right while he works.
#include "administration/optionstore.h"
#include "administration/userstore.h"
#include "catalogue/currencydialog.h"
#include "catalogue/pricerules.h"
#include "catalogue/productgroups.h"
#include "catalogue/productprices.h"
#include "catalogue/productstore.h"
#include "catalogue/simpledictionaries.h"
#include "catalogue/stagedrows.h"
#include "catalogue/waresave.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "income/linedeletion.h"
#include "income/missedcodes.h"
#include "income/posting.h"
#include "income/receiptline.h"
#include "income/receiptprices.h"
#include "widgets/dictionarystore.h"

#include "tests/support/databasetest.h"
#include "tests/support/files.h"

#include <QTest>

namespace {

struct Action
{
    QList<Command> commands; ///< what it is made of
    QString watched;         ///< a SELECT that shows that it was done
    std::function<void()> act;
};

QString told;

void addLine(bool audited)
{
    ReceiptEntry entry;
    if (entry.load(nullptr, {.wareid = 11}) == LoadState::Loaded)
        entry.save(nullptr, {.quantity = 5, .incost = 10, .outcost = 20, .audited = audited});
}

void takeBack()
{
    QList<SqlRow> rows;
    QueryRows(nullptr, Additions::linesQuery(11), rows);
    const QList<ReceiptLine> lines = Additions::linesOf(rows);
    Additions additions;
    additions.add({.wareid = 11, .after = lines, .insertedId = lines.value(0).id});
    additions.takeBack(nullptr);
}

void deleteLine()
{
    QList<SqlRow> rows;
    QueryRows(nullptr, "SELECT id FROM incomeinvoice", rows);
    deleteLines(
        nullptr,
        {{.id = rows.value(0).value(0).toULongLong(), .wareid = 11, .name = {}, .quantity = 1}});
}

void saveCard(const QString &column, const QVariant &value)
{
    WareSave save;
    save.load(nullptr, 11);
    Product product = save.given();
    setProductValue(product, column, value);
    save.save(nullptr, product);
}

void changeRate()
{
    const Dictionary currencies = CurrencyDialog::dictionary();
    QVariantMap seen;
    loadEntry(nullptr, currencies, 3, seen);
    updateEntry(nullptr, currencies, 3, {{"value", 91}}, seen);
}

void changeOption()
{
    OptionStore store;
    store.load(nullptr);
    store.save(nullptr, {{1, "Лавка"}});
}

void renameUser()
{
    UserSave save;
    save.load(nullptr, 2);
    UserRecord user = save.seen();
    user.name = "Другое имя";
    save.save(nullptr, user);
}

QList<Action> actions()
{
    const QString lines = "SELECT id,quantity FROM incomeinvoice";
    const QString prices = "SELECT outcost FROM warehouse ORDER BY id";
    const Dictionary brands = BrandsDialog::dictionary();
    using C = Command;
    return {
        {{C::EnterLines},
         lines,
         [] {
             addLine(false);
         }},
        {{C::EnterLines}, lines, takeBack},
        {{C::EnterLines, C::AuditStock},
         "SELECT latime FROM warehouse",
         [] {
             addLine(true);
         }},
        {{C::DeleteLines}, lines, deleteLine},
        {{C::PostReceipt},
         "SELECT COUNT(*) FROM incomereports",
         [] {
             told += ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {}).message;
         }},
        {{C::UpdateCosts},
         prices,
         [] {
             updateCosts(nullptr, mainConnection, {});
         }},
        {{C::ChangePrices},
         prices,
         [] {
             changePrices(nullptr, {11}, {.outcost = 99});
         }},
        {{C::ChangePrices},
         prices,
         [] {
             recalculateSellingPrices(nullptr, mainConnection, {});
         }},
        {{C::EditProducts, C::ChangePrices},
         prices,
         [] {
             saveCard("outcost", 77);
         }},
        {{C::EditProducts},
         "SELECT keywords FROM warehouse",
         [] {
             saveCard("keywords", "к");
         }},
        {{C::EditProducts},
         "SELECT wareid FROM codes",
         [] {
             bindCode(nullptr, "4607004652387", 11, 1);
         }},
        {{C::EditProducts},
         "SELECT wareid FROM codes",
         [] {
             stageCode(nullptr, "46070046");
         }},
        {{C::EditProducts},
         "SELECT groupid FROM warehouse",
         [] {
             changeGroup(nullptr, {11}, 4);
         }},
        {{C::EditDictionaries},
         "SELECT name FROM brands",
         [brands] {
             insertEntry(nullptr, brands, {{"name", "Новый"}});
         }},
        {{C::EditDictionaries},
         "SELECT name FROM brands",
         [brands] {
             deleteEntries(nullptr, brands, {1});
         }},
        {{C::EditCurrencies}, "SELECT value FROM currencies ORDER BY id", changeRate},
        {{C::ChangeOptions}, "SELECT value FROM options WHERE id=1", changeOption},
        {{C::ManageUsers}, "SELECT name FROM users ORDER BY id", renameUser},
    };
}

} // namespace

class TestRights : public DatabaseTest
{
    Q_OBJECT

private slots:
    void lostRight_isRefusedAtWork_data()
    {
        addColumns<int>("lost");
        const QList<RightDescription> rights = rightDescriptions();
        for (const RightDescription &one : rights)
            addRow(qPrintable(one.name), int(one.right));
        addRow("the account disabled", -1);
    }

    void lostRight_isRefusedAtWork()
    {
        const auto [lost] = rowValues<int>();
        QList<Command> covered;
        const QList<Action> all = actions();
        for (qsizetype i = 0; i < all.size(); ++i) {
            const Action &action = all.at(i);
            covered += action.commands;
            fill();
            // The session does not know yet.
            QVERIFY(QueryExec(nullptr, lost < 0 ? QString("UPDATE users SET enabled=0 WHERE id=3")
                                                : "UPDATE users SET rights=" +
                                                      sql::integer(1023 & ~lost) + " WHERE id=3"));
            QList<Command> refused = action.commands;
            refused.removeIf([=](Command command) { return suffices(1023 & ~lost, command); });
            const QString before = found(action.watched);
            told.clear();
            const BoxHandler former = setBoxHandler([](QWidget *, const BoxRequest &request) {
                told += request.text;
                return request.escapeButton;
            });
            action.act();
            setBoxHandler(former);
            const QString note = QString("action %1: %2").arg(i).arg(told);
            const bool isRefused = lost < 0 || !refused.isEmpty();
            QVERIFY2((found(action.watched) == before) == isRefused, qPrintable(note));
            if (!isRefused)
                QVERIFY2(told.isEmpty(), qPrintable(note));
            else if (lost < 0)
                QVERIFY2(told.contains("отключена администратором"), qPrintable(note));
            else
                QVERIFY2(told.contains(refusalOf(refused.first())), qPrintable(note));
        }
        const QList<CommandRight> commands = commandRights();
        for (const CommandRight &one : commands)
            QVERIFY2(covered.contains(one.command), qPrintable(one.refusal));
    }

    void whatWasDone_standsInTheLog()
    {
        fill();
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET name=" +
                                       sql::text("Чай\r\n2026-01-01 00:00:00 forged\u2028\u202e") +
                                       " WHERE id=11"));
        changePrices(nullptr, {11}, {.outcost = 99});
        deleteLine();
        shop::addLine({.wareId = 11});
        ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {});
        OptionStore store;
        store.load(nullptr);
        store.save(nullptr, {{1, "Лавка"}, {22, "тайна"}});
        const QString log = logText();
        for (const char *part :
             {"Пользователь anna (№ 3): Цены наименования № 11 «Чай\\u000d\\u000a2026-01-01 "
              "00:00:00 forged\\u2028\\u202e»: расходная: «20» → «99»",
              "anna (№ 3): удалена строка прихода, наименование № 11: количество 1, приходная цена "
              "10, расходная цена 25",
              "anna (№ 3): Накладная № 1 проведена, строк: 1",
              "anna (№ 3): настройка ORGNAME: «» → «Лавка»",
              "anna (№ 3): настройка SMS_GATE_PASSWORD: изменён"})
            QVERIFY2(log.contains(part), qPrintable(log));
        QVERIFY(!log.contains("тайна"));
        static const QRegularExpression stamped(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [^\\n]*$");
        const QStringList lines = log.split("\r\n", Qt::SkipEmptyParts);
        for (const QString &line : lines)
            QVERIFY2(stamped.match(line).hasMatch(), qPrintable(line));
    }

private:
    void prepare() override
    {
        openShop();
    }

    /// A shop in which every action has something to do.
    void fill() const
    {
        clearShop();
        shop::addProduct({.id = 11, .name = "Чай", .stock = 1});
        shop::addProduct({.id = 12, .name = "Кофе", .outcost = 1});
        shop::addLine({.wareId = 11, .outcost = 25, .userId = 3});
        for (const char *statement :
             {"UPDATE warehouse SET inoutratio='2' WHERE id=12",
              "INSERT INTO brands(id,name) VALUES(1,'Бренд')",
              "UPDATE currencies SET value='90' WHERE id=3",
              "UPDATE options SET value='' WHERE id=1",
              "REPLACE INTO users(id,enabled,login,name,rights) VALUES(2,1,'boris','Борис',2)"})
            QVERIFY(QueryExec(nullptr, statement));
        shop::logIn({.id = 3, .login = "anna", .name = "Анна", .rights = 1023});
    }

    static QString found(const QString &select)
    {
        QList<SqlRow> rows;
        QueryRows(nullptr, select, rows);
        QStringList values;
        for (const SqlRow &row : std::as_const(rows))
            for (const QVariant &value : row)
                values += value.toString();
        return values.join(u' ');
    }
};

QTEST_GUILESS_MAIN(TestRights)
#include "tst_rights.moc"
