#include "catalogue/pricehistorydialog.h"

#include "ui_pricehistorydialog.h"

#include "catalogue/productstore.h"
#include "db/money.h"
#include "db/sqltext.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableclipboard.h"

#include <QDateTime>

namespace {

QList<TableColumn> historyColumns()
{
    using Dialog = PriceHistoryDialog;
    return {
        {"id", "income.id", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"posted", "COALESCE(incomereports.timestamp, income.timestamp) AS posted",
         Dialog::tr("Время"), ColumnKind::Time, ColumnWidth::Whole},
        {"reportid", "income.reportid", Dialog::tr("Накладная"), ColumnKind::Id},
        {"quantity", "income.quantity", Dialog::tr("Кол-во"), ColumnKind::Quantity,
         ColumnWidth::Whole},
        {"incost", "income.incost", Dialog::tr("Прих.цена"), ColumnKind::Money, ColumnWidth::Whole},
        {"user", "users.name AS username", Dialog::tr("Кто принял"), ColumnKind::Name,
         ColumnWidth::Rest},
    };
}

} // namespace

PriceHistoryDialog::PriceHistoryDialog(qulonglong wareid, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::PriceHistoryDialog>()),
      m_model(new SqlTableModel(this))
{
    m_ui->setupUi(this);
    QTableView *view = m_ui->historyTableView;
    view->addAction(m_ui->copyAction);
    m_model->setColumns(historyColumns());
    view->setModel(m_model);
    fitRowHeights(view);
    auto *widths = new ColumnWidths(view, m_model);
    m_ui->stepPlot->setEmptyText(tr("Приходов этого наименования ещё не было."));
    read(wareid);
    widths->resizeToContents();
    plot();
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) {
                m_ui->stepPlot->setCurrent(int(m_rows.indexOf(current.row())));
            });
    keepDialogSize(this);
}

PriceHistoryDialog::~PriceHistoryDialog() = default;

void PriceHistoryDialog::read(qulonglong wareid)
{
    const CommandScope command;
    Product product;
    if (loadProduct(this, wareid, ProductColumns::Receipt, product) == LoadState::Loaded)
        m_ui->nameLabel->setText(breakable(product.name));
    m_model->select(this,
                    selectList(historyColumns()) +
                        " FROM income LEFT JOIN incomereports ON incomereports.id=income.reportid "
                        "LEFT JOIN users ON users.id=income.userid WHERE income.wareid=" +
                        sql::quotedId(wareid) + " ORDER BY posted DESC, income.id DESC;");
}

/// The table begins with what is of interest, the latest; the plot runs the way of time.
void PriceHistoryDialog::plot()
{
    QList<StepPlot::Point> points;
    for (int row = m_model->rowCount() - 1; row >= 0; --row) {
        const QDateTime time = QDateTime::fromString(
            m_model->value(row, QStringLiteral("posted")).toString(), "yyyy-MM-dd hh:mm:ss");
        const double price = m_model->value(row, QStringLiteral("incost")).toDouble();
        if (!time.isValid() || !qIsFinite(price))
            continue;
        points += {time, price,
                   tr("%1 — %2").arg(time.toString(QStringLiteral("dd.MM.yyyy hh:mm")),
                                     formatMoney(price))};
        m_rows += row;
    }
    m_ui->stepPlot->setPoints(points);
}

void PriceHistoryDialog::on_stepPlot_currentChanged(int point)
{
    if (point >= 0)
        m_ui->historyTableView->selectRow(m_rows.at(point));
}

void PriceHistoryDialog::on_copyAction_triggered()
{
    copySelectedRows(m_ui->historyTableView);
}

void PriceHistoryDialog::on_closePushButton_clicked()
{
    accept();
}
