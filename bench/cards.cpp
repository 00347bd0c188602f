#include "bench/cards.h"

#include "bench/benchwindow.h"
#include "bench/figures.h"
#include "bench/firstpaint.h"
#include "catalogue/dictionaries.h"
#include "catalogue/waredialog.h"
#include "db/query.h"
#include "income/incomeinvoicewindow.h"
#include "widgets/dictionarystore.h"

#include "ui_waredialog.h"

#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSqlDatabase>

#include <vector>

namespace {

constexpr int repetitions = 31;
constexpr qulonglong product = 4321;

void run(const QString &statement)
{
    QSqlQuery query(QSqlDatabase::database(mainConnection));
    if (!query.exec(statement))
        qFatal("%s", qPrintable(statement));
    while (query.next()) {
    }
}

/// The milliseconds of some statements sent as they are.
double runBare(const QStringList &statements)
{
    return milliseconds([&] {
        for (const QString &statement : statements)
            run(statement == "BEGIN" ? "BEGIN IMMEDIATE" : statement);
    });
}

/// The milliseconds of some work, and the statements that it has sent.
double runRecorded(const std::function<void()> &work, QStringList &statements)
{
    statements.clear();
    setStatementObserver([&](QString &sqlText, const QString &) { statements += sqlText; });
    const double time = milliseconds(work);
    setStatementObserver({});
    return time;
}

/// 20 barcodes, 10 articles and 30 properties.
void fillProduct()
{
    const QString id = QString::number(product);
    run("BEGIN");
    for (const QString table : {"codes", "articles", "wareproperties"})
        run("DELETE FROM " + table + " WHERE wareid=" + id);
    for (int i = 0; i < 20; ++i)
        run(QString("INSERT INTO codes(wareid,code,packquantity,userid) VALUES(%1,'77%2',1,1)")
                .arg(id)
                .arg(i, 11, 10, QChar('0')));
    for (int i = 0; i < 10; ++i)
        run(QString("INSERT INTO articles(wareid,supplierid,name,ratio,step) VALUES(%1,%2,'A%2',1,"
                    "1)")
                .arg(id)
                .arg(i));
    for (int i = 0; i < 30; ++i)
        run(QString("INSERT INTO wareproperties(wareid,propertyid,value) VALUES(%1,%2,%2)")
                .arg(id)
                .arg(i));
    run("COMMIT");
}

} // namespace

void benchCard(Table &table, const QString &path)
{
    const auto window = openBenchWindow(sqliteEntry(path));
    fillProduct();
    std::vector<double> opened;
    std::vector<double> empty;
    std::vector<double> saved;
    std::vector<double> bare;
    QStringList statements;
    static const QRegularExpression names("'Карто[а-я]+ [0-9]+'");
    for (int i = 0; i < repetitions; ++i) {
        opened.push_back(
            FirstPaint("WareDialog").elapsed([&] { WareDialog(product, window.get()).exec(); }));
        empty.push_back(FirstPaint("QDialog").elapsed([&] {
            QDialog dialog(window.get());
            Ui::WareDialog form;
            form.setupUi(&dialog);
            dialog.exec();
        }));
        const auto save = [&] {
            WareDialog card(product, window.get());
            card.findChild<QLineEdit *>("nameLineEdit")->setText(QString("Карточка %1").arg(i));
            auto *button = card.findChild<QPushButton *>("okPushButton");
            saved.push_back(runRecorded([&] { button->click(); }, statements));
            if (card.result() != QDialog::Accepted)
                qFatal("the card was not saved");
        };
        const auto saveBare = [&] {
            // As much to write: a name that is there already would touch no index.
            statements.replaceInStrings(names, QString("'Картонка %1'").arg(i));
            bare.push_back(runBare(statements));
        };
        // Who comes second finds the database warmer.
        if (statements.isEmpty() || i % 2 == 0) {
            save();
            saveBare();
        } else {
            saveBare();
            save();
        }
    }
    table.row("card: 20 barcodes, 10 articles, 30 properties / empty form", median(opened),
              median(empty), 2);
    table.row("card saved / its statements sent bare", median(saved), median(bare), 1.5);
    table.note(QString("    statements: %1").arg(statements.size()));
}

void benchGroupDeletion(Table &table, const QString &path)
{
    constexpr qulonglong group = 999;
    const auto window = openBenchWindow(sqliteEntry(path));
    const auto fill = [] {
        run("UPDATE warehouse SET groupid=999 WHERE id<=100000");
        run("INSERT INTO `groups`(id,parent,name) VALUES(999,0,'x')");
        run("PRAGMA wal_checkpoint(TRUNCATE)");
    };
    const Dictionary groups = dictionaryOf(DictionaryName::Groups);
    std::vector<double> deleted;
    std::vector<double> bare;
    QStringList statements;
    for (int i = 0; i < 5; ++i) {
        fill();
        deleted.push_back(runRecorded(
            [&] {
                if (!deleteEntries(nullptr, groups, {group}))
                    qFatal("the group was not deleted");
            },
            statements));
        fill();
        bare.push_back(runBare(statements));
    }
    table.row("a group of 100,000 products deleted / its statements bare", median(deleted),
              median(bare), 1.3);
}
