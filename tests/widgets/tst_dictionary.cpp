// A dictionary of the schema whose entries other rows use: groups, which products and groups are
// in.

#include "widgets/dictionarydialog.h"
#include "widgets/dictionarylist.h"
#include "widgets/dictionarystore.h"

#include "tests/support/databasetest.h"
#include "tests/support/shop.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
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
    void entry_isAddedAndFound()
    {
        const QVariantMap values = {
            {"parent", 7}, {"name", "O'N"}, {"inetenabled", 1}, {"sumbonus", 0.5}};
        const QString id = QString::number(insertEntry(nullptr, groups(), values).value_or(0));
        QCOMPARE(rows("SELECT parent,name,inetenabled,sumbonus FROM groups WHERE id=" + id),
                 "7\tO'N\t1\t0.5");
        QVERIFY(rows("SELECT timestamp FROM groups WHERE id=" + id).startsWith("20"));
        rows("UPDATE groups SET keywords='Круглый' WHERE id=" + id);
        QList<SqlRow> found; // by its keywords, and the other one by its name
        QVERIFY(QueryRows(nullptr, dictionaryList(groups(), "КРУ", "parent>0"), found));
        QCOMPARE(found.size(), 1);
        QVERIFY(QueryRows(nullptr, dictionaryList(groups(), "КРУ", ""), found));
        QCOMPARE(found.size(), 2);
    }

    void entry_isEditedInItsDialog()
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

    void otherStation_isSeen()
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

    void deletion_takesAllUsesAlongOrChangesNothing()
    {
        for (const char *broken :
             {"UPDATE `groups`", "DELETE FROM `groups`", "DELETE FROM articles"}) {
            setStatementObserver([broken](QString &sqlText, const QString &) {
                if (sqlText.startsWith(broken))
                    sqlText = "SELECT nonsense FROM nowhere";
            });
            m_boxes->answer("OK");
            QVERIFY(!deleteEntries(nullptr, groups(), {9, 7}));
            QCOMPARE(rows("SELECT COUNT(*) FROM groups"), "3");
            QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE groupid=7"), "2");
        }
        setStatementObserver({});
        QVERIFY(deleteEntries(nullptr, groups(), {7, 9}));
        QCOMPARE(rows("SELECT id,parent FROM groups"), "8\t0");
        QCOMPARE(rows("SELECT id FROM warehouse WHERE groupid=0 ORDER BY id"), "1\n2");
        QCOMPARE(rows("SELECT id FROM articles"), "");
    }

    void list_findsAndDeletes()
    {
        DictionaryList list(groups(), nullptr);
        list.show();
        auto *table = child<QTableView>(list, "groupsTableView");
        QCOMPARE(table->model()->rowCount(), 3);
        child<QLineEdit>(list, "searchLineEdit")->setText("ОЛ С");
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

private:
    void prepare() override
    {
        openShop();
        for (const int id : {1, 2, 3})
            shop::addProduct({.id = qulonglong(id)});
        rows("UPDATE warehouse SET groupid=7 WHERE id<3; DELETE FROM articles; INSERT INTO "
             "articles(wareid) VALUES(7); INSERT INTO groups(id,parent,name,sumbonus) VALUES"
             "(7,0,'Крупа',1.2345678),(8,7,'Рис',NULL),(9,0,'Соль',0);");
    }
};

QTEST_MAIN(TestDictionary)
#include "tst_dictionary.moc"
