#pragma once

#include <functional>

/// What long work calls between its steps: how much is done of how much. False: the user wants it
/// to stop here. May be empty.
using ProgressStep = std::function<bool(int done, int total)>;

/// Calls a step that may be empty; an empty one never stops.
inline bool goOn(const ProgressStep &step, int done, int total)
{
    return !step || step(done, total);
}
