#pragma once

#include <QWidgetList>

#include <functional>

class QMainWindow;

/// F10 opens the first menu of the window. home gives the keyboard back to its place when Escape
/// has closed a menu: in the menu bar the next scan would be lost.
void setUpMenuKeys(QMainWindow *window, const std::function<void()> &home);

/// Tab goes through the widgets in this order.
void setTabChain(const QWidgetList &widgets);
