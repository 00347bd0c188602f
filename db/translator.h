#pragma once

#include "db/dialect.h"

/// Turns a statement of the common form into a dialect. String literals stay untouched.
/// Common form: names in backquotes, "REPLACE INTO t(id,…) VALUES(…)", "INSERT OR IGNORE INTO",
/// LIKE without regard to letter case.
QString translateSql(const QString &sqlText, Dialect dialect);
