// The search of products and the list of barcodes.

#include "catalogue/codesdialog.h"
#include "catalogue/codeslist.h"
#include "catalogue/waredialog.h"
#include "catalogue/warehousedialog.h"
#include "db/engine.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/widgets.h"
#include "widgets/sqltablemodel.h"

#include <QApplication>
#include <QClipboard>

namespace {

QTableView *table(const QDialog &dialog)
{
    return child<QTableView>(dialog, qobject_cast<const CodesDialog *>(&dialog)
                                         ? "codesTableView"
                                         : "warehouseTableView");
}

SqlTableModel *model(const QDialog &dialog)
{
    return qobject_cast<SqlTableModel *>(table(dialog)->model());
}

QStringList column(const QDialog &dialog, const char *key)
{
    QStringList texts;
    for (int row = 0; row < model(dialog)->rowCount(); ++row)
        texts += model(dialog)->value(row, QLatin1String(key)).toString();
    return texts;
}

QString currentName(const QDialog &dialog)
{
    return model(dialog)->value(table(dialog)->currentIndex().row(), "name").toString();
}

} // namespace

class TestSearch : public DatabaseTest
{
    Q_OBJECT

private slots:
    void filter_leavesArticlesNamesAndGroups()
    {
        WarehouseDialog dialog(nullptr);
        dialog.show();
        const QStringList all = {"Альфа 100%", "Бета %1", shop::nastyName};
        QCOMPARE(column(dialog, "name"), all);
        QVERIFY(table(dialog)->isColumnHidden(0));
        const std::pair<QString, QStringList> filters[] = {
            {"ЛЬФ", {all.first()}},  {"a-7", {all.at(1)}}, {"100%", {all.first(), all.last()}},
            {"\\ `X", {all.last()}}, {"О'", {all.last()}}, {"нет", {}}};
        for (const auto &[text, names] : filters) {
            type(dialog, "namefilterLineEdit", text);
            QTRY_COMPARE(column(dialog, "name"), names);
        }
        type(dialog, "namefilterLineEdit", "");
        auto *groups = child<QListWidget>(dialog, "groupsListWidget");
        QCOMPARE(groups->item(2)->text(), " - Дети");
        groups->setFocus();
        QTest::keyClick(groups, Qt::Key_Down);
        QTRY_COMPARE(column(dialog, "name"), QStringList(all.first()));
        QTest::keyClick(groups, Qt::Key_Down);
        QTRY_COMPARE(column(dialog, "name"), QStringList(all.at(1)));
        QTest::keyClick(groups, Qt::Key_Home);
        QTRY_COMPARE(column(dialog, "name"), all);
    }

    void code_goesToItsRow()
    {
        QStringList values;
        for (int i = 0; i < 5000; ++i)
            values += QString("(%1,1,'Я%2')").arg(100 + i).arg(1000 + i);
        rows("INSERT INTO warehouse(id,enabled,name) VALUES" + values.join(','));
        shop::addCode(549, "4006381333931");
        shop::addCode(5000, "4006381333955");
        shop::addCode(4, "4006381333948");
        WarehouseDialog dialog(nullptr);
        dialog.show();
        auto *code = child<QLineEdit>(dialog, "codesearchLineEdit");
        type(dialog, "namefilterLineEdit", "Альфа");
        QTRY_COMPARE(model(dialog)->rowCount(), 1);
        QTest::keyClicks(code, "4006381333931\r");
        QCOMPARE(currentName(dialog), "Я1449"); // far down, and not what the filter leaves
        QVERIFY(child<QLineEdit>(dialog, "namefilterLineEdit")->text().isEmpty());
        QCOMPARE(code->selectedText(), "4006381333931");
        QTest::keyClicks(code, "4006381333955\r"); // where nobody would scroll to
        QCOMPARE(currentName(dialog), "Я5900");
        QVERIFY(model(dialog)->readAll());
        QCOMPARE(column(dialog, "name").mid(0, 2), QStringList({"Я5900", "Я5901"}));
        QCOMPARE(model(dialog)->rowCount(), 100);
        QTest::keyClicks(code, "2\r");
        QCOMPARE(currentName(dialog), "Бета %1");
        dialog.takeScan("Я-ДОМ-12345");
        auto *told = child<QLabel>(dialog, "resultLabel");
        QVERIFY2(told->text().startsWith("Не найдено: "), qPrintable(told->text()));
        QCOMPARE(code->selectedText(), code->text());
        dialog.takeScan("4006381333948");
        QCOMPARE(told->text(), "Наименование неактивно: Снято");
        QCOMPARE(currentName(dialog), "Бета %1");
        QVERIFY(dialog.isVisible());
    }

    void product_isChosenOrItsCardOpened()
    {
        m_steps->whenOpen<WareDialog>([](WareDialog &card) {
            type(card, "nameLineEdit", "Новое");
            click(card, "okPushButton");
        });
        WarehouseDialog dialog(nullptr);
        dialog.show();
        QVERIFY(!child<QPushButton>(dialog, "choosePushButton")->isEnabled());
        child<QLineEdit>(dialog, "codesearchLineEdit")->setText("2");
        click(dialog, "newPushButton");
        QCOMPARE(currentName(dialog), "Новое");
        QVERIFY(child<QLineEdit>(dialog, "codesearchLineEdit")->text().isEmpty());

        m_steps->whenOpen<WareDialog>([](WareDialog &card) {
            type(card, "nameLineEdit", "Аист");
            click(card, "okPushButton");
        });
        click(dialog, "editPushButton");
        QCOMPARE(currentName(dialog), "Аист");
        m_steps->whenOpen<WareDialog>([](WareDialog &card) { QCOMPARE(card.id(), 0); });
        click(dialog, "copyPushButton");
        QCOMPARE(currentName(dialog), "Аист");
        const QString id = rows("SELECT id FROM warehouse WHERE name='Аист'");
        QTest::keyClick(table(dialog), Qt::Key_Return);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(QString::number(dialog.wareid()), id);

        WarehouseDialog other(nullptr);
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        type(other, "namefilterLineEdit", "бет");
        QTest::keyClick(child<QLineEdit>(other, "namefilterLineEdit"), Qt::Key_Return);
        QVERIFY(other.isVisible());
        QCOMPARE(other.focusWidget(), table(other));
        QTest::keyClick(table(other), Qt::Key_C, Qt::ControlModifier);
        QVERIFY(QApplication::clipboard()->text().startsWith("a-7\tБета %1\t20"));
        click(other, "choosePushButton");
        QCOMPARE(other.wareid(), qulonglong(2));
    }

    void codes_comeInTheOrderOfNames()
    {
        // More than a page, of one name, of several, of products without a name.
        for (int i = 0; i < 900; ++i)
            shop::addCode(qulonglong(1 + i % 3), QString::number(2100 + i));
        shop::addProduct({.id = 10});
        rows("UPDATE warehouse SET name=NULL WHERE id=10");
        for (int i = 0; i < 250; ++i)
            shop::addCode(10, QString("без%1").arg(i));
        shop::addCode(4, "снято");
        shop::addCode(77, "ничей");
        CodesDialog dialog(nullptr);
        dialog.show();
        QVERIFY(model(dialog)->readAll());
        QCOMPARE(model(dialog)->rowCount(), 1150);
        QCOMPARE(column(dialog, "code").removeDuplicates(), 0);
        QStringList names = column(dialog, "name");
        QCOMPARE(names.removeDuplicates(), 1146);
        names.removeAll(QString());
        QCOMPARE(names, QStringList({"Альфа 100%", "Бета %1", shop::nastyName}));
    }

    void codes_areFiltered()
    {
        const QStringList codes = {"199", "1999", "1998", "200", "9", "99", "19%", "О'К-19"};
        for (const QString &code : codes)
            shop::addCode(2, code, 12);
        shop::addCode(1, "19");
        CodesDialog dialog(nullptr);
        dialog.show();
        dialog.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        const auto filtered = [&](const QString &code, const QString &name) {
            type(dialog, "codefilterLineEdit", code);
            type(dialog, "namefilterLineEdit", name);
            QTest::keyClick(child<QLineEdit>(dialog, "namefilterLineEdit"), Qt::Key_Return);
            QStringList left = column(dialog, "code");
            left.sort();
            return left.join(' ');
        };
        QCOMPARE(filtered("199", ""), "199 1998 1999");
        QCOMPARE(filtered("1_%8", ""), "1998");
        QCOMPARE(filtered("9", "%"), "9 99");
        QCOMPARE(filtered("о'к", ""), "О'К-19");
        QCOMPARE(filtered("19", "АЛЬ"), "19");
        QCOMPARE(filtered("", "нет"), "");
        QCOMPARE(filtered("20", ""), "200");
        QTest::keyClick(table(dialog), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), "200");
        m_steps->whenOpen<WareDialog>([](WareDialog &card) { QCOMPARE(card.id(), 2); });
        QTest::keyClick(table(dialog), Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        dialog.takeScan("199");
        QCOMPARE(column(dialog, "code").size(), 3);
    }

private:
    void prepare() override
    {
        m_steps = std::make_unique<DialogSteps>();
        openShop();
        QVERIFY(QueryExec(nullptr, "INSERT INTO `groups`(id,parent,name) VALUES(1,0,'Всё')") &&
                QueryExec(nullptr, "INSERT INTO `groups`(id,parent,name) VALUES(2,1,'Дети')"));
        shop::addProduct({.id = 1, .name = "Альфа 100%"});
        shop::addProduct({.id = 2, .name = "Бета %1", .article = "a-7"});
        shop::addProduct({.id = 3, .name = shop::nastyName});
        shop::addProduct({.id = 4, .name = "Снято", .enabled = 0});
        rows("UPDATE warehouse SET groupid=id WHERE id<3");
        const QString move = Engine::of(mainConnection).sequenceMove("warehouse");
        QVERIFY(move.isEmpty() || QueryExec(nullptr, move));
    }

    void tidy() override
    {
        QVERIFY(m_steps->allServed());
        m_steps.reset();
    }

    std::unique_ptr<DialogSteps> m_steps;
};

QTEST_MAIN(TestSearch)
#include "tst_search.moc"
