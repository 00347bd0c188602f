#include "income/listwatch.h"

#include "app/logging.h"
#include "db/transaction.h"
#include "income/receiptlist.h"

#include <QApplication>

#include <algorithm>
#include <utility>

namespace {

constexpr int periodMs = 1000;
constexpr int longestRest = 30; ///< seconds between two looks for a lost server

} // namespace

ListWatch::ListWatch(std::function<bool()> mayLook, QObject *parent)
    : QObject(parent),
      m_mayLook(std::move(mayLook))
{
    connect(&m_timer, &QTimer::timeout, this, &ListWatch::On_timer_timeout);
}

void ListWatch::start()
{
    m_timer.start(periodMs);
}

void ListWatch::stop()
{
    m_timer.stop();
}

void ListWatch::noteList()
{
    QList<SqlRow> rows;
    QueryRows(nullptr, receiptListSignatureQuery(), rows);
    m_signature = rows.value(0);
}

void ListWatch::wake()
{
    m_rest = 0;
}

void ListWatch::tidyUpSoon()
{
    m_tidyUp = true;
}

void ListWatch::On_timer_timeout()
{
    if (!m_mayLook() || QApplication::activeModalWidget() || inTransaction())
        return;
    countIdle(mainConnection);
    if (std::exchange(m_tidyUp, false))
        checkpointWhenIdle(mainConnection);
    if (m_rest > 0)
        --m_rest;
    else
        look();
}

void ListWatch::look()
{
    // Without a parent: a dead server must not raise a question every second.
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, receiptListSignatureQuery(), rows) || rows.isEmpty()) {
        m_delay = std::min(std::max(1, m_delay * 2), longestRest);
        m_rest = m_delay;
        setOnline(false);
        return;
    }
    m_delay = 0;
    if (!m_online)
        setOnline(true);
    else if (rows.first() != m_signature)
        emit listChanged();
}

void ListWatch::setOnline(bool online)
{
    if (online == m_online)
        return;
    m_online = online;
    logMessage(online ? QStringLiteral("The database answers again.")
                      : QStringLiteral("The database does not answer."));
    emit onlineChanged(online);
}
