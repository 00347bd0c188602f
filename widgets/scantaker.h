#pragma once

#include <QString>

/// A dialog that has a use for a code that is scanned while it is the active modal window, or one
/// that it has opened. Without it the code waits for the receipt until all dialogs are closed.
class ScanTaker
{
public:
    virtual ~ScanTaker() = default;

    /// Takes the code as its keys gave it, under whatever layout. It may open dialogs; a further
    /// scan then is theirs if they can take one.
    virtual void takeScan(const QString &code) = 0;

protected:
    ScanTaker() = default;
    ScanTaker(const ScanTaker &) = default;
    ScanTaker &operator=(const ScanTaker &) = default;
};
