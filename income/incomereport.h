#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include "app/progressstep.h"
#include "db/connections.h"

class QWidget;

/// What a report shows beside what it always does.
struct ReportChoice
{
    bool article = true;
    bool location = false;
    bool purchaseTotal = false;
};

/// A table of a report. Its rows are kept apart, so that a long one can be laid out in portions.
struct ReportTable
{
    QString begin; ///< up to the first row, the header within
    QStringList rows;
    QString end;
    QStringList longest;   ///< of each column the longest text, the header's included
    QList<bool> isWrapped; ///< which columns may be broken into lines
};

/// A posted receipt as a document. All values are escaped: none is ever markup.
struct IncomeReport
{
    qulonglong id = 0;
    QString title;        ///< plain
    QString documentName; ///< for printers and files
    QString heading;
    ReportTable lines;
    QString totals;
    QString claimHeading; ///< empty, and no claim, when what arrived is what was posted
    ReportTable claim;

    /// The whole document.
    QString html() const;
};

enum class ReportState {
    Built,
    Missing, ///< there is no such receipt
    Failed,  ///< the database, which was reported over the parent
    Stopped, ///< by the user
};

/// Reads a posted receipt and makes its document.
ReportState buildIncomeReport(QWidget *parent, qulonglong id, const ReportChoice &choice,
                              IncomeReport &report, const ProgressStep &progress = {},
                              const QString &connectionName = mainConnection);
