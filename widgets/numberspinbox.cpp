#include "widgets/numberspinbox.h"

#include "db/money.h"
#include "db/sqltext.h"
#include "widgets/colors.h"

#include <QFocusEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QRegularExpression>
#include <QTimer>
#include <QToolTip>
#include <QWheelEvent>

#include <algorithm>
#include <optional>

namespace {

/// As QString::toDouble() wants it: a point, an ASCII minus, no blanks around it or between
/// thousands (a pasted "1 234,50"). Nothing when the text is no number.
std::optional<QString> plainNumber(const QString &text)
{
    QString plain;
    for (const QChar c : text.trimmed())
        plain += c == u',' ? u'.' : c == QChar(0x2212) ? u'-' : c.isSpace() ? u' ' : c;
    static const QRegularExpression form(
        QStringLiteral("^-?(([0-9]+|[0-9]{1,3}( [0-9]{3})+)\\.?[0-9]*|\\.[0-9]+)$"));
    if (!plain.isEmpty() && !form.match(plain).hasMatch())
        return std::nullopt;
    return plain.remove(u' ');
}

constexpr int mostDecimals = 6;

/// Decimals that a number needs so that nothing of it is cut off.
int decimalsOf(double number)
{
    const QString text = QString::number(number, 'f', mostDecimals);
    qsizetype end = text.size();
    while (end > 0 && text.at(end - 1) == u'0')
        --end;
    return int(end - text.indexOf(u'.') - 1);
}

} // namespace

NumberSpinBox::NumberSpinBox(QWidget *parent)
    : QDoubleSpinBox(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    connect(lineEdit(), &QLineEdit::textChanged, this, &NumberSpinBox::markFault);
}

void NumberSpinBox::setLeastDecimals(int decimals)
{
    m_leastDecimals = decimals;
    setValue(value());
}

void NumberSpinBox::setExact(double value)
{
    // Ready before the signal of the change goes out, whose receivers may ask for exact().
    m_exact = std::clamp(value, minimum(), maximum());
    m_shown = QString::number(m_exact, 'f', decimals()).toDouble();
    setValue(m_exact);
    m_shown = this->value();
}

double NumberSpinBox::exact() const
{
    return isChanged() ? value() : m_exact;
}

bool NumberSpinBox::isChanged() const
{
    return value() != m_shown;
}

QString NumberSpinBox::textFromValue(double value) const
{
    QString text = QString::number(value, 'f', decimals());
    const qsizetype point = text.indexOf(u'.');
    if (point < 0)
        return text == u"-0" ? QStringLiteral("0") : text;
    while (text.endsWith(u'0'))
        text.chop(1);
    const qsizetype left = text.size() - point - 1;
    if (left == 0)
        text.chop(1);
    else if (left < m_leastDecimals)
        text += QString(m_leastDecimals - left, u'0');
    return text == u"-0" ? QStringLiteral("0") : text;
}

double NumberSpinBox::valueFromText(const QString &text) const
{
    return plainNumber(text).value_or(QString()).toDouble();
}

QString NumberSpinBox::faultOf(const QString &text) const
{
    const std::optional<QString> plain = plainNumber(text);
    if (!plain)
        return tr("Это не число.");
    if (plain->isEmpty() && minimum() > 0)
        return tr("Число не введено.");
    const qsizetype point = plain->indexOf(u'.');
    if (point >= 0 && plain->size() - point - 1 > decimals()) {
        return decimals() == 0
                   ? tr("Число должно быть целым.")
                   : tr("Знаков после запятой может быть не больше %1.").arg(decimals());
    }
    const double number = plain->toDouble();
    if (number > maximum())
        return tr("Число не может быть больше %1.").arg(textFromValue(maximum()));
    if (number < minimum())
        return tr("Число не может быть меньше %1.").arg(textFromValue(minimum()));
    return {};
}

/// Nothing is kept from being typed: a field that swallows letters makes -5 of "LOT-5".
QValidator::State NumberSpinBox::validate(QString &text, int &position) const
{
    Q_UNUSED(position);
    return faultOf(text).isEmpty() ? QValidator::Acceptable : QValidator::Intermediate;
}

void NumberSpinBox::fixup(QString &text) const
{
    // The base class takes out what separates thousands in some countries: "7,5" would be 75.
    Q_UNUSED(text);
}

void NumberSpinBox::showText(const QString &text)
{
    lineEdit()->setText(text);
}

void NumberSpinBox::showStored(double value)
{
    if (value >= minimum() && value <= maximum())
        setExact(value);
    else
        showText(formatFactor(value));
}

void NumberSpinBox::showQuantity(double value, int leastDecimals)
{
    setDecimals(std::max(leastDecimals, decimalsOf(value)));
    showStored(value);
}

QString NumberSpinBox::digitsFault() const
{
    const double stored = sql::number(exact()).toDouble();
    return stored == exact() ? QString()
                             : tr("В базе данных у числа не больше шести значащих цифр: %1.")
                                   .arg(formatFactor(stored));
}

QString NumberSpinBox::fault() const
{
    return faultOf(text());
}

void NumberSpinBox::markFault()
{
    QPalette colours; // nothing set: that of the field
    if (!hasAcceptableInput()) {
        const QColor warning = warningTextColor(palette());
        colours.setColor(QPalette::Active, QPalette::Text, warning);
        colours.setColor(QPalette::Inactive, QPalette::Text, warning);
    }
    lineEdit()->setPalette(colours);
}

void NumberSpinBox::stepBy(int steps)
{
    if (hasAcceptableInput())
        QDoubleSpinBox::stepBy(steps);
}

bool NumberSpinBox::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip || hasAcceptableInput())
        return QDoubleSpinBox::event(event);
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), fault(), this);
    return true;
}

// The base class puts the former number in place of a wrong text whenever the field or its window
// is left or shown; the handlers below pass it over, and so does keyPressEvent().
// NOLINTBEGIN(bugprone-parent-virtual-call)

void NumberSpinBox::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::ActivationChange && !hasAcceptableInput())
        QWidget::changeEvent(event);
    else
        QDoubleSpinBox::changeEvent(event);
}

void NumberSpinBox::hideEvent(QHideEvent *event)
{
    if (hasAcceptableInput())
        QDoubleSpinBox::hideEvent(event);
    else
        QWidget::hideEvent(event);
}

void NumberSpinBox::showEvent(QShowEvent *event)
{
    if (hasAcceptableInput())
        QDoubleSpinBox::showEvent(event);
    else
        QWidget::showEvent(event);
}

void NumberSpinBox::focusOutEvent(QFocusEvent *event)
{
    if (hasAcceptableInput()) {
        QDoubleSpinBox::focusOutEvent(event);
        return;
    }
    lineEdit()->event(event);
    QWidget::focusOutEvent(event);
    emit editingFinished();
}

// NOLINTEND(bugprone-parent-virtual-call)

void NumberSpinBox::focusInEvent(QFocusEvent *event)
{
    QDoubleSpinBox::focusInEvent(event);
    // A mouse press places the cursor after this event; the selection has to come last. Coming
    // back to the window keeps what was being typed.
    if (event->reason() == Qt::MouseFocusReason)
        QTimer::singleShot(0, this, &QAbstractSpinBox::selectAll);
    else if (event->reason() != Qt::ActiveWindowFocusReason &&
             event->reason() != Qt::PopupFocusReason)
        selectAll();
}

void NumberSpinBox::keyPressEvent(QKeyEvent *event)
{
    // The dialog has to see what was typed.
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && !hasAcceptableInput())
        event->ignore();
    else
        QDoubleSpinBox::keyPressEvent(event);
}

void NumberSpinBox::wheelEvent(QWheelEvent *event)
{
    event->ignore();
}
