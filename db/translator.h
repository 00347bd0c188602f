#pragma once

#include <QString>

/// Where a statement "INSERT OR IGNORE INTO …" goes on behind these words; -1 for other ones.
qsizetype endOfInsertOrIgnore(const QString &sqlText);

/// A statement of the common form (see query.h) in PostgreSQL's words: names in double quotes, ON
/// CONFLICT, ILIKE. String literals stay untouched.
QString toPostgreSql(const QString &sqlText);
