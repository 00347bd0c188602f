#include "widgets/numberspinbox.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QRegularExpression>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>

namespace {

/// As QString::toDouble() wants it: a point, no blanks (a pasted "1 234,50").
QString plainNumber(const QString &text)
{
    QString plain;
    for (const QChar c : text) {
        if (!c.isSpace())
            plain += c == u',' ? QChar(u'.') : c;
    }
    return plain;
}

/// What is left while a number is begun or has been deleted.
bool isBlank(const QString &plain)
{
    return plain.isEmpty() || plain == u"-" || plain == u"." || plain == u"-.";
}

} // namespace

NumberSpinBox::NumberSpinBox(QWidget *parent)
    : QDoubleSpinBox(parent)
{
    setFocusPolicy(Qt::StrongFocus);
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
    return plainNumber(text).toDouble();
}

QValidator::State NumberSpinBox::validate(QString &text, int &position) const
{
    Q_UNUSED(position);
    static const QRegularExpression form(QStringLiteral("^-?[0-9]*(\\.([0-9]{0,9}))?$"));
    const QString plain = plainNumber(text);
    const QRegularExpressionMatch match = form.match(plain);
    if (!match.hasMatch() || (minimum() >= 0 && plain.startsWith(u'-')))
        return QValidator::Invalid;
    if (match.capturedLength(2) > decimals())
        return QValidator::Intermediate;
    if (isBlank(plain))
        return minimum() <= 0 ? QValidator::Acceptable : QValidator::Intermediate;
    const double number = plain.toDouble();
    if (number > maximum() || (minimum() < 0 && number < minimum()))
        return QValidator::Invalid;
    return number < minimum() ? QValidator::Intermediate : QValidator::Acceptable;
}

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
    // The spin box would put its former number in place of a wrong one, and the dialog would take
    // that; the dialog has to see what was typed.
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && !hasAcceptableInput())
        event->ignore();
    else
        QDoubleSpinBox::keyPressEvent(event);
}

void NumberSpinBox::wheelEvent(QWheelEvent *event)
{
    event->ignore();
}
