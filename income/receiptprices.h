#pragma once

#include <QString>

#include "app/progressstep.h"

class QWidget;

/// How a recomputation of the receipt's prices ended.
struct PriceUpdate
{
    bool read = false; ///< the lines could be read
    int lines = 0;     ///< lines looked at
    int failed = 0;    ///< lines of which something could not be written
    int gone = 0;      ///< lines that another workstation posted or deleted meanwhile
};

/// Recomputes the selling prices of the working list's lines by their coefficients and writes the
/// prices of all lines to their products; goods on the shelf whose selling price changes are noted
/// for new labels. Every line is looked at again and written in a transaction of its own, so that
/// prices entered meanwhile on another workstation count. progress is called behind every line,
/// outside of these; where it stops, the rest stays as it is. Lines that were not updated are told
/// once, over the parent.
PriceUpdate updateCosts(QWidget *parent, const QString &connectionName,
                        const ProgressStep &progress);
