#include "catalogue/productfilters.h"

#include "catalogue/productlist.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCoreApplication>
#include <QScreen>
#include <QScrollBar>

namespace {

struct ProductFilters
{
    Q_DECLARE_TR_FUNCTIONS(ProductFilters)
};

void fillChoice(QComboBox *box, const QString &all, const QList<Choice> &choices)
{
    const QVariant chosen = box->currentData();
    box->clear();
    box->addItem(all);
    for (const auto &[id, name] : choices)
        box->addItem(name, id);
    box->setCurrentIndex(chosen.isValid() ? qMax(0, box->findData(chosen)) : 0);
    // The open list may be wider than its box, so that long names can be read.
    QAbstractItemView *list = box->view();
    list->setMinimumWidth(
        qMin(list->sizeHintForColumn(0) + list->verticalScrollBar()->sizeHint().width(),
             box->screen()->availableGeometry().width() / 2));
}

} // namespace

void fillGroups(QComboBox *box)
{
    QList<SqlRow> rows;
    if (QueryRows(box->window(), groupsQuery(), rows))
        fillChoice(box, ProductFilters::tr("Все группы"), groupChoices(rows));
}

void fillBrands(QComboBox *box)
{
    QList<SqlRow> rows;
    if (!QueryRows(box->window(), QStringLiteral("SELECT id,name FROM brands ORDER BY name;"),
                   rows))
        return;
    QList<Choice> brands;
    for (const SqlRow &row : std::as_const(rows))
        brands += {row.at(0).toULongLong(), row.at(1).toString()};
    fillChoice(box, ProductFilters::tr("Все производители"), brands);
}

std::optional<qulonglong> chosenId(const QComboBox *box)
{
    const QVariant id = box->currentData();
    return id.isValid() ? std::optional(id.toULongLong()) : std::nullopt;
}
