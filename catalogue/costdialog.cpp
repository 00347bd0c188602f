#include "catalogue/costdialog.h"
#include "ui_costdialog.h"

#include "app/messages.h"
#include "catalogue/barcode.h"
#include "catalogue/productprices.h"
#include "catalogue/productstore.h"
#include "db/connections.h"
#include "db/money.h"
#include "db/session.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"
#include "widgets/runwithprogress.h"

#include <QHeaderView>

#include <algorithm>

namespace {

constexpr qsizetype fewProducts = 50;

enum Column { IdColumn, NameColumn, RatioColumn, OutcostColumn };

} // namespace

bool CostDialog::change(QWidget *parent, const QList<qulonglong> &ids)
{
    if (ids.isEmpty())
        return false;
    const CommandScope command;
    CostDialog dialog(ids, parent);
    return openConnection(mainConnection) && dialog.exec() == Accepted;
}

CostDialog::CostDialog(const QList<qulonglong> &ids, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::CostDialog>()),
      m_ids(ids)
{
    m_ui->setupUi(this);
    const QString currency = Session::instance().mainCurrencySymbol();
    m_ui->incostCurrencyLabel->setText(currency);
    m_ui->outcostCurrencyLabel->setText(currency);
    constexpr int moneyDecimals = 2;
    m_ui->incostDoubleSpinBox->setLeastDecimals(moneyDecimals);
    m_ui->outcostDoubleSpinBox->setLeastDecimals(moneyDecimals);

    QList<Product> prices;
    if (!loadProducts(parent, ids, ProductColumns::PriceList, prices) || prices.isEmpty()) {
        m_ui->acceptPushButton->setEnabled(false);
        return;
    }
    showProducts(prices);
    proposeValues(prices);
    focusValue();
    keepDialogSize(this);
}

CostDialog::~CostDialog() = default;

void CostDialog::on_acceptPushButton_clicked()
{
    PriceChange change;
    if (m_ui->incostGroupBox->isChecked()) {
        if (!checkField(m_ui->incostDoubleSpinBox, tr("Введите приходную цену больше нуля."),
                        tr("Подтвердите приходную цену: ")))
            return;
        change.incost = m_ui->incostDoubleSpinBox->exact();
    }
    if (m_ui->ratioRadioButton->isChecked()) {
        if (!checkField(m_ui->ratioDoubleSpinBox, tr("Введите коэффициент больше нуля."),
                        tr("Подтвердите коэффициент: ")))
            return;
        change.ratio = m_ui->ratioDoubleSpinBox->exact();
    } else {
        if (!checkField(m_ui->outcostDoubleSpinBox, tr("Введите расходную цену больше нуля."),
                        tr("Подтвердите расходную цену: ")))
            return;
        change.outcost = m_ui->outcostDoubleSpinBox->exact();
    }
    const CommandScope command;
    // What failed has been told, and the rest is written: the list has to be read again.
    runWithProgress(this, tr("Изменение цен"), Stopping::Harmless, [&](Progress &progress) {
        // For a few products a window would only flash up.
        changePrices(this, m_ids, change,
                     m_ids.size() > fewProducts ? progress.steps() : ProgressStep());
    });
    accept();
}

void CostDialog::on_cancelPushButton_clicked()
{
    reject();
}

void CostDialog::on_incostGroupBox_toggled(bool checked)
{
    if (checked) {
        m_ui->incostDoubleSpinBox->setFocus();
        m_ui->incostDoubleSpinBox->selectAll();
    }
}

void CostDialog::on_ratioRadioButton_toggled(bool checked)
{
    m_ui->ratioDoubleSpinBox->setEnabled(checked);
    m_ui->outcostDoubleSpinBox->setEnabled(!checked);
    focusValue();
}

void CostDialog::showProducts(const QList<Product> &prices)
{
    QTableWidget *table = m_ui->productsTableWidget;
    table->setRowCount(int(prices.size()));
    const auto addNumber = [table](int row, Column column, const QString &text) {
        auto *item = new QTableWidgetItem(text);
        item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        table->setItem(row, column, item);
    };
    for (int row = 0; row < prices.size(); ++row) {
        const Product &price = prices.at(row);
        addNumber(row, IdColumn, QString::number(price.id));
        auto *name = new QTableWidgetItem(price.name.simplified());
        name->setToolTip(plainToolTip(price.name));
        table->setItem(row, NameColumn, name);
        addNumber(row, RatioColumn, formatFactor(price.inoutratio));
        addNumber(row, OutcostColumn, formatMoney(price.outcost));
    }
    QHeaderView *header = table->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    m_ui->productsLabel->setText(tr("&Наименования (%1):").arg(prices.size()));
}

/// What all the products have in common; where they differ, the field is left at 0, which is not
/// accepted.
void CostDialog::proposeValues(const QList<Product> &prices)
{
    const Product &first = prices.first();
    const auto common = [&](double Product::*member) {
        const bool same = std::all_of(prices.begin(), prices.end(),
                                      [&](const Product &p) { return p.*member == first.*member; });
        return same ? first.*member : 0;
    };
    m_ui->ratioDoubleSpinBox->setExact(std::max(0.0, common(&Product::inoutratio)));
    m_ui->outcostDoubleSpinBox->setExact(common(&Product::outcost));
    const bool allFixed = std::all_of(prices.begin(), prices.end(),
                                      [](const Product &p) { return !(p.inoutratio > 0); });
    m_ui->fixedRadioButton->setChecked(allFixed);
    if (prices.size() == 1) {
        if (const auto price = readProductPrice(parentWidget(), first.id))
            m_ui->incostDoubleSpinBox->setExact(price->incost);
    }
}

void CostDialog::focusValue()
{
    NumberSpinBox *field =
        m_ui->ratioRadioButton->isChecked() ? m_ui->ratioDoubleSpinBox : m_ui->outcostDoubleSpinBox;
    field->setFocus();
    field->selectAll();
}

/// Refuses what was not entered, and asks about a barcode that a scanner has left in the field.
bool CostDialog::checkField(NumberSpinBox *field, const QString &refusal, const QString &question)
{
    bool good = field->hasAcceptableInput() && field->value() > 0;
    if (!good)
        showInformation(this, field->hasAcceptableInput() ? refusal : field->fault());
    else if (field->isChanged() && looksLikeBarcode(field->text()))
        good = askQuestion(this, question + field->text(), {tr("Подтвердить"), tr("Отмена")}, 1,
                           1) == 0;
    if (good)
        return true;
    field->setFocus();
    field->selectAll();
    return false;
}
