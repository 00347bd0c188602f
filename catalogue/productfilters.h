#pragma once

#include <QtGlobal>

#include <optional>

class QComboBox;

/// The boxes in which the products of one group or of one brand are chosen.

/// Fills a box with the tree of groups, or with the brands, behind an entry for all of them. The
/// choice stays. Failures are told over the window of the box.
void fillGroups(QComboBox *box);
void fillBrands(QComboBox *box);

/// The id that is chosen; nothing: all.
std::optional<qulonglong> chosenId(const QComboBox *box);
