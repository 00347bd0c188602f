#include "income/quantityrestdialog.h"
#include "ui_quantityrestdialog.h"

#include "app/messages.h"
#include "catalogue/barcode.h"
#include "catalogue/pricerules.h"
#include "db/connections.h"
#include "db/money.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "scales/scales.h"
#include "widgets/colors.h"
#include "widgets/plaintext.h"

#include <QDate>
#include <QKeyEvent>
#include <QRegularExpression>
#include <QScreen>

#include <algorithm>
#include <cmath>

namespace {

constexpr double largestUnquestionedRatio = 100;

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

} // namespace

QuantityRestDialog::QuantityRestDialog(const ReceiptRequest &request, QWidget *parent,
                                       QSet<QString> *agreedPrices)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::QuantityRestDialog>()),
      m_entry(std::make_unique<ReceiptEntry>()),
      m_agreedPrices(agreedPrices ? agreedPrices : &m_ownAgreedPrices)
{
    m_ui->setupUi(this);
    // In a narrow dialog it takes two lines, for which a layout keeps no room by itself.
    m_ui->marginLabel->setMinimumHeight(2 * m_ui->marginLabel->fontMetrics().lineSpacing());
    load(request);
}

LoadState QuantityRestDialog::load(const ReceiptRequest &request)
{
    QWidget *parent = isVisible() ? this : parentWidget();
    auto entry = std::make_unique<ReceiptEntry>();
    m_loadState = entry->load(parent, request);
    if (m_loadState != LoadState::Loaded)
        return m_loadState;
    m_entry = std::move(entry);
    m_startInPrice = request.startInPrice;
    m_filled = false;
    m_ui->auditCheckBox->setChecked(false);
    m_ui->friendOutcostCheckBox->setChecked(false);
    showProduct();
    showPrices();
    showQuantity();
    m_filled = true;
    // Room for the lines of a long name.
    resize(width(), std::max(height(), layout()->heightForWidth(width())));
    focusField(m_startInPrice ? m_ui->incostDoubleSpinBox : m_ui->quantityDoubleSpinBox);
    return m_loadState;
}

QuantityRestDialog::~QuantityRestDialog() = default;

LoadState QuantityRestDialog::loadState() const
{
    return m_loadState;
}

const Product &QuantityRestDialog::product() const
{
    return m_entry->product();
}

const ReceiptEntry &QuantityRestDialog::entry() const
{
    return *m_entry;
}

double QuantityRestDialog::quantityInReceipt() const
{
    return m_entry->line() ? m_entry->line()->quantity : 0;
}

double QuantityRestDialog::acceptedQuantity() const
{
    return m_ui->quantityDoubleSpinBox->exact();
}

double QuantityRestDialog::sellingPrice() const
{
    return m_ui->outcostDoubleSpinBox->exact();
}

void QuantityRestDialog::keepClearOf(const QRect &area)
{
    constexpr int gap = 8;
    constexpr int frame = 40; // title and border, unknown before the window is shown
    const QRect screenArea = screen()->availableGeometry();
    if (area.bottom() + gap + frame + height() <= screenArea.bottom())
        move(area.center().x() - width() / 2, area.bottom() + gap);
    else if (area.left() - gap - width() >= screenArea.left())
        move(area.left() - gap - width(), area.top());
}

int QuantityRestDialog::exec()
{
    return m_loadState == LoadState::Loaded ? QDialog::exec() : int(Rejected);
}

void QuantityRestDialog::keyPressEvent(QKeyEvent *event)
{
    // The button's own shortcut would click a moment later, after a quick Return.
    if (event->key() == Qt::Key_F9 && m_ui->weighPushButton->isVisible()) {
        if (!event->isAutoRepeat())
            on_weighPushButton_clicked();
        return;
    }
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
    if (save())
        accept();
}

bool QuantityRestDialog::save()
{
    if (!checkQuantity() || !checkPrices() || !checkMargin() || !checkExpiry())
        return false;
    const CommandScope command;
    switch (m_entry->save(this, input())) {
    case SaveState::Saved:
        return true;
    case SaveState::Changed:
    case SaveState::InDoubt:
        showQuantity();
        if (!m_entry->pricesEntered())
            showPrices();
        focusField(m_ui->quantityDoubleSpinBox);
        break;
    case SaveState::Failed:
        break;
    }
    return false;
}

void QuantityRestDialog::on_cancelPushButton_clicked()
{
    reject();
}

void QuantityRestDialog::on_weighPushButton_clicked()
{
    if (const std::optional<double> weight = scales::readWeight(this))
        m_ui->quantityDoubleSpinBox->showText(sql::exact(*weight));
    focusField(m_ui->quantityDoubleSpinBox);
}

void QuantityRestDialog::on_incostDoubleSpinBox_valueChanged(double)
{
    updateOutcost();
}

void QuantityRestDialog::on_ratioDoubleSpinBox_valueChanged(double)
{
    updateOutcost();
}

void QuantityRestDialog::on_outcostDoubleSpinBox_valueChanged(double)
{
    showMargin();
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
    const Product &product = m_entry->product();
    m_ui->nameLabel->setText(breakable(product.name));
    m_ui->nameLabel->setToolTip(plainToolTip(product.name));
    m_ui->idLabel->setText(QString::number(product.id));
    m_ui->articleLabel->setText(breakable(product.article));
    QString notice;
    if (product.deleted)
        notice = tr("Товара нет в каталоге: остаток и цены при проведении записаны не будут.");
    else if (!product.isEnabled())
        notice = tr("Наименование неактивно.");
    m_ui->noticeLabel->setText(notice);
    m_ui->noticeLabel->setVisible(!notice.isEmpty());
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_ui->noticeLabel->setPalette(colours);
    m_ui->expireLineEdit->setEnabled(!product.deleted);
    m_ui->auditCheckBox->setEnabled(!product.deleted);
    m_ui->stockLabel->setText(
        QStringLiteral("%1 %2").arg(formatQuantity(product.quantity), product.unit));
    m_ui->unitLabel->setText(product.unit);
    m_ui->weighPushButton->setVisible(scales::areConfigured() && product.decimals > 0);

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

    const double incost = m_entry->proposedIncost();
    const double outcost = m_entry->proposedOutcost();
    const double ratio = m_entry->proposedInoutratio();
    m_ui->incostDoubleSpinBox->setExact(incost);
    m_ui->outcostDoubleSpinBox->setExact(outcost);
    // Without a coefficient the present one is proposed, should the user want to fix it.
    const double present = incost > 0 && outcost > 0 ? outcost / incost : 1;
    m_ui->ratioDoubleSpinBox->setExact(ratio > 0 ? ratio : std::round(present * 1e4) / 1e4);
    m_ui->ratioCheckBox->setChecked(ratio > 0);
    showMargin();
}

void QuantityRestDialog::showQuantity()
{
    const std::optional<ReceiptLine> &line = m_entry->line();
    const double inLine = line ? line->quantity : 0;
    const double inAll = inLine + m_entry->otherLinesQuantity();
    const double added = m_entry->addedQuantity();
    QString text = tr("Уже в приходе: %1").arg(formatQuantity(inLine));
    if (m_entry->otherLinesQuantity() != 0)
        text += tr(" (во всех строках: %1)").arg(formatQuantity(inAll));
    m_ui->inReceiptLabel->setText(text);
    m_ui->sumLabel->setText(line && added != 0
                                ? formatQuantity(inLine) + (added < 0 ? " - " : " + ") +
                                      formatQuantity(std::abs(added))
                                : QString());

    m_ui->quantityDoubleSpinBox->showQuantity(m_entry->proposedQuantity(),
                                              m_entry->product().decimals);
}

void QuantityRestDialog::updateOutcost()
{
    if (m_ui->ratioCheckBox->isChecked()) {
        m_ui->outcostDoubleSpinBox->setExact(
            ::sellingPrice(m_ui->incostDoubleSpinBox->exact(), m_ui->ratioDoubleSpinBox->exact()));
    }
    showMargin();
}

/// The selling price that the product has now, the new one, and what it brings.
void QuantityRestDialog::showMargin()
{
    const QString currency = Session::instance().mainCurrencySymbol();
    const double incost = m_ui->incostDoubleSpinBox->exact();
    const double outcost = m_ui->outcostDoubleSpinBox->exact();
    const double before = m_entry->product().outcost;
    const QString text =
        m_entry->product().deleted ? tr("Расходная цена: %1 %2").arg(formatMoney(outcost), currency)
        : pricesEqual(before, outcost)
            ? tr("Расходная цена прежняя: %1 %2").arg(formatMoney(before), currency)
            : tr("Расходная цена: была %1 %2, станет %3 %2")
                  .arg(formatMoney(before), currency, formatMoney(outcost));
    m_ui->marginLabel->setText(text + ". " + marginText(incost, outcost, currency));
    QPalette colours = palette();
    if (isDoubtfulPrice(incost, outcost))
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_ui->marginLabel->setPalette(colours);
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
        return m_entry->product().expiretime;
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
    if (!checkNumber(field))
        return false;
    const double quantity = field->exact();
    if (!isQuestionableQuantity(quantity))
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

bool QuantityRestDialog::checkNumber(NumberSpinBox *field)
{
    if (!field->hasAcceptableInput())
        return refuse(field, field->fault());
    return !field->text().trimmed().isEmpty() ||
           refuse(field, tr("Число не введено. Если нужен ноль, введите 0."));
}

/// A price field takes what a person would type; what a scanner would is asked about.
bool QuantityRestDialog::checkPrice(NumberSpinBox *field, const QString &question)
{
    if (!checkNumber(field))
        return false;
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

/// Nobody sells for nothing or at a loss without knowing it.
bool QuantityRestDialog::checkMargin()
{
    const ReceiptInput entered = input();
    const QString key = priceKey(m_entry->product().id, entered);
    if (!isDoubtfulPrice(entered.incost, entered.outcost) || m_agreedPrices->contains(key))
        return true;
    const QString text = entered.outcost <= 0
                             ? tr("Расходная цена не указана: товар будет продаваться за 0.")
                             : tr("Расходная цена %1 ниже приходной %2.")
                                   .arg(formatMoney(entered.outcost), formatMoney(entered.incost));
    if (askQuestion(this, text + u' ' + tr("Записать такую цену?"),
                    {tr("Записать"), tr("Вернуться к цене")}, 1, 1) == 0) {
        m_agreedPrices->insert(key);
        return true;
    }
    focusField(m_ui->ratioCheckBox->isChecked() ? m_ui->ratioDoubleSpinBox
                                                : m_ui->outcostDoubleSpinBox);
    return false;
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
