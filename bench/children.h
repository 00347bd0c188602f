#pragma once

#include <QString>
#include <QStringList>

/// Runs this program as a child of another kind when the arguments say so; -1 when they do not.
/// "--empty-window": shows an empty window; "--first-window FILE": what the program shows first;
/// "--shop-window FILE": the main window on a shop; all print "shown" and the memory used, and end.
int runChild(const QStringList &arguments);

/// What a child told.
struct ChildResult
{
    double milliseconds = 0; ///< from the start of the process to the shown window
    double megabytes = 0;    ///< resident memory at that time
};

/// Starts the program as that child and waits for it.
ChildResult startChild(const QStringList &arguments);
