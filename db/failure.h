#pragma once

#include <QString>

#include <cstddef>

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
    BadSigns,    ///< a text has signs that the database cannot keep
};

/// A code of a database and what it means.
struct NumberedCause
{
    int code;
    FailureCause cause;
};

/// The cause of a code in a table; Other when it is not there.
template<std::size_t size>
FailureCause causeOfNumber(const NumberedCause (&causes)[size], int code)
{
    for (const NumberedCause &known : causes) {
        if (known.code == code)
            return known.cause;
    }
    return FailureCause::Other;
}

/// What to tell the user: what happened, that nothing is lost, what to do. Empty for other causes.
QString sentenceOf(FailureCause cause);
