#include "widgets/scanreader.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTextEdit>
#include <QWindow>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace {

constexpr qsizetype shortestScan = 8; ///< signs
constexpr qint64 longestGap = 300;    ///< ms between two signs of one scan
constexpr qint64 slowSign = 100; ///< ms, in which a scanner gives at least one of the first signs
constexpr qint64 patience = 120; ///< ms in which a scan that has begun usually goes on
constexpr qint64 fastestRepeat = 10;       ///< ms after which a key held down may come again
constexpr qint64 slowestAverage = 50;      ///< ms; a practised typist needs more than 80
constexpr qint64 longestWait = 500;        ///< ms between the last sign and Return
constexpr qint64 secondReturn = 100;       ///< ms in which it still belongs to the scan
constexpr int lostKeysMs = 40;             ///< until the keys before a dropped one have arrived
constexpr qsizetype mostTyped = 3;         ///< signs that a hand may type at once
constexpr quint8 returnKeys[] = {36, 104}; ///< Return and Enter of an X server

const QString unknownSign = QStringLiteral("\uFFFD");

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

/// Where keys go that a widget gets: the list of proposals below a field hands them on to the
/// field.
QWidget *fieldOf(QWidget *receiver)
{
    const bool proposes = receiver->windowType() == Qt::Popup && receiver->focusProxy();
    return proposes ? receiver->focusProxy() : receiver;
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

/// A key with the modifiers that change its sign: Shift, Lock, the third level and the layout.
quint32 signKey(quint32 key, quint32 state)
{
    return key << 16 | (state & 0x6083);
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
    m_lostTimer.setSingleShot(true);
    connect(&m_lostTimer, &QTimer::timeout, this, [this] { takeLostKeys(nullptr); });
    m_aheadTimer.setSingleShot(true);
    connect(&m_aheadTimer, &QTimer::timeout, this, [this] {
        if (m_ahead.size() <= mostTyped || !isFast(m_burst)) {
            typeAhead();
            return;
        }
        const Burst burst = std::exchange(m_burst, {});
        tellTorn(burst, burst.last);
    });
}

ScanReader::~ScanReader()
{
    qApp->removeNativeEventFilter(this);
}

void ScanReader::takeWaitingKeys()
{
    m_taking = true;
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents, int(patience));
        // A scan that has begun is awaited.
    } while (!m_burst.text.isEmpty() && ownTime() - m_lastSign <= patience);
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
        quint32 child;
        qint16 places[4];
        quint16 state;
    };
    constexpr quint8 keyPress = 2;
    KeyPress press{};
    memcpy(&press, message, sizeof press);
    const QWindow *modal = QGuiApplication::modalWindow();
    if ((press.kind & 0x7f) == keyPress && modal && modal->winId() != press.window &&
        !QApplication::activePopupWidget()) {
        m_lost.append({.time = press.time, .key = press.key, .state = press.state});
        m_lostTimer.start(lostKeysMs);
    }
    return false;
}

bool ScanReader::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        if (watched->isWidgetType() && handedOn == 0) {
            auto *receiver = static_cast<QWidget *>(watched);
            const auto &key = *static_cast<QKeyEvent *>(event);
            if (!isSeen(receiver, key)) {
                if (key.nativeScanCode() != 0 && !key.text().isEmpty())
                    m_signs.insert(signKey(key.nativeScanCode(), key.nativeModifiers()),
                                   key.text());
                takeLostKeys(&key);
                return filterKey(fieldOf(receiver), key);
            }
        }
        break;
    case QEvent::ShortcutOverride:
        if (m_taking) {
            event->accept(); // or it would be taken for the shortcut
            return true;
        }
        break;
    case QEvent::KeyRelease:
        if (const auto *key = static_cast<QKeyEvent *>(event);
            key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
            m_returnReleased = key->timestamp();
        [[fallthrough]];
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
    // A menu hands on what it does not know, out of its own window.
    bool seen = false;
    if (&key == m_seen && key.key() == m_seenKey && m_seenBy) {
        for (const QWidget *at = m_seenBy->parentWidget(); at && !seen; at = at->parentWidget())
            seen = at == receiver;
    }
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
    if (!quiet) {
        typeAhead();
        m_burst = {};
    }
    return m_taking;
}

bool ScanReader::filterReturn(QWidget *receiver, const QKeyEvent &key, const Moment &now)
{
    const bool timed = now.stamp != 0; // without a time it is no key of a keyboard
    // A key held down is let go and pressed at the same moment, which Qt does not always see.
    const bool repeated =
        key.isAutoRepeat() || (key.timestamp() != 0 && key.timestamp() == m_returnReleased) ||
        (timed && m_repeatReturn && between(*m_repeatReturn, now) <= secondReturn);
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
    if (!isScan(burst, receiver, now)) {
        if (m_ahead.isEmpty())
            return false;
        if (isFast(burst) && burst.text.size() > mostTyped)
            return tellTorn(burst, now);
        typeAhead();
        return true; // the hand has not seen yet what it would accept
    }
    if (burst.torn)
        return tellTorn(burst, now);
    m_scanReturn = now;
    forgetAhead();
    if (receiver == m_codeField && !m_taking) {
        if (!burst.continued)
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
    if (held) {
        typeAhead();
        m_burst = {};
        return false;
    }
    if (!m_taking && gap > slowestAverage)
        typeAhead(); // before this one, if it was a hand
    addSign(key.text(), now);
    keepText(m_burst, receiver);
    if (m_taking) {
        m_ahead += key.text();
        m_aheadTimer.start(int(longestGap));
    }
    // The second fast sign on a button or in a box is no command any more.
    return m_burst.text.size() > 1 && !takesText(receiver);
}

void ScanReader::addSign(const QString &text, const Moment &now)
{
    const qint64 gap = m_burst.text.isEmpty() ? 0 : between(m_burst.last, now);
    const bool typed = gap > slowSign && m_burst.text.size() <= mostTyped; // by a hand, so far
    if (gap > longestGap || typed) {
        typeAhead();
        m_burst = {};
    }
    // The next Return is that of another code.
    m_scanReturn.reset();
    m_repeatReturn.reset();
    if (m_burst.text.isEmpty())
        // Without the fields that signs before it were typed into.
        m_burst = {.first = now, .continued = typed && gap <= longestGap};
    m_burst.text += text;
    m_burst.last = now;
    m_lastSign = ownTime();
}

/// Takes the dropped keys from before the next one that has arrived, or all without one.
void ScanReader::takeLostKeys(const QKeyEvent *next)
{
    while (!m_lost.isEmpty() && (!next || m_lost.first().time <= next->timestamp())) {
        const LostKey lost = m_lost.takeFirst();
        const bool arrived =
            next && lost.time == quint32(next->timestamp()) && lost.key == next->nativeScanCode();
        if (!arrived)
            takeLostKey(lost);
    }
}

void ScanReader::takeLostKey(const LostKey &lost)
{
    const Moment at{.stamp = qint64(lost.time), .clock = ownTime()};
    if (lost.key == returnKeys[0] || lost.key == returnKeys[1]) {
        const Burst burst = std::exchange(m_burst, {});
        if (!isScan(burst, nullptr, at)) {
            if (!m_ahead.isEmpty() && isFast(burst) && burst.text.size() > mostTyped)
                tellTorn(burst, at);
            return; // a second Return, or one that must not accept what nobody has seen
        }
        if (burst.torn) {
            tellTorn(burst, at);
            return;
        }
        m_scanReturn = at;
        forgetAhead();
        putBack(burst);
        emit scanned(burst.text);
        return;
    }
    const QString text = textOf(lost);
    if (text.isEmpty() || !text.at(0).isPrint())
        return; // Shift and its like
    addSign(text, at);
    m_burst.torn = m_burst.torn || text == unknownSign;
    m_ahead += text;
    m_aheadTimer.start(int(longestGap));
}

/// The sign of a dropped key, as the same key has given it before; empty for keys without one.
QString ScanReader::textOf(const LostKey &lost) const
{
    const auto known = m_signs.constFind(signKey(lost.key, lost.state));
    if (known != m_signs.cend())
        return *known;
    // The rows of a keyboard; what lies between gives no signs.
    constexpr quint8 firstDigit = 10;
    constexpr quint8 lastDigit = 19;
    constexpr std::pair<quint8, quint8> signKeys[] = {{20, 21}, {24, 35}, {38, 49}, {51, 61}};
    if (lost.key >= firstDigit && lost.key <= lastDigit && (lost.state & 1) == 0)
        return QString::number((lost.key - firstDigit + 1) % 10);
    const bool isSign = std::any_of(std::begin(signKeys), std::end(signKeys), [&](auto row) {
        return lost.key >= row.first && lost.key <= row.second;
    });
    return isSign ? unknownSign : QString();
}

/// Types what a hand has typed before the window was there; not into boxes, which it has not read.
void ScanReader::typeAhead()
{
    const QString text = std::exchange(m_ahead, {});
    QWidget *modal = QApplication::activeModalWidget();
    QWidget *place = modal ? modal->focusWidget() : QApplication::focusWidget();
    if (text.isEmpty() || !place || qobject_cast<QMessageBox *>(modal))
        return;
    keepText(m_burst, place);
    const HandingOn handingOn;
    for (const QChar c : text) {
        QKeyEvent press(QEvent::KeyPress, c.toUpper().unicode(), Qt::NoModifier, c);
        QCoreApplication::sendEvent(place, &press);
    }
}

void ScanReader::forgetAhead()
{
    m_ahead.clear();
    m_aheadTimer.stop();
}

/// Always true: the Return is taken.
bool ScanReader::tellTorn(const Burst &burst, const Moment &now)
{
    m_scanReturn = now;
    forgetAhead();
    putBack(burst);
    emit torn(burst.text);
    return true;
}

bool ScanReader::isFast(const Burst &burst)
{
    return !burst.text.isEmpty() &&
           between(burst.first, burst.last) <= slowestAverage * (burst.text.size() - 1);
}

bool ScanReader::isScan(const Burst &burst, const QWidget *receiver, const Moment &now) const
{
    if (burst.text.size() < shortestScan || between(burst.last, now) > longestWait ||
        !isFast(burst))
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
    const auto *choice = qobject_cast<QComboBox *>(receiver);
    if (!known && !edit && choice)
        burst.fields.append({.widget = receiver, .entry = choice->currentIndex()});
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
        if (auto *choice = qobject_cast<QComboBox *>(field.widget); choice && !field.edit)
            choice->setCurrentIndex(field.entry);
        if (!field.edit)
            continue;
        // A number takes its value from its text, but not from the words that stand for none.
        auto *number = qobject_cast<QAbstractSpinBox *>(field.widget);
        if (number && !field.text.isEmpty() && field.text == number->specialValueText())
            number->setProperty("value", number->property("minimum"));
        field.edit->setText(field.text);
        field.edit->setCursorPosition(field.cursor);
        if (field.selectionStart >= 0)
            field.edit->setSelection(field.selectionStart, field.selectionLength);
    }
}
