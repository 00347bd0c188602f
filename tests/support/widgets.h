#pragma once

#include <QPushButton>
#include <QTest>
#include <QWidget>

/// A child of a window by its name. One that is not there ends the program.
template<typename Widget>
Widget *child(const QWidget &window, const char *name)
{
    auto *widget = window.findChild<Widget *>(QLatin1String(name));
    if (!widget)
        qFatal("There is no %s", name);
    return widget;
}

/// A click on a button of a window.
inline void click(const QWidget &window, const char *button)
{
    QTest::mouseClick(child<QPushButton>(window, button), Qt::LeftButton);
}
