#pragma once

#include <QList>
#include <QString>

#include <optional>

class QWidget;

/// How a change of the group of some products ended.
struct GroupChange
{
    bool done = false; ///< otherwise nothing was written, and it was told
    int changed = 0;   ///< products that are in the group now
    int missing = 0;   ///< products that are not in the catalogue any more
};

/// The group that all the products are in, 0 for none; nothing when they are in several or could
/// not be read.
std::optional<qulonglong> commonGroup(QWidget *parent, const QList<qulonglong> &ids);

/// Moves the products to a group, 0 for none: all of them or, told over the parent, not a single
/// one.
GroupChange changeGroup(QWidget *parent, QList<qulonglong> ids, qulonglong group);
