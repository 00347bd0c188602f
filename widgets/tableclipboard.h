#pragma once

class QTableView;

/// Copies the text of the selected rows: a line for each, the visible columns in their order,
/// separated by tabs. Nothing happens without a selection.
void copySelectedRows(const QTableView *view);
