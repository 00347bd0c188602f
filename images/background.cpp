#include "images/background.h"

#include <QCoreApplication>
#include <QPointer>

QThreadPool &imageThreads()
{
    constexpr int threads = 2;
    static QPointer<QThreadPool> pool;
    if (!pool) {
        pool = new QThreadPool(QCoreApplication::instance());
        pool->setMaxThreadCount(threads);
    }
    return *pool;
}
