#pragma once

#include <QIcon>

/// The icon for a menu: on the selected line it is drawn in the colour of the text there, because
/// its own would hardly be seen on the colour of the selection.
QIcon contrastIcon(const QIcon &icon);
