#include "labels/labelstable.h"

#include <QSpinBox>
#include <QStyledItemDelegate>
#include <QTableView>

#include "app/messages.h"
#include "labels/labelqueue.h"
#include "widgets/columnwidths.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableplace.h"

namespace {

const QString quantityKey = QStringLiteral("quantity");
constexpr int mostCopies = 1000000;

class QuantityDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem & /*option*/,
                          const QModelIndex & /*index*/) const override
    {
        auto *field = new QSpinBox(parent);
        field->setFrame(false);
        field->setRange(0, mostCopies);
        return field;
    }
};

} // namespace

/// The rows of the queue; what is typed into a cell is only reported.
class LabelsModel final : public SqlTableModel
{
    Q_OBJECT

public:
    explicit LabelsModel(QObject *parent)
        : SqlTableModel(parent)
    {
        setColumns(labelColumns());
    }

    Qt::ItemFlags flags(const QModelIndex &index) const override
    {
        const QString key = columns().value(index.column()).key;
        const bool editable = key == QLatin1String("name") || key == quantityKey;
        return SqlTableModel::flags(index) |
               (editable ? Qt::ItemIsEditable : Qt::ItemFlags(Qt::NoItemFlags));
    }

    bool setData(const QModelIndex &index, const QVariant &newValue, int role) override
    {
        const QVariant shown = value(index.row(), index.column());
        if (role != Qt::EditRole || shown.toString() == newValue.toString())
            return false;
        emit edited(idOf(index.row()), columns().at(index.column()).key, shown, newValue);
        return true;
    }

signals:
    void edited(qulonglong id, const QString &column, const QVariant &shown,
                const QVariant &newValue);
};

LabelsTable::LabelsTable(QTableView *view)
    : QObject(view),
      m_view(view),
      m_model(new LabelsModel(this))
{
    view->setModel(m_model);
    view->setItemDelegateForColumn(m_model->columnOf(quantityKey), new QuantityDelegate(view));
    fitRowHeights(view);
    m_widths = new ColumnWidths(view, m_model);
    // Later, for the editor still stands in the cell.
    connect(m_model, &LabelsModel::edited, this, &LabelsTable::edit, Qt::QueuedConnection);
}

bool LabelsTable::refresh()
{
    const TablePlace place(m_view, m_model);
    if (!m_model->select(m_view->window(), labelsSelect()))
        return false;
    place.restore();
    if (m_sized)
        m_widths->growWhole();
    else
        m_widths->resizeToContents();
    m_sized = m_sized || m_model->rowCount() > 0;
    emit refreshed();
    return true;
}

void LabelsTable::showEnd()
{
    m_view->selectRow(m_model->rowCount() - 1);
    m_view->scrollToBottom();
}

QList<SheetPlan::Row> LabelsTable::rows() const
{
    QList<SheetPlan::Row> rows;
    rows.reserve(m_model->rowCount());
    const int column = m_model->columnOf(quantityKey);
    for (int row = 0; row < m_model->rowCount(); ++row)
        rows += {m_model->idOf(row), labelCount(m_model->value(row, column).toDouble())};
    return rows;
}

QList<qulonglong> LabelsTable::selectedIds() const
{
    QList<qulonglong> ids;
    for (const QModelIndex &index : m_view->selectionModel()->selectedRows())
        ids += m_model->idOf(index.row());
    return ids;
}

double LabelsTable::currentQuantity() const
{
    const int column = m_model->columnOf(quantityKey);
    return m_model->value(m_view->currentIndex().row(), column).toDouble();
}

bool LabelsTable::mayReplace(const QVariant &stored, const QVariant &value)
{
    return askQuestion(m_view->window(),
                       tr("На другом рабочем месте здесь записали «%1». Заменить на «%2»?")
                           .arg(stored.toString(), value.toString()),
                       {tr("Заменить"), tr("Оставить")}, 1, 1) == 0;
}

void LabelsTable::edit(qulonglong id, const QString &column, QVariant shown, const QVariant &value)
{
    if (column == quantityKey && !mayAddCopies(m_view->window(), value.toInt(), {}))
        return;
    LabelEdit outcome = editLabel(m_view->window(), id, column, &shown, value);
    while (outcome == LabelEdit::Changed && mayReplace(shown, value))
        outcome = editLabel(m_view->window(), id, column, &shown, value);
    if (outcome == LabelEdit::Gone)
        showInformation(m_view->window(), tr("Эту строку удалили на другом рабочем месте."));
    refresh();
}

#include "labelstable.moc"
