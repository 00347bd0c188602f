#pragma once

#include <QString>

#include <functional>

class QWidget;

/// How a recomputation of the receipt's prices ended.
struct PriceUpdate
{
    bool read = false; ///< the lines could be read
    int lines = 0;     ///< lines looked at
    int failed = 0;    ///< lines of which something could not be written
};

/// Recomputes the selling prices of the working list's lines by their coefficients and writes the
/// prices of all lines to their products; goods on the shelf whose selling price changes are noted
/// for new labels. progress(done, total) is called for every line. Failures of lines are passed
/// over and told once, over the parent.
PriceUpdate updateCosts(QWidget *parent, const QString &connectionName,
                        const std::function<void(int done, int total)> &progress);
