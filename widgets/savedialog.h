#pragma once

#include <QString>

class QWidget;

/// Asks for the file that something is to be saved in. The proposed name has the suffix that a name
/// typed without one gets; replacing a file is asked about. Empty when cancelled.
QString askSavePath(QWidget *parent, const QString &title, const QString &proposedName,
                    const QString &filter);
