#pragma once

#include <QString>

#include "db/dialect.h"

class QSqlError;

/// Why a database refuses a statement, as far as the people in the shop can do something about it.
/// Internal to db/.
enum class FailureCause {
    None,
    Other,    ///< the statement or its values; told in the database's own words
    Locked,   ///< another station or program holds what is needed
    NoRight,  ///< the database's user may not do it
    ReadOnly, ///< nobody may write at the moment
    DiskFull,
    DiskFault,   ///< reading or writing the files failed
    CannotOpen,  ///< the database file or a file beside it
    Damaged,     ///< not a database, or not a whole one any more
    TimedOut,    ///< the answer took longer than it may
    Unreachable, ///< no connection
};

/// The cause that the code of an error stands for. A lost connection is not looked for here.
FailureCause causeOf(Dialect dialect, const QSqlError &error);

/// What to tell the user: what happened, that nothing is lost, what to do. Empty for other causes.
QString sentenceOf(FailureCause cause);
