#pragma once

#include <QString>
#include <QStringList>

/// Runs this program as a child of another kind when the arguments say so; -1 when they do not.
/// "--shop-window FILE": the main window on a shop; "--shop-at-work FILE": the same, with filters,
/// a posting and refreshes after it. All print "done" and the memory used, and end.
int runChild(const QStringList &arguments);

/// What a child told.
struct ChildResult
{
    double milliseconds = 0; ///< from the start of the process until it has told "done"
    double megabytes = 0;    ///< the most resident memory until then
};

/// Starts the program as that child and waits for it.
ChildResult startChild(const QStringList &arguments);
