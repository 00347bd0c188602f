// A dictionary of the schema whose entries other rows use: groups, which products and groups are
// in.

#include "widgets/dictionarydialog.h"
#include "widgets/dictionarylist.h"
#include "widgets/dictionarystore.h"

#include "db/query.h"
#include "tests/support/databasetest.h"
#include "tests/support/shop.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QRegularExpression>
#include <QTableView>

namespace {

Dictionary groups()
{
    return {
        .table = "`groups`",
        .columns = {{"id", "id", {}, ColumnKind::Id, ColumnWidth::Hidden}, {"name", "name"}},
        .order = "name",
        .fields =
            {{.column = "parent",
              .kind = FieldKind::Choice,
              .widget = "parentComboBox",
              .firstChoices = {{0, "none"}},
              .choices = "SELECT id, name FROM `groups` ORDER BY name;"},
             {.column = "name", .widget = "nameLineEdit", .required = "no name"},
             {.column = "description", .kind = FieldKind::Memo, .widget = "memo"},
             {.column = "inetenabled", .kind = FieldKind::Flag, .widget = "flag", .quoted = false},
             {.column = "sumbonus",
              .kind = FieldKind::Number,
              .widget = "bonusSpinBox",
              .decimals = 7,
              .most = 100},
             {.column = "timestamp", .kind = FieldKind::Time}},
        .readFirst = {"name", "description"},
        .uses = {{"warehouse", "groupid"}, {"`groups`", "parent"}, {"articles", "wareid", true}},
        .searched = {"name", "keywords"},
        .viewName = "groupsTableView",
        .editTitle = "Group",
        .deleteQuestion = "Delete?"};
}

} // namespace

class TestDictionary : public DatabaseTest
{
    Q_OBJECT

private slots:
    void statements_areTheAgreedOnes();
    void entry_isEditedInItsDialog();
    void otherStation_isSeen();
    void deletion_takesAllUsesAlong();
    void brokenDeletion_changesNothing();
    void list_findsAndDeletes();

private:
    void prepare() override;
};

void TestDictionary::prepare()
{
    openShop();
    for (const int id : {1, 2, 3})
        shop::addProduct({.id = qulonglong(id)});
    rows("UPDATE warehouse SET groupid=7 WHERE id<3; DELETE FROM articles; INSERT INTO "
         "articles(wareid) VALUES(7); INSERT INTO groups(id,parent,name,sumbonus) VALUES"
         "(7,0,'Крупа',1.2345678),(8,7,'Рис',NULL),(9,0,'Соль',0);");
}

void TestDictionary::statements_areTheAgreedOnes()
{
    QStringList statements;
    setStatementObserver([&statements](QString &sqlText, const QString &) {
        static const QRegularExpression time("'20[-\\d]{8} [:\\d]{8}'");
        if (sqlText.contains("groups"))
            statements += QString(sqlText).replace(time, "NOW");
    });
    QVariantMap values = {{"parent", 7}, {"name", "O'N"}, {"inetenabled", 1}, {"sumbonus", 0.5}};
    const qulonglong id = insertEntry(nullptr, groups(), values).value_or(0);
    QVariantMap seen;
    QCOMPARE(loadEntry(nullptr, groups(), id, seen), LoadState::Loaded);
    QCOMPARE(updateEntry(nullptr, groups(), id, values, seen), EntryState::Written);
    const QString which = " WHERE id='" + QString::number(id) + "'";
    QCOMPARE(statements.at(0), "INSERT INTO `groups`(parent,name,inetenabled,sumbonus,timestamp) "
                               "VALUES('7', 'O''N', '1', '0.5', NOW);");
    QCOMPARE(statements.at(1), "SELECT name, description, parent, inetenabled, sumbonus FROM "
                               "`groups`" +
                                   which + ";");
    QCOMPARE(statements.last(), "UPDATE `groups` SET parent='7', name='O''N', inetenabled=1, "
                                "sumbonus='0.5', timestamp=NOW" +
                                    which + ";");
    QCOMPARE(dictionaryList(groups(), "р и", "parent>0"),
             "SELECT id, name FROM `groups` WHERE parent>0 AND (name LIKE '%р%' ESCAPE '!' OR "
             "keywords LIKE '%р%' ESCAPE '!') AND (name LIKE '%и%' ESCAPE '!' OR keywords LIKE "
             "'%и%' ESCAPE '!') ORDER BY name;");
}

void TestDictionary::entry_isEditedInItsDialog()
{
    DictionaryDialog dialog(groups(), 7, nullptr);
    auto *parent = child<QComboBox>(dialog, "parentComboBox");
    auto *name = child<QLineEdit>(dialog, "nameLineEdit");
    QCOMPARE(name->text(), "Крупа");
    QCOMPARE(parent->currentText(), "none");
    parent->setCurrentText("Соль");
    child<QCheckBox>(dialog, "flag")->setChecked(true);
    name->setText(" ");
    m_boxes->answer("OK");
    click(dialog, "savePushButton");
    QCOMPARE(m_boxes->lastText(), "no name");
    name->setText(shop::nastyName);
    const QString bonus = rows("SELECT sumbonus FROM groups WHERE id=7");
    click(dialog, "savePushButton");
    // The bonus, which nobody has touched, has more digits than would be written.
    QCOMPARE(rows("SELECT parent,name,inetenabled,sumbonus FROM groups WHERE id=7"),
             "9\t" + shop::nastyName + "\t1\t" + bonus);

    rows("UPDATE groups SET parent=77 WHERE id=7");
    DictionaryDialog orphan(groups(), 7, nullptr);
    auto *number = child<NumberSpinBox>(orphan, "bonusSpinBox");
    number->setValue(2.3456789);
    m_boxes->answer("OK");
    click(orphan, "savePushButton");
    QVERIFY(m_boxes->lastText().endsWith("шести значащих цифр: 2.34568."));
    number->setValue(2.5);
    click(orphan, "savePushButton");
    QCOMPARE(rows("SELECT parent,sumbonus FROM groups WHERE id=7"), "77\t2.5");
}

void TestDictionary::otherStation_isSeen()
{
    QVariantMap seen;
    QCOMPARE(loadEntry(nullptr, groups(), 7, seen), LoadState::Loaded);
    rows("UPDATE groups SET sumbonus=5, name='Мука' WHERE id=7");
    QCOMPARE(updateEntry(nullptr, groups(), 7, {{"parent", 9}}, seen), EntryState::Written);
    rows("UPDATE groups SET name='Сахар' WHERE id=7");
    QCOMPARE(updateEntry(nullptr, groups(), 7, {{"name", "N"}}, seen), EntryState::Changed);
    QCOMPARE(seen.value("name").toString(), "Сахар");
    QCOMPARE(rows("SELECT parent,name FROM groups WHERE id=7"), "9\tСахар");
    rows("DELETE FROM groups WHERE id=7");
    QCOMPARE(updateEntry(nullptr, groups(), 7, {{"name", "N"}}, seen), EntryState::Gone);
}

void TestDictionary::deletion_takesAllUsesAlong()
{
    QVERIFY(deleteEntries(nullptr, groups(), {7, 9}));
    QCOMPARE(rows("SELECT id,parent FROM groups"), "8\t0");
    QCOMPARE(rows("SELECT id FROM warehouse WHERE groupid=0 ORDER BY id"), "1\n2");
    QCOMPARE(rows("SELECT id FROM articles"), "");
}

void TestDictionary::brokenDeletion_changesNothing()
{
    for (const char *broken : {"UPDATE `groups`", "DELETE FROM `groups`", "DELETE FROM articles"}) {
        setStatementObserver([broken](QString &sqlText, const QString &) {
            if (sqlText.startsWith(broken))
                sqlText = "SELECT nonsense FROM nowhere";
        });
        m_boxes->answer("OK");
        QVERIFY(!deleteEntries(nullptr, groups(), {9, 7}));
        QCOMPARE(rows("SELECT COUNT(*) FROM groups"), "3");
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE groupid=7"), "2");
    }
}

void TestDictionary::list_findsAndDeletes()
{
    DictionaryList list(groups(), nullptr);
    list.show();
    auto *table = child<QTableView>(list, "groupsTableView");
    QCOMPARE(table->model()->rowCount(), 3);
    child<QLineEdit>(list, "searchLineEdit")->setText("СОЛ");
    QCOMPARE(table->model()->rowCount(), 1);
    table->selectRow(0);
    for (const char *answer : {"Нет", "Да"}) {
        m_boxes->answer(answer);
        click(list, "deletePushButton");
        QCOMPARE(rows("SELECT COUNT(*) FROM groups WHERE id=9"),
                 answer == QString("Да") ? "0" : "1");
    }
    QVERIFY(!child<QPushButton>(list, "deletePushButton")->isEnabled());
}

QTEST_MAIN(TestDictionary)
#include "tst_dictionary.moc"
