#pragma once

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <functional>
#include <optional>

class QKeyEvent;
class QLineEdit;
class QWidget;

/// Tells the time in ms by which keys are told from a scanner's; tests set one. Without one the
/// times that the keys bear count, so that keys which had to wait are no faster for it.
using KeyClock = std::function<qint64()>;

/// Sets the clock (an empty one takes it off) and returns the former one.
KeyClock setKeyClock(KeyClock clock);

/// Tells a scanner from a hand in all windows of the program: 8 or more signs faster than anybody
/// types, then Return. The code field takes its scans itself; anywhere else what the keys have
/// written is taken back, nothing is accepted or answered by the Return, and scanned() tells the
/// code.
///
/// Return held down does nothing anywhere, nor does a second Return at once behind a scan.
class ScanReader final : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    /// Watches the application as long as it lives.
    ScanReader(QLineEdit *codeField, QObject *parent);
    ~ScanReader() override;

    /// Takes the keys that wait for the program, before a window opens in front of those that they
    /// were meant for: Qt would drop them. A scan among them is told, its beginning is kept, what a
    /// hand has typed is typed into the window that opens.
    void takeWaitingKeys();

    bool eventFilter(QObject *watched, QEvent *event) override;

    /// Takes key presses of an X server for a window that is blocked by a modal one, which has not
    /// got the focus yet: Qt drops them. They count as if they had arrived.
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    /// While it lives, key events are not new ones but handed from one widget to another.
    class HandingOn
    {
    public:
        HandingOn();
        ~HandingOn();
        HandingOn(const HandingOn &) = delete;
        HandingOn &operator=(const HandingOn &) = delete;
    };

signals:
    /// A code that was scanned outside of the code field.
    void scanned(const QString &code);

    /// Signs that came as fast as a scan while a window opened, and are no whole one. Nothing of
    /// them was accepted.
    void torn(const QString &rest);

private:
    /// When a key was pressed: by its own account (0: unknown), and by our clock.
    struct Moment
    {
        qint64 stamp = 0;
        qint64 clock = 0;
    };

    /// What stood in a field before a scan began to write there. The first sign of a scan searches
    /// a choice for an entry that begins with it.
    struct FieldText
    {
        QPointer<QWidget> widget = {};
        QPointer<QLineEdit> edit = {}; ///< none: it is a choice
        int entry = -1;                ///< of a choice
        QString text = {};
        int cursor = 0;
        int selectionStart = -1;
        int selectionLength = 0;
    };

    /// Signs that came fast behind each other.
    struct Burst
    {
        QString text = {};
        Moment first = {};
        Moment last = {};
        bool torn = false;      ///< a sign of it is not known
        bool continued = false; ///< slower signs came just before it
        QList<FieldText> fields = {};
    };

    /// A key press that Qt drops.
    struct LostKey
    {
        quint32 time = 0;
        quint8 key = 0;
        quint16 state = 0;
    };

    static Moment momentOf(const QKeyEvent &key);
    static qint64 between(const Moment &earlier, const Moment &later);
    bool isSeen(const QWidget *receiver, const QKeyEvent &key);
    bool filterKey(QWidget *receiver, const QKeyEvent &key);
    bool filterReturn(QWidget *receiver, const QKeyEvent &key, const Moment &now);
    bool filterSign(QWidget *receiver, const QKeyEvent &key, const Moment &now);
    void addSign(const QString &text, const Moment &now);
    void takeLostKeys(const QKeyEvent *next);
    void takeLostKey(const LostKey &lost);
    QString textOf(const LostKey &lost) const;
    void typeAhead();
    void forgetAhead();
    bool tellTorn(const Burst &burst, const Moment &now);
    static bool isFast(const Burst &burst);
    bool isScan(const Burst &burst, const QWidget *receiver, const Moment &now) const;
    static void keepText(Burst &burst, QWidget *receiver);
    static void putBack(const Burst &burst);

    QPointer<QLineEdit> m_codeField;
    Burst m_burst;
    std::optional<Moment> m_scanReturn;   ///< of the last scan
    std::optional<Moment> m_repeatReturn; ///< the last one of a key held down
    quint64 m_returnReleased = 0;         ///< when Return was let go, by its own account
    qint64 m_lastSign = 0;                ///< by our clock
    bool m_taking = false;                ///< takeWaitingKeys() is at work
    QList<LostKey> m_lost;
    QTimer m_lostTimer;
    QHash<quint32, QString> m_signs; ///< what keys with their modifiers have given so far
    QString m_ahead;                 ///< signs of the burst that no window has got
    QTimer m_aheadTimer;
    // The key event seen last: it comes again for each parent that it is offered to.
    const QKeyEvent *m_seen = nullptr;
    QPointer<const QWidget> m_seenBy;
    int m_seenKey = 0;
};
