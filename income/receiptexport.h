#pragma once

#include <QString>

class QWidget;

/// Asks for a file and writes the lines of the working list to it, or those of a posted receipt,
/// separated by commas. Tells how it went; returns whether it was written.
bool exportReceipt(QWidget *parent, qulonglong reportId = 0);

/// The same with a file that is known.
bool exportReceiptTo(QWidget *parent, const QString &path, qulonglong reportId = 0);
