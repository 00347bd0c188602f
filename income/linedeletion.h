#pragma once

#include <QList>
#include <QString>

class QWidget;

/// A line of the working list as it was shown when its deletion was asked about.
struct ShownLine
{
    qulonglong id = 0;
    qulonglong wareid = 0;
    QString name; ///< of the product
    double quantity = 0;
    QString unit = {};
};

/// What the question about the deletion of lines says of them: the first ones, a line of text for
/// each, and how many more.
QString deletionNote(const QList<ShownLine> &lines);

/// Asks whether lines are to be deleted.
bool askToDelete(QWidget *parent, const QList<ShownLine> &lines);

/// Deletes lines of the working list in one short transaction. Those that another workstation has
/// changed, posted or deleted since they were shown are left alone; that is logged and told over
/// the parent. A failure is told likewise and deletes nothing. Returns the ids of the lines that
/// were deleted here.
QList<qulonglong> deleteLines(QWidget *parent, QList<ShownLine> lines);
