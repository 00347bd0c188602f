#pragma once

#include <QList>
#include <QString>

#include "db/connections.h"
#include "db/query.h"

/// The locks on the working list (incomeinvoice) that keep two workstations from changing the same
/// lines. Nobody may be asked anything while they are held.

/// How often a short transaction on lines is begun anew when the database throws it out, which
/// servers do to one of two stations that wait for each other.
inline constexpr int maxLineTries = 3;

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
