#include "catalogue/referencelist.h"

#include "catalogue/productlist.h"
#include "widgets/colors.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>

namespace {

constexpr int comparedAtOnce = 60;   ///< rows on a screen, or somewhat more
constexpr int mostCompared = 20'000; ///< that are kept

QList<TableColumn> referenceColumns()
{
    return {
        {"id", "warehouse.id", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"article", "warehouse.article", ReferenceList::tr("Арт.")},
        {"name", "warehouse.name", ReferenceList::tr("Наименование"), ColumnKind::Name,
         ColumnWidth::Rest},
        {"outcost", "warehouse.outcost", ReferenceList::tr("Цена"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"quantity", "warehouse.quantity", ReferenceList::tr("Остаток"), ColumnKind::Quantity,
         ColumnWidth::Whole},
        {"state", "'' AS state", ReferenceList::tr("У нас")},
    };
}

} // namespace

ReferenceList::ReferenceList(QObject *parent)
    : SqlTableModel(parent)
{
    setColumns(referenceColumns());
    m_stateColumn = columnOf(QStringLiteral("state"));
    // Once rows can be read again, so can the comparisons be.
    const auto tryAgain = [this] {
        m_failed = false;
    };
    connect(this, &QAbstractItemModel::modelReset, this, tryAgain);
    connect(this, &QAbstractItemModel::rowsInserted, this, tryAgain);
}

std::optional<PagedSelect> ReferenceList::pages(QWidget *parent, const QString &text) const
{
    return productPages(parent, {.text = text}, columns());
}

std::optional<Comparison> ReferenceList::comparison(int row) const
{
    const qulonglong id = idOf(row);
    if (id == 0)
        return {};
    if (!m_comparisons.contains(id) && !m_failed) {
        if (m_comparisons.size() > mostCompared)
            m_comparisons.clear();
        QList<qulonglong> ids;
        const int first = std::max(0, row - comparedAtOnce / 2);
        for (int i = first; i < std::min(rowCount(), first + comparedAtOnce); ++i)
            ids += idOf(i);
        // In the middle of painting nobody is asked, and nobody waits for a dead server again and
        // again while the user scrolls.
        m_failed = !readComparisons(nullptr, ids, m_comparisons);
        for (const qulonglong tried : std::as_const(ids)) {
            if (!m_failed && !m_comparisons.contains(tried))
                m_comparisons.insert(tried, {}); // is not there any more
        }
    }
    if (!m_comparisons.contains(id))
        return {};
    return m_comparisons.value(id);
}

void ReferenceList::forget()
{
    m_comparisons.clear();
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

QVariant ReferenceList::data(const QModelIndex &index, int role) const
{
    const bool isState = index.column() == m_stateColumn;
    if (role == Qt::DisplayRole && isState) {
        const std::optional<Comparison> compared = comparison(index.row());
        return compared ? stateText(*compared) : tr("не сравнено");
    }
    if (role == Qt::ForegroundRole || (role == Qt::BackgroundRole && isState)) {
        const Comparison compared = comparison(index.row()).value_or(Comparison());
        const QPalette palette = QGuiApplication::palette();
        if (role == Qt::ForegroundRole && compared.theirs.exists() && !compared.ours.exists())
            return blendColors(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.3);
        if (role == Qt::BackgroundRole && !differences(compared).isEmpty())
            return differenceColor(palette);
    }
    return SqlTableModel::data(index, role);
}

QString ReferenceList::stateText(const Comparison &comparison) const
{
    if (!comparison.theirs.exists())
        return {};
    if (!comparison.ours.exists())
        return tr("нет");
    const QList<ComparedField> fields = differences(comparison);
    if (fields.isEmpty())
        return tr("так же");
    QStringList words;
    for (const ComparedField field : fields)
        words += fieldTitle(field);
    return tr("иначе: %1").arg(words.join(QLatin1String(", ")).toLower());
}
