#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>

/// Work that goes on beside the user, driven by events alone: it is started, tells how far it is,
/// may be cancelled or run out of time, and ends once. Nobody waits for it in an event loop.
class BackgroundWork : public QObject
{
    Q_OBJECT

public:
    enum class State { New, Running, Done, Failed, TimedOut, Cancelled };

    using QObject::QObject;

    /// How long it may be without progress, and how long it may take in all; 0: as long as it
    /// likes.
    void setPatience(std::chrono::milliseconds idle, std::chrono::milliseconds total);

    void start();

    /// Ends it now. Does nothing when it is over.
    void cancel();

    State state() const;
    bool isOver() const;

    /// Why it did not get done, for the user.
    QString reason() const;

signals:
    /// total is -1 while it is not known.
    void progressed(qint64 done, qint64 total);
    /// It is over, in whatever way. Comes once.
    void finished();

protected:
    virtual void begin() = 0;

    /// Lets go of what runs. The state tells how it ended.
    virtual void letGo();

    /// Tells how far it is, and that it still lives.
    void advance(qint64 done, qint64 total);

    /// The clock rests while a person is asked, and goes on with the next advance().
    void rest();

    void succeed();
    void fail(const QString &reason);

private:
    void end(State state, const QString &reason);

    State m_state = State::New;
    QString m_reason;
    QTimer m_idle;
    QTimer m_total;
    std::chrono::milliseconds m_idleTime{0};
    std::chrono::milliseconds m_totalTime{0};
};
