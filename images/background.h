#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QThreadPool>
#include <QtConcurrentRun>

#include <type_traits>
#include <utility>

/// The threads that decode and scale pictures. Few of them: a large picture takes much memory.
QThreadPool &imageThreads();

/// Runs work on one of those threads and then done(result) on the thread of the context, unless
/// that is gone by then.
template<typename Work, typename Done>
void runInBackground(QObject *context, Work work, Done done)
{
    using Result = std::invoke_result_t<Work>;
    auto *watcher = new QFutureWatcher<Result>(context);
    QObject::connect(watcher, &QFutureWatcher<Result>::finished, context,
                     [watcher, done = std::move(done)]() mutable {
                         watcher->deleteLater();
                         done(watcher->result());
                     });
    watcher->setFuture(QtConcurrent::run(&imageThreads(), std::move(work)));
}
