#include "widgets/tableclipboard.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QStringList>
#include <QTableView>

#include <algorithm>
#include <utility>

void copySelectedRows(const QTableView *view)
{
    const QHeaderView *header = view->horizontalHeader();
    QModelIndexList rows = view->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QStringList lines;
    for (const QModelIndex &index : std::as_const(rows)) {
        QStringList cells;
        for (int visual = 0; visual < header->count(); ++visual) {
            const int column = header->logicalIndex(visual);
            if (!header->isSectionHidden(column) && header->sectionSize(column) > 0)
                cells += index.siblingAtColumn(column).data().toString();
        }
        lines += cells.join(u'\t');
    }
    if (!lines.isEmpty())
        QApplication::clipboard()->setText(lines.join(u'\n'));
}
