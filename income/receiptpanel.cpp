#include "income/receiptpanel.h"
#include "ui_receiptpanel.h"

#include "db/money.h"
#include "income/receiptlist.h"
#include "widgets/columnwidths.h"
#include "widgets/foldingrow.h"
#include "widgets/placeholder.h"
#include "widgets/tableplace.h"

namespace {

constexpr int longestCode = 17; ///< signs of a barcode that must be legible in any window

} // namespace

ReceiptPanel::ReceiptPanel(QWidget *parent)
    : QGroupBox(parent),
      m_ui(std::make_unique<Ui::ReceiptPanel>()),
      m_lines(new ReceiptListModel(this))
{
    m_ui->setupUi(this);
    m_ui->incomeinvoiceTableView->setModel(m_lines);
    m_widths = new ColumnWidths(m_ui->incomeinvoiceTableView, m_lines);
    new FoldingRow(m_ui->codeRowLayout, this);
    setPlaceholders(m_ui->codeLineEdit, {tr("Штрих-код или номер наименования"),
                                         tr("Штрих-код или номер"), tr("Штрих-код")});
    m_ui->codeLineEdit->setMinimumWidth(m_ui->codeLineEdit->fontMetrics().averageCharWidth() *
                                        longestCode);
    // As narrow as the folded row allows; the layout would ask for what it needs at present.
    layout()->activate();
    setMinimumWidth(minimumSizeHint().width());
    fitRows();
    connect(m_ui->codeLineEdit, &QLineEdit::returnPressed, this, &ReceiptPanel::codeEntered);
    connect(m_ui->applyIncomeInvoicePushButton, &QPushButton::clicked, this,
            &ReceiptPanel::postingWanted);
}

ReceiptPanel::~ReceiptPanel() = default;

void ReceiptPanel::refresh()
{
    QTableView *view = m_ui->incomeinvoiceTableView;
    const TablePlace place(view, m_lines);
    if (!m_lines->refresh(window(), m_ui->ratioCheckBox->isChecked()))
        return;
    m_widths->resizeToContents();
    place.restore();
    showTotals();
}

void ReceiptPanel::showTotals()
{
    m_ui->in_totalLabel->setText(tr("Приходный итог: ") + formatMoney(m_lines->purchaseTotal()));
    m_ui->totalLabel->setText(tr("Расходный итог: ") + formatMoney(m_lines->sellingTotal()));
    QString counts =
        tr("Строк: %1, единиц: %2")
            .arg(QString::number(m_lines->rowCount()), formatQuantity(m_lines->unitCount()));
    if (const std::optional<double> sum = m_lines->purchaseSum())
        counts += tr(", приходная сумма: %1").arg(formatMoney(*sum));
    emit counted(counts);
}

void ReceiptPanel::showLine(qulonglong wareid)
{
    const int row = m_lines->rowOfId(wareid, QStringLiteral("wareid"));
    if (row < 0)
        return;
    m_ui->incomeinvoiceTableView->selectRow(row);
    m_ui->incomeinvoiceTableView->scrollTo(
        m_lines->index(row, m_lines->columnOf(QStringLiteral("name"))));
}

qulonglong ReceiptPanel::currentProduct() const
{
    const QModelIndex current = m_ui->incomeinvoiceTableView->currentIndex();
    return current.isValid() ? m_lines->wareId(current.row()) : 0;
}

void ReceiptPanel::openCurrent()
{
    on_incomeinvoiceTableView_doubleClicked(m_ui->incomeinvoiceTableView->currentIndex());
}

QList<ShownLine> ReceiptPanel::selectedLines() const
{
    QList<ShownLine> lines;
    const QModelIndexList rows = m_ui->incomeinvoiceTableView->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows)
        lines += m_lines->shownLine(index.row());
    return lines;
}

int ReceiptPanel::lineCount() const
{
    return m_lines->rowCount();
}

bool ReceiptPanel::startsInPrice() const
{
    return m_ui->incostCheckBox->isChecked();
}

void ReceiptPanel::releaseMultiplier()
{
    if (!m_ui->lockPushButton->isChecked())
        m_ui->multiplierSpinBox->setValue(1);
}

QLineEdit *ReceiptPanel::codeField() const
{
    return m_ui->codeLineEdit;
}

QSpinBox *ReceiptPanel::multiplier() const
{
    return m_ui->multiplierSpinBox;
}

QTableView *ReceiptPanel::table() const
{
    return m_ui->incomeinvoiceTableView;
}

ScanBar *ReceiptPanel::scanBar() const
{
    return m_ui->scanBar;
}

QWidgetList ReceiptPanel::tabChain() const
{
    return {m_ui->codeLineEdit,  m_ui->multiplierSpinBox, m_ui->lockPushButton,
            m_ui->ratioCheckBox, m_ui->incostCheckBox,    m_ui->incomeinvoiceTableView,
            m_ui->labelsButton,  m_ui->printPushButton,   m_ui->applyIncomeInvoicePushButton};
}

void ReceiptPanel::fitRows()
{
    fitRowHeights(m_ui->incomeinvoiceTableView);
}

void ReceiptPanel::on_ratioCheckBox_toggled(bool)
{
    emit refreshWanted();
}

void ReceiptPanel::on_incomeinvoiceTableView_doubleClicked(const QModelIndex &index)
{
    if (index.isValid())
        emit lineOpened(m_lines->wareId(index.row()), m_lines->lineId(index.row()));
}

void ReceiptPanel::on_incomeinvoiceTableView_customContextMenuRequested(const QPoint &position)
{
    emit menuWanted(m_ui->incomeinvoiceTableView->viewport()->mapToGlobal(position));
}
