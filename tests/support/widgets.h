#pragma once

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>
#include <QTest>

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

/// Types over the text of a field of a window; in any letters, where keyClicks() knows only Latin.
inline void type(const QWidget &window, const char *name, const QString &text)
{
    auto *edit = child<QLineEdit>(window, name);
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    for (const QChar c : text)
        QTest::sendKeyEvent(QTest::Click, edit, Qt::Key_unknown, QString(c), Qt::NoModifier);
}
