#include "income/missedcodesdialog.h"
#include "ui_missedcodesdialog.h"

#include "app/messages.h"
#include "catalogue/colorsqlquerymodel.h"
#include "catalogue/productlist.h"
#include "catalogue/waredialog.h"
#include "income/codelookup.h"
#include "income/missedcodes.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogplace.h"

#include <QHeaderView>

namespace {

enum Column { CodeColumn, ReasonColumn, TimeColumn, TimesColumn, ColumnCount };

constexpr int filterDelayMs = 150; ///< typing goes on before the products are read again

} // namespace

MissedCodesDialog::MissedCodesDialog(MissedCodes *codes, const QString &productFilter,
                                     QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::MissedCodesDialog>()),
      m_codes(codes),
      m_products(new ColorSqlQueryModel(this, productColumns()))
{
    m_ui->setupUi(this);
    m_ui->resultLabel->clear();
    m_ui->packDoubleSpinBox->setExact(1);
    m_ui->productsTableView->setModel(m_products);
    m_widths = new ColumnWidths(m_ui->productsTableView, m_products);
    m_ui->productsTableView->horizontalHeader()->setResizeContentsPrecision(100);
    m_ui->splitter->setStretchFactor(0, 2);
    m_ui->splitter->setStretchFactor(1, 3);
    m_filterTimer.setSingleShot(true);
    connect(&m_filterTimer, &QTimer::timeout, this, &MissedCodesDialog::showProducts);
    showCodes();
    m_ui->filterLineEdit->setText(productFilter);
    showProducts();
    connect(m_ui->codesTableWidget, &QTableWidget::currentCellChanged, this,
            [this] { updateButtons(); });
    connect(m_ui->productsTableView->selectionModel(), &QItemSelectionModel::currentRowChanged,
            this, [this] { updateButtons(); });
    m_ui->filterLineEdit->setFocus();
    keepDialogSize(this);
}

MissedCodesDialog::~MissedCodesDialog() = default;

QString MissedCodesDialog::code() const
{
    return m_code;
}

qulonglong MissedCodesDialog::wareid() const
{
    return m_wareid;
}

double MissedCodesDialog::units() const
{
    return m_units;
}

void MissedCodesDialog::on_filterLineEdit_textChanged(const QString &)
{
    m_filterTimer.start(filterDelayMs);
}

void MissedCodesDialog::on_filterLineEdit_returnPressed()
{
    // Reads on, but binds nothing: what is selected may still be of the former filter.
    showProducts();
    if (m_products->rowCount() > 0)
        m_ui->productsTableView->setFocus();
}

void MissedCodesDialog::on_bindPushButton_clicked()
{
    if (m_filterTimer.isActive())
        showProducts();
    NumberSpinBox *pack = m_ui->packDoubleSpinBox;
    if (!pack->hasAcceptableInput() || !(pack->exact() > 0)) {
        showInformation(this,
                        tr("Введите, сколько единиц товара означает код: число больше нуля."));
        pack->setFocus();
        pack->selectAll();
        return;
    }
    const int row = currentRow();
    const qulonglong wareid = currentProduct();
    if (row >= 0 && m_codes->all().at(row).whole && wareid != 0 &&
        bindCode(this, m_codes->all().at(row).code, wareid, pack->exact()) == BindResult::Bound)
        finish(wareid, pack->exact());
}

void MissedCodesDialog::on_createPushButton_clicked()
{
    const int row = currentRow();
    if (row < 0)
        return;
    const QString code = m_codes->all().at(row).code;
    const qulonglong wareid = createProduct(this, {}, code);
    if (wareid == 0)
        return;
    // How much the code stands for was entered in the card, where it may even have been struck off.
    const CodeResult found = lookUpCode(this, code);
    finish(wareid, found.wareid == wareid ? found.packQuantity : 1);
}

void MissedCodesDialog::on_searchPushButton_clicked()
{
    const int row = currentRow();
    if (row < 0)
        return;
    const QString code = m_codes->all().at(row).code;
    CodeResult found = lookUpCode(this, code);
    if (found.kind == CodeKind::NotFound)
        found = lookUpReferenceCode(this, code, false);
    if (found.kind == CodeKind::Product)
        finish(found.wareid, found.packQuantity);
    else if (found.kind == CodeKind::NotFound)
        m_ui->resultLabel->setText(tr("Не найден: %1").arg(code));
}

void MissedCodesDialog::on_removePushButton_clicked()
{
    const int row = currentRow();
    if (row < 0)
        return;
    m_codes->remove(m_codes->all().at(row).code);
    showCodes();
    if (m_codes->isEmpty())
        reject();
}

void MissedCodesDialog::on_closePushButton_clicked()
{
    reject();
}

void MissedCodesDialog::on_productsTableView_doubleClicked(const QModelIndex &)
{
    on_bindPushButton_clicked();
}

void MissedCodesDialog::showCodes()
{
    QTableWidget *table = m_ui->codesTableWidget;
    const int row = qMax(0, table->currentRow());
    const QList<MissedCode> &codes = m_codes->all();
    table->setColumnCount(ColumnCount);
    table->setRowCount(int(codes.size()));
    for (int i = 0; i < codes.size(); ++i) {
        table->setItem(i, CodeColumn, new QTableWidgetItem(codes.at(i).code));
        table->setItem(i, ReasonColumn, new QTableWidgetItem(codes.at(i).reason));
        table->setItem(i, TimeColumn,
                       new QTableWidgetItem(codes.at(i).since.toString(QStringLiteral("hh:mm"))));
        table->setItem(i, TimesColumn, new QTableWidgetItem(QString::number(codes.at(i).times)));
    }
    table->resizeColumnsToContents();
    table->horizontalHeader()->setSectionResizeMode(ReasonColumn, QHeaderView::Stretch);
    table->setCurrentCell(qMin(row, table->rowCount() - 1), CodeColumn);
    updateButtons();
}

void MissedCodesDialog::showProducts()
{
    m_filterTimer.stop();
    const std::optional<PagedSelect> list =
        productPages(this, {.text = m_ui->filterLineEdit->text().trimmed()});
    // Whether a second product follows must be known at once, the others may come later.
    if (!list || !m_products->selectPages(this, *list, 2))
        return;
    QTableView *view = m_ui->productsTableView;
    m_widths->resizeToContents();
    // Of several it is the user's choice: Return must not bind a code to just any of them.
    if (m_products->rowCount() == 1)
        view->selectRow(0);
    updateButtons();
}

void MissedCodesDialog::updateButtons()
{
    const int row = currentRow();
    const bool whole = row >= 0 && m_codes->all().at(row).whole;
    m_ui->bindPushButton->setEnabled(whole && currentProduct() != 0);
    m_ui->createPushButton->setEnabled(whole);
    m_ui->searchPushButton->setEnabled(whole);
    m_ui->removePushButton->setEnabled(row >= 0);
}

int MissedCodesDialog::currentRow() const
{
    const int row = m_ui->codesTableWidget->currentRow();
    return row < m_codes->all().size() ? row : -1;
}

qulonglong MissedCodesDialog::currentProduct() const
{
    const QModelIndex current = m_ui->productsTableView->currentIndex();
    return current.isValid() ? m_products->idOf(current.row()) : 0;
}

void MissedCodesDialog::finish(qulonglong wareid, double packQuantity)
{
    const MissedCode &code = m_codes->all().at(currentRow());
    m_code = code.code;
    m_wareid = wareid;
    m_units = packQuantity * code.times;
    accept();
}
