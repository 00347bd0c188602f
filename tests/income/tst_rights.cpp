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
#include "catalogue/wareimages.h"
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

qulonglong lineId()
{
    return QueryValue(nullptr, "SELECT id FROM incomeinvoice").toULongLong();
}

void takeBack()
{
    QList<SqlRow> rows;
    QueryRows(nullptr, Additions::linesQuery(11), rows);
    Additions additions;
    additions.add({.wareid = 11, .after = Additions::linesOf(rows), .insertedId = lineId()});
    additions.takeBack(nullptr);
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
    QVariantMap seen;
    loadEntry(nullptr, CurrencyDialog::dictionary(), 3, seen);
    updateEntry(nullptr, CurrencyDialog::dictionary(), 3, {{"value", 91}}, seen);
}

void changeOptions(const QMap<qulonglong, QString> &values)
{
    OptionStore store;
    store.load(nullptr);
    store.save(nullptr, values);
}

void renameUser()
{
    UserSave save;
    save.load(nullptr, 2);
    UserRecord user = save.seen();
    user.name = "Другое имя";
    save.save(nullptr, user);
}

void deleteLine()
{
    deleteLines(nullptr, {{.id = lineId(), .wareid = 11, .name = {}, .quantity = 1}});
}

void deleteBrand()
{
    deleteEntries(nullptr, BrandsDialog::dictionary(), {1});
}

void movePicture()
{
    moveWareImage(nullptr, 2, true);
}

void post()
{
    told += ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {}).message;
}

QList<Action> actions()
{
    const QString lines = "SELECT id,quantity FROM incomeinvoice";
    const QString prices = "SELECT outcost FROM warehouse ORDER BY id";
    const QString codes = "SELECT wareid FROM codes";
    using C = Command;
    QList<Action> all;
    const auto add = [&](const QList<Command> &commands, const QString &watched, auto act) {
        all += Action{commands, watched, act};
    };
    add({C::EnterLines}, lines, [] { addLine(false); });
    add({C::EnterLines}, lines, takeBack);
    add({C::EnterLines, C::AuditStock}, "SELECT latime FROM warehouse", [] { addLine(true); });
    add({C::DeleteLines}, lines, deleteLine);
    add({C::PostReceipt}, "SELECT COUNT(*) FROM incomereports", post);
    add({C::UpdateCosts}, prices, [] { updateCosts(nullptr, mainConnection, {}); });
    add({C::ChangePrices}, prices, [] { changePrices(nullptr, {11}, {.outcost = 99}); });
    add({C::ChangePrices}, prices, [] { recalculateSellingPrices(nullptr, mainConnection, {}); });
    add({C::EditProducts, C::ChangePrices}, prices, [] { saveCard("outcost", 77); });
    add({C::EditProducts}, "SELECT keywords FROM warehouse", [] { saveCard("keywords", "к"); });
    add({C::EditProducts}, codes, [] { bindCode(nullptr, "4607004652387", 11, 1); });
    add({C::EditProducts}, codes, [] { stageCode(nullptr, "46070046"); });
    add({C::EditProducts}, "SELECT groupid FROM warehouse", [] { changeGroup({}, {11}, 4); });
    add({C::EditProducts}, "SELECT ordernum FROM images ORDER BY id", movePicture);
    add({C::EditDictionaries}, "SELECT id FROM brands", deleteBrand);
    add({C::EditCurrencies}, "SELECT value FROM currencies ORDER BY id", changeRate);
    add({C::ChangeOptions}, "SELECT value FROM options", [] { changeOptions({{1, "Л"}}); });
    add({C::ManageUsers}, "SELECT name FROM users ORDER BY id", renameUser);
    return all;
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
            const QString text = !isRefused ? QString()
                                 : lost < 0 ? "отключена администратором"
                                            : refusalOf(refused.first());
            QVERIFY2((found(action.watched) == before) == isRefused, qPrintable(note));
            QVERIFY2(told.contains(text) && told.isEmpty() == text.isEmpty(), qPrintable(note));
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
        post();
        changeOptions({{1, "Лавка"}, {22, "тайна"}});
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
        QVERIFY(!log.contains("\n2026-01-01"));
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
              "REPLACE INTO images(id,wareid,ordernum) VALUES(1,11,1)",
              "REPLACE INTO images(id,wareid,ordernum) VALUES(2,11,2)",
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
