#include "widgets/windowkeys.h"

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

void setUpMenuKeys(QMainWindow *window, const std::function<void()> &home)
{
    QMenuBar *bar = window->menuBar();
    auto *openMenu = new QAction(window);
    openMenu->setObjectName(QStringLiteral("menuAction"));
    openMenu->setShortcut(Qt::Key_F10);
    window->addAction(openMenu);
    QObject::connect(openMenu, &QAction::triggered, bar,
                     [bar] { bar->setActiveAction(bar->actions().constFirst()); });
    const QList<QMenu *> menus = bar->findChildren<QMenu *>();
    for (const QMenu *menu : menus) {
        QObject::connect(
            menu, &QMenu::aboutToHide, bar,
            [bar, home] {
                if (bar->hasFocus() && !QApplication::activePopupWidget())
                    home();
            },
            Qt::QueuedConnection);
    }
}

void setTabChain(const QWidgetList &widgets)
{
    for (qsizetype i = 1; i < widgets.size(); ++i)
        QWidget::setTabOrder(widgets.at(i - 1), widgets.at(i));
}
