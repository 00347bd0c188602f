#pragma once

#include <QString>

/// A name that a word-wrapping label can break anywhere, also inside one long word; the end of a
/// very long one is left out with an ellipsis.
QString breakable(const QString &name);

/// Text for a tool tip, shown sign by sign: tool tips guess whether a text is markup.
QString plainToolTip(const QString &text);
