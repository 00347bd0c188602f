#include "widgets/scanreader.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTextEdit>
#include <QWindow>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr qsizetype shortestScan = 8; ///< signs
constexpr qint64 longestGap = 100;    ///< ms between two signs of one scan
constexpr qint64 fastestRepeat = 10;  ///< ms after which a key held down may come again
constexpr qint64 slowestAverage = 50; ///< ms; a practised typist needs more than 80
constexpr qint64 longestWait = 500;   ///< ms between the last sign and Return
constexpr qint64 secondReturn = 100;  ///< ms in which it still belongs to the scan

KeyClock &keyClock()
{
    static KeyClock clock;
    return clock;
}

int handedOn = 0; ///< how many HandingOn live

qint64 ownTime()
{
    static const QElapsedTimer timer = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();
    return timer.elapsed();
}

QLineEdit *editOf(QWidget *widget)
{
    if (auto *edit = qobject_cast<QLineEdit *>(widget))
        return edit;
    if (qobject_cast<QAbstractSpinBox *>(widget))
        return widget->findChild<QLineEdit *>(QString(), Qt::FindDirectChildrenOnly);
    auto *box = qobject_cast<QComboBox *>(widget);
    return box ? box->lineEdit() : nullptr;
}

bool takesText(QWidget *widget)
{
    return editOf(widget) || qobject_cast<QTextEdit *>(widget) ||
           qobject_cast<QPlainTextEdit *>(widget);
}

/// Whether a text that came as fast as a scan into a field for texts can be a code at all. Programs
/// that help people to write are as fast.
bool canBeCode(const QString &text)
{
    static const QRegularExpression date(
        QStringLiteral("^[0-9]{1,4}([./-])[0-9]{1,2}\\1[0-9]{2,4}$"));
    // What the digit row gives on the Russian typewriter layout.
    static const QRegularExpression signs(QStringLiteral("^[-№/\":,._?%!;]+$"));
    if (std::any_of(text.begin(), text.end(), [](QChar c) { return c.isSpace(); }))
        return false;
    const bool digits = std::any_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
    return (digits && !date.match(text).hasMatch()) || signs.match(text).hasMatch();
}

bool isDecimalNumber(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^-?[0-9]+[.,][0-9]{1,6}$"));
    return form.match(text).hasMatch();
}

} // namespace

KeyClock setKeyClock(KeyClock clock)
{
    return std::exchange(keyClock(), std::move(clock));
}

ScanReader::HandingOn::HandingOn()
{
    ++handedOn;
}

ScanReader::HandingOn::~HandingOn()
{
    --handedOn;
}

ScanReader::ScanReader(QLineEdit *codeField, QObject *parent)
    : QObject(parent),
      m_codeField(codeField)
{
    qApp->installEventFilter(this);
    qApp->installNativeEventFilter(this);
}

ScanReader::~ScanReader()
{
    qApp->removeNativeEventFilter(this);
}

void ScanReader::takeWaitingKeys()
{
    m_taking = true;
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents, int(longestGap));
        // A scan that has begun is awaited.
    } while (!m_burst.text.isEmpty() && ownTime() - m_lastSign <= longestGap);
    m_taking = false;
}

bool ScanReader::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    struct KeyPress
    {
        quint8 kind;
        quint8 key;
        quint16 sequence;
        quint32 time;
        quint32 root;
        quint32 window;
    };
    constexpr quint8 keyPress = 2;
    constexpr quint8 returnKeys[] = {36, 104};
    KeyPress press{};
    memcpy(&press, message, sizeof press);
    // A second Return is dropped gladly.
    if ((press.kind & 0x7f) != keyPress || press.key == returnKeys[0] || press.key == returnKeys[1])
        return false;
    const QWindow *modal = QGuiApplication::modalWindow();
    const QWindow *focus = QGuiApplication::focusWindow();
    if (modal && (focus ? focus != modal : modal->winId() != press.window))
        m_lostAt = press.time;
    return false;
}

bool ScanReader::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        if (watched->isWidgetType() && handedOn == 0) {
            auto *receiver = static_cast<QWidget *>(watched);
            const auto &key = *static_cast<QKeyEvent *>(event);
            if (!isSeen(receiver, key))
                return filterKey(receiver, key);
        }
        break;
    case QEvent::ShortcutOverride:
        if (m_taking) {
            event->accept(); // or it would be taken for the shortcut
            return true;
        }
        break;
    case QEvent::KeyRelease:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
    case QEvent::Close:
        if (m_taking && watched->isWidgetType()) {
            event->ignore();
            return true;
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

ScanReader::Moment ScanReader::momentOf(const QKeyEvent &key)
{
    if (keyClock()) {
        const qint64 now = keyClock()();
        return {.stamp = now, .clock = now};
    }
    return {.stamp = qint64(key.timestamp()), .clock = ownTime()};
}

qint64 ScanReader::between(const Moment &earlier, const Moment &later)
{
    return earlier.stamp != 0 && later.stamp != 0 ? later.stamp - earlier.stamp
                                                  : later.clock - earlier.clock;
}

bool ScanReader::isSeen(const QWidget *receiver, const QKeyEvent &key)
{
    const bool seen = &key == m_seen && key.key() == m_seenKey && m_seenBy &&
                      receiver != m_seenBy && receiver->isAncestorOf(m_seenBy);
    if (!seen) {
        m_seen = &key;
        m_seenBy = receiver;
        m_seenKey = key.key();
    }
    return seen;
}

bool ScanReader::filterKey(QWidget *receiver, const QKeyEvent &key)
{
    const Moment now = momentOf(key);
    const Qt::KeyboardModifiers commands = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    if (key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter)
        return filterReturn(receiver, key, now) || m_taking;
    if (!(key.modifiers() & commands) && !key.text().isEmpty() && key.text().at(0).isPrint())
        return filterSign(receiver, key, now) || m_taking;
    // Keys that a scanner presses along with the signs, and its own control characters, do no harm.
    const bool quiet = key.key() == Qt::Key_Shift || key.key() == Qt::Key_Control ||
                       key.key() == Qt::Key_Alt || key.key() == Qt::Key_AltGr ||
                       key.key() == Qt::Key_CapsLock || key.key() == Qt::Key_NumLock ||
                       (key.modifiers() & commands);
    if (!quiet)
        m_burst = {};
    return m_taking;
}

bool ScanReader::filterReturn(QWidget *receiver, const QKeyEvent &key, const Moment &now)
{
    const bool timed = now.stamp != 0; // without a time it is no key of a keyboard
    const bool repeated = key.isAutoRepeat() || (timed && m_repeatReturn &&
                                                 between(*m_repeatReturn, now) <= secondReturn);
    if (repeated) {
        m_repeatReturn = now;
        m_burst = {};
        return true;
    }
    m_repeatReturn.reset();
    if (timed && m_scanReturn && between(*m_scanReturn, now) <= secondReturn)
        return true;
    m_scanReturn.reset();
    const Burst burst = std::exchange(m_burst, {});
    if (isTorn(burst)) {
        m_scanReturn = now;
        putBack(burst);
        emit torn(burst.text);
        return true;
    }
    if (!isScan(burst, receiver, now))
        return false;
    m_scanReturn = now;
    if (receiver == m_codeField && !m_taking) {
        m_codeField->setText(burst.text);
        return false;
    }
    putBack(burst);
    emit scanned(burst.text);
    return true;
}

bool ScanReader::filterSign(QWidget *receiver, const QKeyEvent &key, const Moment &now)
{
    const qint64 gap = m_burst.text.isEmpty() ? 0 : between(m_burst.last, now);
    // Two equal digits of a fast scanner look like a key held down, which repeats more slowly.
    const bool held = key.isAutoRepeat() && (m_burst.text.isEmpty() || gap > fastestRepeat);
    if (held || gap > longestGap)
        m_burst = {};
    if (held)
        return false;
    // The next Return is that of another code.
    m_scanReturn.reset();
    m_repeatReturn.reset();
    if (m_burst.text.isEmpty())
        m_burst.first = now;
    keepText(m_burst, receiver);
    m_lastSign = ownTime();
    m_burst.text += key.text();
    m_burst.last = now;
    // The second fast sign on a button or in a box is no command any more.
    return m_burst.text.size() > 1 && !takesText(receiver);
}

/// Whether fast signs have lost some of their number: whatever is left of them is no entry.
bool ScanReader::isTorn(const Burst &burst) const
{
    return m_lostAt && !burst.text.isEmpty() && burst.last.stamp >= *m_lostAt &&
           burst.first.stamp - longestGap <= *m_lostAt &&
           between(burst.first, burst.last) <= slowestAverage * (burst.text.size() - 1);
}

bool ScanReader::isScan(const Burst &burst, const QWidget *receiver, const Moment &now) const
{
    const qint64 gaps = burst.text.size() - 1;
    if (burst.text.size() < shortestScan || between(burst.last, now) > longestWait ||
        between(burst.first, burst.last) > slowestAverage * gaps)
        return false;
    if (receiver == m_codeField)
        return true;
    if (qobject_cast<const QAbstractSpinBox *>(receiver))
        return !isDecimalNumber(burst.text);
    return !qobject_cast<const QLineEdit *>(receiver) || canBeCode(burst.text);
}

void ScanReader::keepText(Burst &burst, QWidget *receiver)
{
    const bool known =
        std::any_of(burst.fields.cbegin(), burst.fields.cend(),
                    [receiver](const FieldText &field) { return field.widget == receiver; });
    QLineEdit *edit = editOf(receiver);
    if (known || !edit)
        return;
    burst.fields.append({.widget = receiver,
                         .edit = edit,
                         .text = edit->text(),
                         .cursor = edit->cursorPosition(),
                         .selectionStart = edit->selectionStart(),
                         .selectionLength = int(edit->selectedText().size())});
}

void ScanReader::putBack(const Burst &burst)
{
    for (const FieldText &field : burst.fields) {
        if (!field.edit)
            continue;
        field.edit->setText(field.text);
        field.edit->setCursorPosition(field.cursor);
        if (field.selectionStart >= 0)
            field.edit->setSelection(field.selectionStart, field.selectionLength);
    }
}
