#include "widgets/windowplace.h"

#include <QMainWindow>
#include <QScreen>
#include <QSettings>
#include <QSplitter>

void restoreWindowPlace(QMainWindow *window, QSplitter *splitter, const WindowKeys &keys,
                        const QSize &wanted, int firstSide)
{
    const QSettings store;
    if (!window->restoreGeometry(store.value(keys.geometry).toByteArray())) {
        const QSize frame(12, 44); // of the window, which is not known before it is shown
        window->resize(wanted.boundedTo(window->screen()->availableGeometry().size() - frame));
    }
    window->restoreState(store.value(keys.state).toByteArray());
    if (!splitter->restoreState(store.value(keys.splitter).toByteArray())) {
        const int first = window->width() * firstSide / 100;
        splitter->setSizes({first, window->width() - first});
    }
}

void saveWindowPlace(const QMainWindow *window, const QSplitter *splitter, const WindowKeys &keys)
{
    QSettings store;
    store.setValue(keys.geometry, window->saveGeometry());
    store.setValue(keys.state, window->saveState());
    store.setValue(keys.splitter, splitter->saveState());
}
