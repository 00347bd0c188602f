#pragma once

#include <QObject>
#include <QTimer>

#include <functional>

#include "db/query.h"

/// Looks once a second, with one cheap statement and without a question, whether another
/// workstation has changed the working list. A server that does not answer is looked for less and
/// less often.
class ListWatch final : public QObject
{
    Q_OBJECT

public:
    /// mayLook: whether the window has nothing else to do at this moment.
    ListWatch(std::function<bool()> mayLook, QObject *parent);

    void start();
    void stop();

    /// The list is about to be read: it counts as changed when it differs from what it is now.
    void noteList();

    /// The next look comes at once, however long the server has not answered.
    void wake();

    /// Much was written: in the next quiet moment SQLite's log goes into its file.
    void tidyUpSoon();

signals:
    void listChanged();
    /// The database answers again, or does not answer any more.
    void onlineChanged(bool online);

private slots:
    void On_timer_timeout();

private:
    void look();
    void setOnline(bool online);

    std::function<bool()> m_mayLook;
    QTimer m_timer;
    SqlRow m_signature; ///< of the list when it was read
    bool m_online = true;
    bool m_tidyUp = false;
    int m_rest = 0;  ///< seconds that are still left out after a failure
    int m_delay = 0; ///< how many it will be after the next one
};
