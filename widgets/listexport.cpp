#include "widgets/listexport.h"

#include "widgets/csvfile.h"
#include "widgets/pagedrows.h"

#include <algorithm>

namespace {

constexpr qsizetype pageRows = 2000;

/// A value as the table shows it, but a number as a number.
QVariant exported(const QVariant &value, ColumnKind kind)
{
    const QString text = shownText(value, kind);
    bool isNumber = kind == ColumnKind::Money || kind == ColumnKind::Quantity ||
                    kind == ColumnKind::Ratio || kind == ColumnKind::Factor;
    const double number = isNumber ? text.toDouble(&isNumber) : 0;
    return isNumber ? QVariant(number) : QVariant(text);
}

} // namespace

ExportResult exportList(QWidget *parent, const QString &path, const PagedSelect &list,
                        const QList<TableColumn> &columns, int total, const ProgressStep &progress,
                        const QString &connectionName)
{
    CsvFile file(path);
    ExportResult result;
    const auto ended = [&](ExportState state) {
        result.state = state;
        result.error = file.errorText();
        return result;
    };
    QVariantList row;
    for (const TableColumn &column : columns) {
        if (column.width != ColumnWidth::Hidden)
            row += column.header;
    }
    if (!file.open() || !file.write(row))
        return ended(ExportState::Unwritable);

    // Batches that are never added: the rows already written need not be kept.
    PagedRows pages(list, columns, connectionName);
    while (!pages.isAtEnd()) {
        PagedRows::Batch batch;
        if (!pages.read(parent, pageRows, true, QDeadlineTimer(100), batch))
            return ended(ExportState::Unreadable);
        for (qsizetype at = 0; at < batch.values.size(); at += columns.size()) {
            row.clear();
            for (qsizetype column = 0; column < columns.size(); ++column) {
                if (columns.at(column).width != ColumnWidth::Hidden)
                    row += exported(batch.values.at(at + column), columns.at(column).kind);
            }
            if (!file.write(row))
                return ended(ExportState::Unwritable);
        }
        result.rows += batch.ids.size();
        const int done = int(std::min<qsizetype>(result.rows, total));
        if (progress && !progress(done, std::max(total, 1)))
            return ended(ExportState::Stopped);
    }
    return ended(file.commit() ? ExportState::Written : ExportState::Unwritable);
}
