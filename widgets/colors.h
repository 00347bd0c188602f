#pragma once

#include <QColor>

class QPalette;

/// A colour that lies the given part (0 to 1) of the way from one to another.
QColor blendColors(const QColor &from, const QColor &to, double part);

/// Red for a text on the window's background, readable on light and dark palettes.
QColor warningTextColor(const QPalette &palette);

/// The background of what differs from what it is compared with.
QColor differenceColor(const QPalette &palette);
