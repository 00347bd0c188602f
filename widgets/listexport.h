#pragma once

#include <QList>
#include <QString>

#include "app/progressstep.h"
#include "db/connections.h"
#include "widgets/pagedselect.h"
#include "widgets/tablecolumn.h"

class QWidget;

/// How an export ended.
enum class ExportState {
    Written,
    Stopped,    ///< by the user; there is no file
    Unreadable, ///< the list, which was reported over the parent; there is no file
    Unwritable, ///< the file
};

struct ExportResult
{
    ExportState state = ExportState::Unwritable;
    qsizetype rows = 0;
    QString error = {}; ///< of a file that could not be written
};

/// Writes the shown columns of a whole long list to a CSV file for spreadsheets, a page at a time,
/// as the table shows them. progress is called behind every page and may stop; total: how many rows
/// are expected.
ExportResult exportList(QWidget *parent, const QString &path, const PagedSelect &list,
                        const QList<TableColumn> &columns, int total, const ProgressStep &progress,
                        const QString &connectionName = mainConnection);
