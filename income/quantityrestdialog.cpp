#include "income/quantityrestdialog.h"
#include "ui_quantityrestdialog.h"

#include "app/messages.h"
#include "catalogue/barcode.h"
#include "db/connections.h"
#include "db/money.h"
#include "db/session.h"
#include "income/pricerules.h"
#include "widgets/plaintext.h"

#include <QDate>
#include <QKeyEvent>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace {

constexpr double largestUnquestioned = 99999;
constexpr double largestUnquestionedRatio = 100;
constexpr int mostQuantityDecimals = 6;

const QString storedDate = QStringLiteral("yyyy-MM-dd");
const QString shownDate = QStringLiteral("dd.MM.yyyy");

/// Reads a date as a person types it: 31.12.2027, 31.12.27, 31122027, 311227, other signs between.
/// A date field would correct the 31st away before the month is typed.
QDate dateOf(const QString &text)
{
    QStringList parts =
        text.split(QRegularExpression(QStringLiteral("[^0-9]+")), Qt::SkipEmptyParts);
    if (parts.size() == 1 && (parts.first().size() == 6 || parts.first().size() == 8)) {
        const QString digits = parts.first();
        parts = {digits.left(2), digits.mid(2, 2), digits.mid(4)};
    }
    if (parts.size() != 3 || (parts.at(2).size() != 2 && parts.at(2).size() != 4))
        return {};
    const int year = parts.at(2).toInt() + (parts.at(2).size() == 2 ? 2000 : 0);
    return QDate(year, parts.at(1).toInt(), parts.at(0).toInt());
}

/// Decimals that a quantity needs so that nothing of it is cut off.
int decimalsOf(double quantity)
{
    const QString text = QString::number(quantity, 'f', mostQuantityDecimals);
    qsizetype end = text.size();
    while (end > 0 && text.at(end - 1) == u'0')
        --end;
    return int(end - text.indexOf(u'.') - 1);
}

} // namespace

QuantityRestDialog::QuantityRestDialog(const ReceiptRequest &request, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::QuantityRestDialog>()),
      m_startInPrice(request.startInPrice)
{
    m_ui->setupUi(this);
    m_loadState = m_entry.load(parent, request);
    if (m_loadState != LoadState::Loaded)
        return;
    showProduct();
    showPrices();
    showQuantity();
    m_filled = true;
    // Room for the lines of a long name.
    resize(width(), std::max(height(), layout()->heightForWidth(width())));
    focusField(m_startInPrice ? m_ui->incostDoubleSpinBox : m_ui->quantityDoubleSpinBox);
}

QuantityRestDialog::~QuantityRestDialog() = default;

LoadState QuantityRestDialog::loadState() const
{
    return m_loadState;
}

const ReceiptProduct &QuantityRestDialog::product() const
{
    return m_entry.product();
}

double QuantityRestDialog::acceptedQuantity() const
{
    return m_ui->quantityDoubleSpinBox->exact();
}

int QuantityRestDialog::exec()
{
    return m_loadState == LoadState::Loaded ? QDialog::exec() : int(Rejected);
}

void QuantityRestDialog::keyPressEvent(QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && m_startInPrice && m_ui->incostDoubleSpinBox->hasFocus()) {
        if (checkPrice(m_ui->incostDoubleSpinBox, tr("Подтвердите приходную цену: ")))
            focusField(m_ui->quantityDoubleSpinBox);
        return;
    }
    QDialog::keyPressEvent(event);
}

void QuantityRestDialog::on_acceptPushButton_clicked()
{
    if (!checkQuantity() || !checkPrices() || !checkExpiry())
        return;
    const CommandScope command;
    switch (m_entry.save(this, input())) {
    case SaveState::Saved:
        accept();
        break;
    case SaveState::Changed:
        showQuantity();
        focusField(m_ui->quantityDoubleSpinBox);
        break;
    case SaveState::Failed:
        break;
    }
}

void QuantityRestDialog::on_cancelPushButton_clicked()
{
    reject();
}

void QuantityRestDialog::on_incostDoubleSpinBox_valueChanged(double)
{
    updateOutcost();
}

void QuantityRestDialog::on_ratioDoubleSpinBox_valueChanged(double)
{
    updateOutcost();
}

void QuantityRestDialog::on_ratioCheckBox_toggled(bool checked)
{
    m_ui->ratioDoubleSpinBox->setEnabled(checked);
    m_ui->outcostDoubleSpinBox->setReadOnly(checked);
    m_ui->outcostDoubleSpinBox->setFocusPolicy(checked ? Qt::ClickFocus : Qt::StrongFocus);
    // A field that cannot be typed into must not look like one that can.
    QPalette colors = palette();
    if (checked)
        colors.setColor(QPalette::Base, colors.color(QPalette::Window));
    m_ui->outcostDoubleSpinBox->setPalette(colors);
    updateOutcost();
    if (checked && m_filled)
        focusField(m_ui->ratioDoubleSpinBox);
}

void QuantityRestDialog::showProduct()
{
    const ReceiptProduct &product = m_entry.product();
    m_ui->nameLabel->setText(breakable(product.name));
    m_ui->nameLabel->setToolTip(plainToolTip(product.name));
    m_ui->idLabel->setText(QString::number(product.id));
    m_ui->articleLabel->setText(breakable(product.article));
    m_ui->stockLabel->setText(
        QStringLiteral("%1 %2").arg(formatQuantity(product.stock), product.unit));
    m_ui->unitLabel->setText(product.unit);

    // A stored text that is no date is shown as it is.
    const QDate expires = QDate::fromString(product.expiretime.left(storedDate.size()), storedDate);
    m_ui->expireLineEdit->setText(expires.isValid() ? expires.toString(shownDate)
                                                    : product.expiretime);
    m_shownExpiry = m_ui->expireLineEdit->text();

    m_ui->friendOutcostCheckBox->setVisible(isConnectionRegistered(friendConnection));
    m_ui->friendOutcostCheckBox->setEnabled(!product.wuid.isEmpty());
}

void QuantityRestDialog::showPrices()
{
    const QString currency = Session::instance().mainCurrencySymbol();
    m_ui->incostCurrencyLabel->setText(currency);
    m_ui->outcostCurrencyLabel->setText(currency);
    constexpr int moneyDecimals = 2;
    m_ui->incostDoubleSpinBox->setLeastDecimals(moneyDecimals);
    m_ui->outcostDoubleSpinBox->setLeastDecimals(moneyDecimals);

    const double incost = m_entry.proposedIncost();
    const double outcost = m_entry.proposedOutcost();
    const double ratio = m_entry.proposedInoutratio();
    m_ui->incostDoubleSpinBox->setExact(incost);
    m_ui->outcostDoubleSpinBox->setExact(outcost);
    // Without a coefficient the present one is proposed, should the user want to fix it.
    const double present = incost > 0 && outcost > 0 ? outcost / incost : 1;
    m_ui->ratioDoubleSpinBox->setExact(ratio > 0 ? ratio : std::round(present * 1e4) / 1e4);
    m_ui->ratioCheckBox->setChecked(ratio > 0);
}

void QuantityRestDialog::showQuantity()
{
    const std::optional<ReceiptLine> &line = m_entry.line();
    const double inLine = line ? line->quantity : 0;
    const double inAll = inLine + m_entry.otherLinesQuantity();
    const double added = m_entry.addedQuantity();
    QString text = tr("Уже в приходе: %1").arg(formatQuantity(inLine));
    if (m_entry.otherLinesQuantity() != 0)
        text += tr(" (во всех строках: %1)").arg(formatQuantity(inAll));
    m_ui->inReceiptLabel->setText(text);
    m_ui->sumLabel->setText(line && added != 0
                                ? formatQuantity(inLine) + (added < 0 ? " - " : " + ") +
                                      formatQuantity(std::abs(added))
                                : QString());

    const double quantity = m_entry.proposedQuantity();
    m_ui->quantityDoubleSpinBox->setDecimals(
        std::max(m_entry.product().decimals, decimalsOf(quantity)));
    m_ui->quantityDoubleSpinBox->setExact(quantity);
}

void QuantityRestDialog::updateOutcost()
{
    if (m_ui->ratioCheckBox->isChecked()) {
        m_ui->outcostDoubleSpinBox->setExact(
            sellingPrice(m_ui->incostDoubleSpinBox->exact(), m_ui->ratioDoubleSpinBox->exact()));
    }
}

void QuantityRestDialog::focusField(QWidget *field)
{
    field->setFocus();
    if (auto *spinBox = qobject_cast<QAbstractSpinBox *>(field))
        spinBox->selectAll();
    else if (auto *lineEdit = qobject_cast<QLineEdit *>(field))
        lineEdit->selectAll();
}

/// What is to be stored: as it was while nobody changed it, empty without a date; nothing when the
/// text is no date.
std::optional<QString> QuantityRestDialog::expiretime() const
{
    const QString text = m_ui->expireLineEdit->text();
    if (text == m_shownExpiry)
        return m_entry.product().expiretime;
    if (text.trimmed().isEmpty())
        return QString();
    const QDate date = dateOf(text);
    return date.isValid() ? std::optional(date.toString(storedDate)) : std::nullopt;
}

ReceiptInput QuantityRestDialog::input() const
{
    return {.quantity = m_ui->quantityDoubleSpinBox->exact(),
            .incost = m_ui->incostDoubleSpinBox->exact(),
            .inoutratio = m_ui->ratioCheckBox->isChecked() ? m_ui->ratioDoubleSpinBox->exact() : 0,
            .outcost = m_ui->outcostDoubleSpinBox->exact(),
            .expiretime = expiretime().value_or(QString()),
            .audited = m_ui->auditCheckBox->isChecked(),
            .passToReference = m_ui->friendOutcostCheckBox->isVisibleTo(this) &&
                               m_ui->friendOutcostCheckBox->isChecked()};
}

bool QuantityRestDialog::checkQuantity()
{
    NumberSpinBox *field = m_ui->quantityDoubleSpinBox;
    if (!field->hasAcceptableInput()) {
        return refuse(
            field,
            field->decimals() == 0
                ? tr("Количество этого товара указывается целым числом.")
                : tr("Знаков после запятой может быть не больше %1.").arg(field->decimals()));
    }
    const double quantity = field->exact();
    if (quantity == 0) {
        return refuse(field, tr("Количество не может быть нулевым. Чтобы убрать товар из прихода, "
                                "удалите его строку."));
    }
    if (std::abs(quantity) <= largestUnquestioned)
        return true;
    const QString typed = field->text();
    if (confirm(field, tr("Подтвердите количество: ") + QString::number(quantity, 'g', 6)))
        return true;
    // After a barcode the next Return must be able to take what was proposed.
    if (looksLikeBarcode(typed)) {
        showQuantity();
        focusField(field);
    }
    return false;
}

/// A price field takes what a person would type; what a scanner would is asked about.
bool QuantityRestDialog::checkPrice(NumberSpinBox *field, const QString &question)
{
    if (!field->hasAcceptableInput()) {
        return refuse(
            field,
            field->minimum() > 0
                ? tr("Коэффициент должен быть больше нуля, знаков после запятой "
                     "может быть не больше %1.")
                      .arg(field->decimals())
                : tr("Знаков после запятой может быть не больше %1.").arg(field->decimals()));
    }
    return !field->isChanged() || !looksLikeBarcode(field->text()) ||
           confirm(field, question + field->text());
}

bool QuantityRestDialog::checkPrices()
{
    if (!checkPrice(m_ui->incostDoubleSpinBox, tr("Подтвердите приходную цену: ")))
        return false;
    if (!m_ui->ratioCheckBox->isChecked())
        return checkPrice(m_ui->outcostDoubleSpinBox, tr("Подтвердите расходную цену: "));
    NumberSpinBox *ratio = m_ui->ratioDoubleSpinBox;
    const QString question = tr("Подтвердите коэффициент: ");
    if (!checkPrice(ratio, question))
        return false;
    return !ratio->isChanged() || looksLikeBarcode(ratio->text()) ||
           ratio->value() <= largestUnquestionedRatio || confirm(ratio, question + ratio->text());
}

bool QuantityRestDialog::checkExpiry()
{
    return expiretime() || refuse(m_ui->expireLineEdit,
                                  tr("Введите срок годности в виде 31.12.2027 или оставьте поле "
                                     "пустым."));
}

/// Tells what is wrong with a field and leads the user there.
bool QuantityRestDialog::refuse(QWidget *field, const QString &text)
{
    showInformation(this, text);
    focusField(field);
    return false;
}

bool QuantityRestDialog::confirm(NumberSpinBox *field, const QString &question)
{
    if (askQuestion(this, question, {tr("Подтвердить"), tr("Отмена")}, 1, 1) == 0)
        return true;
    focusField(field);
    return false;
}
