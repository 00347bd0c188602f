#pragma once

#include <QObject>
#include <QVariant>

#include "labels/sheetlayout.h"

class ColumnWidths;
class LabelsModel;
class QTableView;

/// The queue of labels in a table: names and numbers are changed in place.
class LabelsTable final : public QObject
{
    Q_OBJECT

public:
    /// Shows the queue in the view, of which it is a child.
    explicit LabelsTable(QTableView *view);

    /// Reads the queue anew, the user's place is kept. False on failure, which has been told.
    bool refresh();

    /// Goes to the last row.
    void showEnd();

    /// The rows in the order in which they are printed.
    QList<SheetPlan::Row> rows() const;

    QList<qulonglong> selectedIds() const;

    /// The number of labels of the current row.
    double currentQuantity() const;

signals:
    /// The queue was read anew.
    void refreshed();

private:
    void edit(qulonglong id, const QString &column, QVariant shown, const QVariant &value);
    bool mayReplace(const QVariant &stored, const QVariant &value);

    QTableView *m_view;
    LabelsModel *m_model;
    ColumnWidths *m_widths;
    bool m_sized = false;
};
