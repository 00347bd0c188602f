#include "images/storerequests.h"

#include "images/background.h"
#include "images/imagefile.h"
#include "images/imagesstore.h"

#include <memory>
#include <utility>

namespace {

/// What listens to the store for one request; ends with it, or with its context.
QObject *newListener(QObject *context)
{
    return new QObject(context);
}

/// Ends a request with a call that no signal of the store has to wait for.
template<typename Call>
void finish(QObject *listener, QObject *context, Call call)
{
    listener->deleteLater();
    QMetaObject::invokeMethod(context, std::move(call), Qt::QueuedConnection);
}

/// Lists folders one after another.
void listMore(QObject *context, ImagesStore &store, QStringList folders, const StoreFiles &found,
              const std::function<void(const StoreFiles &files, const QString &reason)> &done)
{
    if (folders.isEmpty())
        return done(found, {});
    const QString folder = folders.takeFirst();
    QObject *listener = newListener(context);
    const auto answered = [=, &store](const QString &of, const QList<StoreFile> &files,
                                      const QString &reason) {
        if (of != folder)
            return;
        QObject::disconnect(&store, nullptr, listener, nullptr);
        finish(listener, context, [=, &store] {
            if (!reason.isEmpty())
                return done({}, reason);
            StoreFiles all = found;
            for (const StoreFile &file : files)
                all.insert(folder + u'/' + file.name, file);
            listMore(context, store, folders, all, done);
        });
    };
    QObject::connect(
        &store, &ImagesStore::listCompleted, listener,
        [=](const QString &of, const QList<StoreFile> &files) { answered(of, files, {}); });
    QObject::connect(&store, &ImagesStore::listFailed, listener,
                     [=](const QString &of, const QString &reason) { answered(of, {}, reason); });
    store.list(folder);
}

} // namespace

void putFiles(QObject *context, ImagesStore &store, const QList<FileContents> &files,
              const std::function<void(const QString &reason)> &done)
{
    struct Waiting
    {
        QStringList names;
        QString reason;
    };
    auto waiting = std::make_shared<Waiting>();
    for (const FileContents &file : files)
        waiting->names += file.name;
    QObject *listener = newListener(context);
    const auto answered = [=, &store](const QString &name, const QString &reason) {
        if (!waiting->names.removeOne(name))
            return;
        if (waiting->reason.isEmpty())
            waiting->reason = reason;
        if (waiting->names.isEmpty()) {
            QObject::disconnect(&store, nullptr, listener, nullptr);
            finish(listener, context, [=] { done(waiting->reason); });
        }
    };
    QObject::connect(&store, &ImagesStore::putCompleted, listener,
                     [=](const QString &name) { answered(name, {}); });
    QObject::connect(&store, &ImagesStore::putFailed, listener, answered);
    for (const FileContents &file : files)
        store.put(file.name, file.bytes);
}

void getFile(QObject *context, ImagesStore &store, const QString &name,
             const std::function<void(const FetchedFile &file)> &done, qulonglong imageId)
{
    QObject *listener = newListener(context);
    const auto answered = [=, &store](const QString &answeredName, const FetchedFile &file) {
        if (answeredName != name)
            return;
        QObject::disconnect(&store, nullptr, listener, nullptr);
        finish(listener, context, [=] { done(file); });
    };
    QObject::connect(
        &store, &ImagesStore::getCompleted, listener,
        [=](const QString &of, const QByteArray &bytes) { answered(of, {.bytes = bytes}); });
    QObject::connect(&store, &ImagesStore::getFailed, listener,
                     [=](const QString &of, const QString &reason, bool missing) {
                         answered(of, {.reason = reason, .missing = missing});
                     });
    store.get(name, imageId);
}

void listFolders(QObject *context, ImagesStore &store, const QStringList &folders,
                 const std::function<void(const StoreFiles &files, const QString &reason)> &done)
{
    listMore(context, store, folders, {}, done);
}

void removeFile(QObject *context, ImagesStore &store, const QString &name,
                const std::function<void(const QString &reason)> &done)
{
    QObject *listener = newListener(context);
    const auto answered = [=, &store](const QString &answeredName, const QString &reason) {
        if (answeredName != name)
            return;
        QObject::disconnect(&store, nullptr, listener, nullptr);
        finish(listener, context, [=] { done(reason); });
    };
    QObject::connect(&store, &ImagesStore::removeCompleted, listener,
                     [=](const QString &of) { answered(of, {}); });
    QObject::connect(&store, &ImagesStore::removeFailed, listener, answered);
    store.remove(name);
}

/// Lists the folder first: to ask for a file that is not there would be a fault in the log.
void getLogo(QObject *context, ImagesStore &store,
             const std::function<void(const QImage &logo, const QString &reason)> &done)
{
    const auto take = [=](const FetchedFile &file) {
        if (!file.reason.isEmpty() && !file.missing)
            return done({}, file.reason);
        runInBackground(
            context, [bytes = file.bytes] { return decodeLogo(bytes); },
            [=](const QImage &logo) { done(logo, {}); });
    };
    const auto listed = [=, &store](const StoreFiles &files, const QString &reason) {
        if (!reason.isEmpty() || !files.contains(logoFile))
            return done({}, reason);
        getFile(context, store, logoFile, take);
    };
    listFolders(context, store, {logoFolder}, listed);
}
