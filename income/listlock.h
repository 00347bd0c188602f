#pragma once

#include <QString>

#include "db/connections.h"

/// Waits until no session is left in the database that is writing the working list or already
/// waits to write it: after a lost connection only then is it settled what the lost session did.
/// Outside a transaction only. False, with lastQueryError(), when that takes too long.
bool waitForListWriters(const QString &connectionName = mainConnection);
