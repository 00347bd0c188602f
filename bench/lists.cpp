#include "bench/lists.h"

#include "bench/benchshop.h"
#include "bench/benchwindow.h"
#include "bench/figures.h"
#include "bench/firstpaint.h"
#include "catalogue/codesdialog.h"
#include "catalogue/productlist.h"
#include "catalogue/stockdialog.h"
#include "catalogue/warehousedialog.h"
#include "db/engine.h"
#include "db/query.h"
#include "income/incomeinvoicewindow.h"
#include "income/receiptlist.h"
#include "widgets/sqltablemodel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QLineEdit>
#include <QScrollBar>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTableView>

namespace {

/// The SELECT of the product table without pages.
QString wholeList(const ProductFilter &filter)
{
    const std::optional<PagedSelect> list = productPages(nullptr, filter);
    if (!list)
        qFatal("no groups");
    return list->select + (list->conditions.isEmpty() ? "" : " WHERE") +
           list->conditions.join(" AND") + " ORDER BY `warehouse`.`name`;";
}

constexpr int repetitions = 7;

double readBare(const QString &statement)
{
    return milliseconds([&] {
        QSqlQuery query(QSqlDatabase::database(mainConnection));
        if (!query.exec(statement))
            qFatal("%s", qPrintable(statement));
        const int columns = query.record().count();
        while (query.next()) {
            for (int column = 0; column < columns; ++column)
                query.value(column);
        }
    });
}

/// The filter of a main window and what it leaves.
class FilterHands
{
public:
    explicit FilterHands(const IncomeInvoiceWindow &window)
        : m_text(window.findChild<QLineEdit *>("namefilterLineEdit")),
          m_groups(window.findChild<QComboBox *>("groupfilterComboBox")),
          m_brands(window.findChild<QComboBox *>("brandfilterComboBox")),
          m_model(qobject_cast<SqlTableModel *>(
              window.findChild<QTableView *>("warehouseTableView")->model()))
    {
    }

    /// To the painted first screen; the filter was another one before.
    double change(const ProductFilter &filter)
    {
        apply({.text = "другой", .brandId = 1});
        return milliseconds([&] { apply(filter); });
    }

    /// How long the window is held up at most while it looks for a text, and the whole search.
    std::pair<double, double> search(const QString &text)
    {
        double most = change({.text = text});
        double all = most;
        while (m_model->rowCount() == 0 && m_model->isReading()) {
            const double turn = milliseconds([] { QCoreApplication::processEvents(); });
            most = std::max(most, turn);
            all += turn;
        }
        return {most, all};
    }

private:
    void apply(const ProductFilter &filter)
    {
        const auto choose = [](QComboBox *box, const std::optional<qulonglong> &id) {
            box->setCurrentIndex(id ? box->findData(*id) : 0);
        };
        m_text->setText(filter.text);
        choose(m_groups, filter.groupId);
        choose(m_brands, filter.brandId);
        emit m_groups->activated(m_groups->currentIndex());
        QCoreApplication::processEvents();
    }

    QLineEdit *m_text;
    QComboBox *m_groups;
    QComboBox *m_brands;
    SqlTableModel *m_model;
};

struct Screen
{
    QString name;
    ProductFilter filter;
};

const QList<Screen> &screens()
{
    static const QList<Screen> all = {
        {"no filter", {}},
        {"a group of 7", {.groupId = BenchShop::smallGroup}},
        {"a group of a third", {.groupId = BenchShop::largeGroup}},
        {"a group that comes last", {.groupId = BenchShop::lastGroup}},
        {"a group with 30 children", {.groupId = BenchShop::parentGroup}},
        {"a brand", {.brandId = 7}},
        {"a text of many names", {.text = "а"}},
        {"a text in a large group", {.text = "а", .groupId = BenchShop::largeGroup}},
    };
    return all;
}

template<typename Dialog>
void openDialog(QWidget *parent)
{
    Dialog(parent).exec();
}

struct LongList
{
    const char *className;
    void (*open)(QWidget *parent);
};

constexpr LongList longLists[] = {{"WarehouseDialog", &openDialog<WarehouseDialog>},
                                  {"CodesDialog", &openDialog<CodesDialog>},
                                  {"StockDialog", &openDialog<StockDialog>}};

std::vector<double> timeScreens(const ConnectionEntry &entry)
{
    const auto window = openBenchWindow(entry);
    FilterHands hands(*window);
    std::vector<double> medians;
    for (const Screen &screen : screens()) {
        std::vector<double> times;
        times.reserve(repetitions);
        for (int i = 0; i < repetitions; ++i)
            times.push_back(hands.change(screen.filter));
        medians.push_back(median(times));
    }
    return medians;
}

/// To the painted first screens of the dialogs that show long lists.
std::vector<double> timeDialogs(const ConnectionEntry &entry)
{
    const auto window = openBenchWindow(entry);
    std::vector<double> medians;
    for (const LongList &list : longLists) {
        std::vector<double> times;
        times.reserve(repetitions);
        for (int i = 0; i < repetitions; ++i)
            times.push_back(FirstPaint(list.className).elapsed([&] { list.open(window.get()); }));
        medians.push_back(median(times));
    }
    return medians;
}

} // namespace

void benchLists(Table &table, const QString &path)
{
    const auto window = openBenchWindow(sqliteEntry(path));
    RawSqlite raw(path);
    raw.run("BEGIN");
    for (const QString &statement : BenchShop::fillList(10000, 100000))
        raw.run(statement.toUtf8());
    raw.run("COMMIT");
    auto *ratio = window->findChild<QCheckBox *>("ratioCheckBox");
    std::vector<double> refreshes;
    std::vector<double> bare;
    for (int i = 0; i < repetitions; ++i) {
        ratio->setChecked(false);
        QCoreApplication::processEvents();
        refreshes.push_back(milliseconds([&] {
            ratio->setChecked(true);
            QCoreApplication::processEvents();
        }));
        bare.push_back(readBare(receiptListQuery(true, Engine::of(mainConnection))));
    }
    table.row("working list of 10,000 lines refreshed / bare QSqlQuery", median(refreshes),
              median(bare), 3);

    FilterHands hands(*window);
    for (const QString &text : {QString(), QString("О"), QString("№ 99")}) {
        std::vector<double> filterings;
        std::vector<double> reads;
        for (int i = 0; i < repetitions; ++i) {
            filterings.push_back(hands.change({.text = text}));
            reads.push_back(readBare(wholeList({.text = text})));
        }
        table.row(QString("100,000 products filtered by '%1', first screen / bare").arg(text),
                  median(filterings), median(reads), 0.3);
    }
}

void benchFirstScreens(Table &table, const QString &small, const QString &large)
{
    const std::vector<double> few = timeScreens(sqliteEntry(small));
    const std::vector<double> many = timeScreens(sqliteEntry(large));
    for (std::size_t i = 0; i < few.size(); ++i)
        table.row("first screen of " + screens().at(qsizetype(i)).name + ", 1,000,000 / 10,000",
                  many.at(i), few.at(i), 5);
    const std::vector<double> fewRows = timeDialogs(sqliteEntry(small));
    const std::vector<double> manyRows = timeDialogs(sqliteEntry(large));
    for (std::size_t i = 0; i < fewRows.size(); ++i)
        table.row(QString("first screen of %1, 1,000,000 / 10,000").arg(longLists[i].className),
                  manyRows.at(i), fewRows.at(i), 5);
    const auto window = openBenchWindow(sqliteEntry(large));
    const auto [most, all] = FilterHands(*window).search("нет такого");
    table.note(QString("    a text of no name: looked for in %1 ms, the window held up for %2 ms")
                   .arg(all, 0, 'f', 0)
                   .arg(most, 0, 'f', 0));
}

void benchServerScreens(Table &table, const ConnectionEntry &entry)
{
    const QString filling = QStringLiteral("filling");
    if (!createConnection(nullptr, entry, filling))
        qFatal("no connection");
    const QStringList catalogue =
        BenchShop::fillCatalogue(100000) +
        QStringList{"INSERT INTO codes(wareid,code,packquantity) SELECT id,4600000000000+id*10,1 "
                    "FROM warehouse"};
    for (const QString &statement : catalogue) {
        if (!QueryExec(nullptr, statement, filling))
            qFatal("the catalogue cannot be filled");
    }
    removeConnection(filling);
    const std::vector<double> times = timeScreens(entry);
    for (std::size_t i = 0; i < times.size(); ++i)
        table.note(QString("    100,000 products, first screen of %1: %2 ms")
                       .arg(screens().at(qsizetype(i)).name)
                       .arg(times.at(i), 0, 'f', 1));
    const std::vector<double> dialogs = timeDialogs(entry);
    for (std::size_t i = 0; i < dialogs.size(); ++i)
        table.note(QString("    100,000 products, first screen of %1: %2 ms")
                       .arg(longLists[i].className)
                       .arg(dialogs.at(i), 0, 'f', 1));
}
