// The dictionaries as they are described: each field on each database, what uses them, and what is
// special about some.

#include "catalogue/articledialog.h"
#include "catalogue/dictionaries.h"
#include "catalogue/groupsdialog.h"
#include "catalogue/propertiesdialog.h"
#include "catalogue/simpledictionaries.h"
#include "catalogue/translationdialog.h"
#include "catalogue/warepropertydialog.h"

#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/widgets.h"
#include "widgets/dictionarystore.h"
#include "widgets/numberspinbox.h"

#include <QPlainTextEdit>

namespace {

QList<Dictionary> everyDictionary()
{
    QList<Dictionary> all = {ArticleDialog::dictionary(), TranslationDialog::dictionary(),
                             WarePropertyDialog::dictionary(), PropertyItemsDialog::dictionary()};
    for (int which = 0; which <= int(DictionaryName::Suppliers); ++which)
        all += dictionaryOf(DictionaryName(which));
    return all;
}

QVariantMap filled(const Dictionary &dictionary, const QString &text, int number)
{
    QVariantMap values;
    for (const DictionaryField &field : dictionary.fields) {
        const bool isText = field.kind < FieldKind::Number || field.kind == FieldKind::Code;
        if (field.kind != FieldKind::Time)
            values[field.column] = isText ? QVariant(text) : QVariant(number);
    }
    return values;
}

} // namespace

class TestDictionaries : public DatabaseTest
{
    Q_OBJECT

private slots:
    void everyField_keepsEveryText_data()
    {
        addColumns<QString, bool>("text", "refusedByMariaDb");
        addRow("quotes, signs, markup", shop::nastyName, false);
        addRow("end of a statement", QString("\\'); --\\"), false);
        addRow("300 letters", QString(300, u'Ж'), false);
        addRow("written from right to left", QString("a\u202Eb"), false);
        addRow("emoji", QString("Чай 🍵"), true);
    }

    void everyField_keepsEveryText()
    {
        const auto [text, refused] = rowValues<QString, bool>();
        const bool isRefused = refused && m_dialect == Dialect::MySql;
        const QList<Dictionary> all = everyDictionary();
        for (const Dictionary &dictionary : all) {
            const bool hasText = filled(dictionary, text, 1).values().contains(text);
            QVariantMap values = filled(dictionary, "plain", 0);
            const qulonglong id = insertEntry(nullptr, dictionary, values).value_or(0);
            QVERIFY(id != 0);
            QVariantMap seen;
            QCOMPARE(loadEntry(nullptr, dictionary, id, seen), LoadState::Loaded);
            values = filled(dictionary, text, 904);
            if (isRefused && hasText)
                m_boxes->answer("OK");
            const EntryState state = updateEntry(nullptr, dictionary, id, values, seen);
            QCOMPARE(state, isRefused && hasText ? EntryState::Failed : EntryState::Written);
            QVariantMap stored;
            QCOMPARE(loadEntry(nullptr, dictionary, id, stored), LoadState::Loaded);
            for (const DictionaryField &field : dictionary.fields) {
                const bool isFixed =
                    field.once || (field.kind == FieldKind::Fixed && !field.rewritten);
                const QVariantMap &expected = isFixed || state == EntryState::Failed
                                                  ? filled(dictionary, "plain", 0)
                                                  : values;
                if (field.kind != FieldKind::Time)
                    QCOMPARE(stored.value(field.column).toString(),
                             expected.value(field.column).toString());
            }
        }
    }

    void deletion_seesToWhatUsesTheEntry()
    {
        const auto drop = [](const Dictionary &dictionary) {
            return deleteEntries(nullptr, dictionary, {905});
        };
        QVERIFY(drop(GroupsDialog::dictionary()) && drop(BrandsDialog::dictionary()) &&
                drop(UnitsDialog::dictionary()) && drop(SuppliersDialog::dictionary()));
        QCOMPARE(rows("SELECT groupid,brandid,unitid,supplierid FROM warehouse ORDER BY id"),
                 "0\t0\t0\t0\n906\t906\t906\t906");
        QCOMPARE(rows("SELECT parent FROM groups WHERE id=906"), "0");
        QCOMPARE(rows("SELECT supplierid FROM articles ORDER BY id"), "0\n906");
        QVERIFY(drop(LocalesDialog::dictionary()) && drop(CollectionsDialog::dictionary()));
        QCOMPARE(rows("SELECT locale FROM waretranslates"), "O'6");
        QCOMPARE(rows("SELECT collectionid FROM collectionproducts"), "906");
        // Numbers that are equal to the id of the item are none of its business.
        QVERIFY(drop(PropertyItemsDialog::dictionary()));
        QCOMPARE(rows("SELECT id,defaultvalue FROM properties ORDER BY id"), "905\t0\n906\t905");
        QCOMPARE(rows("SELECT propertyid FROM wareproperties"), "906");
        QVERIFY(deleteEntries(nullptr, PropertiesDialog::dictionary(), {906}));
        QCOMPARE(rows("SELECT id FROM wareproperties"), "");
    }

    void translations_followTheCodeOfTheirLanguage()
    {
        QVariantMap seen = {{"name", "O'5"}};
        QCOMPARE(updateEntry(nullptr, LocalesDialog::dictionary(), 905, {{"name", "a\\'b"}}, seen),
                 EntryState::Written);
        QCOMPARE(rows("SELECT locale FROM waretranslates ORDER BY id"), "a\\'b\nO'6");

        LocalesDialog list(nullptr);
        list.show();
        m_steps->whenOpen<DictionaryDialog>([](DictionaryDialog &dialog) {
            type(dialog, "nameLineEdit", "  o'6 ");
            type(dialog, "descriptionLineEdit", "x");
            click(dialog, "savePushButton");
            click(dialog, "cancelPushButton");
        });
        m_boxes->answer("OK");
        click(list, "newPushButton");
        QCOMPARE(m_boxes->lastText(), "«o'6» уже есть в списке.");
    }

    void groups_areATreeWithoutCircles()
    {
        GroupsDialog list(nullptr);
        list.show();
        const auto *model = child<QTableView>(list, "groupsTableView")->model();
        QCOMPARE(model->index(1, 1).data().toString(), " - А");
        GroupEditDialog dialog(905, &list);
        auto *parent = child<QComboBox>(dialog, "parentComboBox");
        QCOMPARE(parent->count(), 2); // none and the other root
        parent->setCurrentIndex(1);
        rows("UPDATE groups SET name='Г' WHERE id=905"); // by another station
        m_boxes->answer("Заменить", [this] { rows("UPDATE groups SET parent=906 WHERE id=907"); });
        m_boxes->answer("OK");
        click(dialog, "savePushButton");
        QVERIFY(m_boxes->lastText().startsWith("Группа не может входить"));
        QCOMPARE(rows("SELECT parent FROM groups WHERE id=905"), "0");

        child<QTableView>(list, "groupsTableView")->selectRow(0);
        const Dictionary groups = GroupsDialog::dictionary();
        QCOMPARE(countUses(&list, groups, groups.uses.last(), {905, 906, 907}), 0); // all go
        m_boxes->answer("Нет");
        click(list, "deletePushButton");
        QCOMPARE(m_boxes->requests().last().note,
                 "Наименований, которые останутся без группы: 1.\n"
                 "Вложенных групп, которые станут самостоятельными: 1.");
    }

    void choice_takesWhatIsCreatedBesideIt()
    {
        m_steps->whenOpen<SuppliersDialog>([this](SuppliersDialog &list) {
            m_steps->whenOpen<SupplierDialog>([](SupplierDialog &dialog) {
                type(dialog, "nameLineEdit", "Новый");
                child<NumberSpinBox>(dialog, "minimalPurchaseDoubleSpinBox")->setValue(99.5);
                click(dialog, "savePushButton");
            });
            click(list, "newPushButton");
            click(list, "selectPushButton");
        });
        ArticleDialog article(0, 1, nullptr);
        article.show();
        click(article, "editsuppliersPushButton");
        QCOMPARE(child<QComboBox>(article, "suppliersComboBox")->currentText(), "Новый");
        article.takeScan("4600000000015");
        QCOMPARE(child<QLineEdit>(article, "articleLineEdit")->text(), "4600000000015");
        m_boxes->answer("Вернуться");
        QTest::keyClick(&article, Qt::Key_Escape);
        QVERIFY(article.isVisible());
        click(article, "okButton");
        QCOMPARE(
            rows("SELECT a.wareid,a.name,s.minimalpurchase FROM articles a JOIN suppliers s ON "
                 "s.id=a.supplierid WHERE s.name='Новый'"),
            "1\t4600000000015\t99.5");
    }

    void property_hasItsItemsAndItsValues()
    {
        PropertyDialog dialog(0, nullptr);
        dialog.show();
        type(dialog, "nameLineEdit", "Цвет");
        m_steps->whenOpen<PropertyItemsDialog>([this](PropertyItemsDialog &list) {
            m_steps->whenOpen<DictionaryDialog>([](DictionaryDialog &item) {
                type(item, "valueLineEdit", "красный");
                click(item, "savePushButton");
            });
            click(list, "newPushButton");
        });
        click(dialog, "itemsPushButton");
        child<QComboBox>(dialog, "defaultvalueComboBox")->setCurrentText("красный");
        click(dialog, "savePushButton");
        const QString stored =
            rows("SELECT p.type,p.name,e.value FROM properties p JOIN "
                 "properties_enums e ON e.id=p.defaultvalue WHERE p.name='Цвет'");
        QCOMPARE(stored, "1\tЦвет\tкрасный");

        WarePropertyDialog value(0, 1, nullptr);
        value.show();
        auto *property = child<QComboBox>(value, "propertyComboBox");
        property->setCurrentText("Вес");
        QCOMPARE(child<NumberSpinBox>(value, "valueDoubleSpinBox")->value(), 905.0);
        property->setCurrentText("Цвет");
        QCOMPARE(child<QComboBox>(value, "valueComboBox")->currentText(), "красный");
        click(value, "okPushButton");
        QCOMPARE(rows("SELECT value FROM properties_enums WHERE id=(SELECT enumid FROM "
                      "wareproperties WHERE id<905 OR id>906)"),
                 "красный");
    }

    void translation_isOneForALanguage()
    {
        TranslationDialog dialog(0, 1, nullptr);
        dialog.show();
        QCOMPARE(child<QLineEdit>(dialog, "nameLineEdit")->text(), "Товар");
        child<QComboBox>(dialog, "localeComboBox")->setCurrentText("Пятый");
        child<QPlainTextEdit>(dialog, "descriptionPlainTextEdit")->setPlainText("два\nряда");
        m_boxes->answer("Заменить");
        click(dialog, "savePushButton");
        QCOMPARE(dialog.id(), 905);
        QCOMPARE(rows("SELECT COUNT(*), MIN(name) FROM waretranslates WHERE wareid=1 AND "
                      "description='два\nряда'"),
                 "1\tТовар");
    }

private:
    void prepare() override
    {
        m_steps = std::make_unique<DialogSteps>();
        openShop();
        rows(
            "DELETE FROM units WHERE id>11; DELETE FROM suppliers; DELETE FROM collections; "
            "DELETE FROM collectionproducts; DELETE FROM properties; DELETE FROM properties_enums; "
            "DELETE FROM wareproperties; DELETE FROM waretranslates; DELETE FROM locales;");
        shop::addProduct({.id = 1});
        shop::addProduct({.id = 2});
        rows(
            "UPDATE warehouse SET groupid=id+904, brandid=id+904, unitid=id+904, "
            "supplierid=id+904; "
            "INSERT INTO groups(id,parent,name) VALUES(905,0,'Б'),(906,905,'А'),(907,0,'В'); "
            "INSERT INTO brands(id,name) VALUES(905,'Б'),(906,'В'); "
            "INSERT INTO suppliers(id,name) VALUES(905,'Б'),(906,'В'); "
            "INSERT INTO articles(id,wareid,supplierid,name) "
            "VALUES(905,1,905,'a'),(906,1,906,'a'); "
            "INSERT INTO collections(id,name) VALUES(905,'Б'),(906,'В'); "
            "INSERT INTO collectionproducts(collectionid,wareid) VALUES(905,1),(906,1); "
            "INSERT INTO locales(id,name,description) VALUES(905,'O''5','Пятый'),(906,'O''6','6'); "
            "INSERT INTO waretranslates(id,wareid,locale) VALUES(905,1,'O''5'),(906,1,'O''6'); "
            "INSERT INTO properties(id,type,name,defaultvalue) "
            "VALUES(905,1,'Л',905),(906,0,'Вес',905); "
            "INSERT INTO properties_enums(id,propertyid,value) VALUES(905,905,'x'),(906,905,'y'); "
            "INSERT INTO wareproperties(id,wareid,propertyid,enumid,value) VALUES(905,1,905,905,0),"
            "(906,1,906,905,905);");
    }

    void tidy() override
    {
        QVERIFY(m_steps->allServed());
    }

    std::unique_ptr<DialogSteps> m_steps;
};

QTEST_MAIN(TestDictionaries)
#include "tst_dictionaries.moc"
