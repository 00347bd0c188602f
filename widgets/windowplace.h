#pragma once

#include <QString>

class QMainWindow;
class QSize;
class QSplitter;

/// Where a window keeps its place in the settings store of the toolkit.
struct WindowKeys
{
    QString geometry;
    QString state;
    QString splitter;
};

/// Puts a window where it was. At the first time it gets the wanted size, in px, or as much of it
/// as the screen has, and the splitter gives its first side so many percent.
void restoreWindowPlace(QMainWindow *window, QSplitter *splitter, const WindowKeys &keys,
                        const QSize &wanted, int firstSide);

/// Keeps the place for the next start.
void saveWindowPlace(const QMainWindow *window, const QSplitter *splitter, const WindowKeys &keys);
