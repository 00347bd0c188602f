#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QString>

#include "db/connections.h"
#include "db/query.h"

/// The locks on the working list (incomeinvoice) that keep two workstations from changing the same
/// lines. Nobody may be asked anything while they are held.

/// Counts the tries of a short transaction on lines. Servers throw out one of two stations that
/// wait for each other, which is worth another try; a station that holds the list for long is not
/// waited for again and again.
class LineTries
{
public:
    explicit LineTries(const QString &connectionName = mainConnection);

    /// Counts a try that begins now.
    void begin();

    /// Whether the try, which has failed, is worth another one.
    bool again() const;

    /// Whether the try took so long that another station must be holding the list.
    bool waitedLong() const;

private:
    QString m_connectionName;
    int m_tries = 0;
    QElapsedTimer m_waiting;
};

/// Reads lines inside a transaction and locks them until its end. In: a SELECT from incomeinvoice
/// without a semicolon; joined tables are read, and on MySQL locked too. Out: its rows. False, with
/// lastQueryError(), when it fails. No box is shown.
bool readLockedLines(const QString &select, QList<SqlRow> &rows,
                     const QString &connectionName = mainConnection);

/// Reads the whole list inside a transaction; until its end nobody changes a line or adds one. In,
/// out and errors as for readLockedLines().
bool readLockedList(const QString &select, QList<SqlRow> &rows,
                    const QString &connectionName = mainConnection);

/// Waits until no session is left in the database that is writing the working list or already
/// waits to write it: after a lost connection only then is it settled what the lost session did.
/// Outside a transaction only. False, with lastQueryError(), when that takes too long.
bool waitForListWriters(const QString &connectionName = mainConnection);
