#include "app/backgroundwork.h"

void BackgroundWork::setPatience(std::chrono::milliseconds idle, std::chrono::milliseconds total)
{
    m_idleTime = idle;
    m_totalTime = total;
}

void BackgroundWork::start()
{
    if (m_state != State::New)
        return;
    m_state = State::Running;
    const auto run = [this](QTimer &timer, std::chrono::milliseconds time) {
        timer.setSingleShot(true);
        connect(&timer, &QTimer::timeout, this,
                [this] { end(State::TimedOut, tr("время ожидания истекло")); });
        if (time.count() > 0)
            timer.start(time);
    };
    run(m_idle, m_idleTime);
    run(m_total, m_totalTime);
    begin();
}

void BackgroundWork::cancel()
{
    end(State::Cancelled, tr("отменено"));
}

BackgroundWork::State BackgroundWork::state() const
{
    return m_state;
}

bool BackgroundWork::isOver() const
{
    return m_state > State::Running;
}

QString BackgroundWork::reason() const
{
    return m_reason;
}

void BackgroundWork::letGo()
{
}

void BackgroundWork::advance(qint64 done, qint64 total)
{
    if (m_state != State::Running)
        return;
    if (m_idleTime.count() > 0)
        m_idle.start(m_idleTime);
    if (m_totalTime.count() > 0 && !m_total.isActive())
        m_total.start(m_totalTime);
    emit progressed(done, total);
}

void BackgroundWork::rest()
{
    m_idle.stop();
    m_total.stop();
}

void BackgroundWork::succeed()
{
    end(State::Done, {});
}

void BackgroundWork::fail(const QString &reason)
{
    end(State::Failed, reason);
}

void BackgroundWork::end(State state, const QString &reason)
{
    if (isOver())
        return;
    rest();
    m_state = state;
    m_reason = reason;
    letGo();
    emit finished();
}
