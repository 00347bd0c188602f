#include "catalogue/currenciesdialog.h"

#include "ui_currenciesdialog.h"

#include "catalogue/currencydialog.h"
#include "catalogue/productprices.h"
#include "db/session.h"
#include "widgets/progressdialog.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableplace.h"

CurrenciesDialog::CurrenciesDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::CurrenciesDialog>()),
      m_model(new SqlTableModel(this))
{
    m_ui->setupUi(this);
    m_ui->resultLabel->clear();
    m_model->setColumns({{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                         {"c_code", "c_code", tr("Код")},
                         {"symbol", "symbol", tr("Символ")},
                         {"value", "value", tr("Курс"), ColumnKind::Factor}});
    m_ui->currenciesTableView->setModel(m_model);
    connect(m_ui->currenciesTableView->selectionModel(), &QItemSelectionModel::currentRowChanged,
            this, [this](const QModelIndex &current) {
                m_ui->editPushButton->setEnabled(current.isValid());
            });
    m_ui->editPushButton->setEnabled(false);
    refresh();
}

CurrenciesDialog::~CurrenciesDialog() = default;

void CurrenciesDialog::refresh()
{
    const TablePlace place(m_ui->currenciesTableView, m_model);
    m_model->select(this, selectList(m_model->columns()) + " FROM currencies ORDER BY id;");
    m_ui->currenciesTableView->hideColumn(0);
    place.restore();
    m_ui->editPushButton->setEnabled(m_ui->currenciesTableView->currentIndex().isValid());
}

void CurrenciesDialog::on_currenciesTableView_activated(const QModelIndex &index)
{
    editRow(index.row());
}

void CurrenciesDialog::on_addPushButton_clicked()
{
    edit(0);
}

void CurrenciesDialog::on_editPushButton_clicked()
{
    editRow(m_ui->currenciesTableView->currentIndex().row());
}

void CurrenciesDialog::editRow(int row)
{
    if (const qulonglong id = m_model->value(row, "id").toULongLong(); id != 0)
        edit(id);
}

void CurrenciesDialog::edit(qulonglong id)
{
    CurrencyDialog dialog(id, this);
    if (dialog.exec() != Accepted)
        return;
    const CommandScope command;
    refresh();
    Session::instance().refreshRates(this, mainConnection);
}

void CurrenciesDialog::on_calculateOutcostPushButton_clicked()
{
    const CommandScope command;
    std::unique_ptr<ProgressDialog> progress;
    const auto advance = [&](int done, int total) {
        if (!progress)
            progress = std::make_unique<ProgressDialog>(tr("Пересчёт расходных цен"), total, this);
        progress->advance(done);
    };
    const PriceRecalculation result = recalculateSellingPrices(this, mainConnection, advance);
    QString text = result.read ? tr("Изменено расходных цен: %1").arg(result.changed)
                               : tr("Расходные цены не пересчитаны.");
    if (result.failed > 0)
        text += tr(", с ошибками: %1").arg(result.failed);
    if (result.left > 0)
        text += tr(", не пересчитано: %1").arg(result.left);
    m_ui->resultLabel->setText(text);
}

void CurrenciesDialog::on_closePushButton_clicked()
{
    accept();
}
