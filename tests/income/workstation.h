#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include "app/settings.h"

/// What one workstation of a stress test is told to do.
struct WorkstationOrder
{
    int number = 0; ///< also its user id
    quint32 seed = 0;
    int rounds = 0;  ///< of a few actions and a posting; 0: random actions until the time is over
    int seconds = 0; ///< how long the random actions go on
    QString journal; ///< file to write
    ConnectionEntry entry = {};

    QStringList arguments() const;
    static WorkstationOrder fromArguments(const QStringList &arguments);
};

inline const QString workstationMode = QStringLiteral("--workstation");

/// Products that all workstations work on, with the ids from 1: few, so that they get into each
/// other's way.
constexpr int hotProducts = 4;

/// The life of a workstation in a process of its own: connects, prints "ready", waits for a line
/// on its standard input, works and keeps a journal. Returns the exit code.
int runWorkstation(const WorkstationOrder &order);

/// What a workstation was told by the program, and has acted upon.
struct WorkstationJournal
{
    int actions = 0;
    QMap<qulonglong, double>
        units; ///< that the program took in for a product, less those taken out
    /// Lines, and the units that each had when it was shown.
    QList<QPair<qulonglong, double>> deletions;
    QList<QPair<qulonglong, int>> receipts; ///< with their lines
    QStringList refusals;                   ///< texts of the program
    bool finished = false;

    static WorkstationJournal read(const QString &path);
};
