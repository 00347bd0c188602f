#pragma once

#include <QStringList>

class QLineEdit;

/// Shows in an empty field the first of the hints that its width has room for, the last one in any
/// case; the first and longest is also its tool tip.
void setPlaceholders(QLineEdit *field, const QStringList &hints);
