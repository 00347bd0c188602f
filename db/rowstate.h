#pragma once

/// How the reading of one row ended.
enum class LoadState {
    Loaded,
    NotFound, ///< there is no such row (any more)
    Failed,   ///< the database did not answer; already reported
};

/// How the writing of one row ended.
enum class WriteState {
    Written,
    NotFound, ///< there is no such row any more; nothing was written
    Failed,   ///< nothing was written, or nobody knows; already reported
};
