#include "images/imagesstore.h"

#include "app/logging.h"
#include "app/messages.h"
#include "images/localfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <utility>

ImagesStore::ImagesStore(const ImagesStoreSettings &settings, QObject *parent)
    : QObject(parent)
{
    open(settings);
}

ImagesStore::~ImagesStore() = default;

ImagesStore &ImagesStore::instance()
{
    static QPointer<ImagesStore> store;
    if (!store)
        store = new ImagesStore(ImagesStoreSettings::read(), QCoreApplication::instance());
    return *store;
}

void ImagesStore::open(const ImagesStoreSettings &settings)
{
    const QList<OperationPointer> former = std::exchange(m_operations, {});
    m_settings = settings;
    m_local = std::make_unique<LocalFolder>(settings.localRoot());
    m_outage = false;
    for (const OperationPointer &operation : former)
        answer(*operation, tr("Хранилище изображений сменилось"), false);
    emit opened();
}

const ImagesStoreSettings &ImagesStore::settings() const
{
    return m_settings;
}

void ImagesStore::get(const QString &fileName, qulonglong imageId)
{
    const auto last =
        std::find_if(m_operations.crbegin(), m_operations.crend(),
                     [&](const OperationPointer &one) { return one->name == fileName; });
    if (last != m_operations.crend() && (*last)->verb == Verb::Get)
        ++(*last)->askers;
    else
        ask({.verb = Verb::Get, .name = fileName, .imageId = imageId});
}

void ImagesStore::put(const QString &fileName, const QByteArray &bytes)
{
    ask({.verb = Verb::Put, .name = fileName, .bytes = bytes});
}

void ImagesStore::remove(const QString &fileName)
{
    ask({.verb = Verb::Remove, .name = fileName});
}

void ImagesStore::list(const QString &folder)
{
    ask({.verb = Verb::List, .name = folder});
}

void ImagesStore::cancel(const QString &fileName)
{
    for (const OperationPointer &operation : std::as_const(m_operations)) {
        if (operation->verb != Verb::Get || operation->name != fileName)
            continue;
        if (--operation->askers <= 0)
            m_operations.removeOne(OperationPointer(operation));
        return;
    }
}

void ImagesStore::cancelAll()
{
    m_operations.clear();
}

bool ImagesStore::isBusy() const
{
    return !m_operations.isEmpty();
}

void ImagesStore::ask(Operation operation)
{
    m_operations += std::make_shared<Operation>(std::move(operation));
    if (!std::exchange(m_startPending, true))
        QMetaObject::invokeMethod(this, &ImagesStore::startNext, Qt::QueuedConnection);
}

/// One local file in each turn of the event loop keeps the interface alive.
void ImagesStore::startNext()
{
    m_startPending = false;
    if (m_operations.isEmpty())
        return;
    run(m_operations.first());
    if (!m_operations.isEmpty() && !std::exchange(m_startPending, true))
        QMetaObject::invokeMethod(this, &ImagesStore::startNext, Qt::QueuedConnection);
}

void ImagesStore::run(const OperationPointer &operation)
{
    if (!isStoreName(operation->name))
        finish(operation, tr("Недопустимое имя файла: %1").arg(operation->name));
    else
        runLocally(operation);
}

void ImagesStore::runLocally(const OperationPointer &operation)
{
    using Outcome = LocalFolder::Outcome;
    QString reason;
    Outcome outcome = Outcome::Done;
    switch (operation->verb) {
    case Verb::Get:
        outcome = m_local->read(operation->name, operation->bytes, reason);
        break;
    case Verb::Put:
        outcome = m_local->write(operation->name, operation->bytes, reason);
        break;
    case Verb::Remove:
        outcome = m_local->remove(operation->name, reason);
        break;
    case Verb::List:
        break;
    }
    const bool missing = outcome == Outcome::Missing;
    finish(operation, outcome == Outcome::Done ? QString() : reason, missing);
}

void ImagesStore::finish(const OperationPointer &operation, const QString &reason, bool missing)
{
    const OperationPointer kept = operation; // the caller's may be the one in the list
    m_operations.removeOne(kept);
    answer(*kept, reason, missing);
}

void ImagesStore::answer(const Operation &operation, const QString &reason, bool missing)
{
    const bool good = reason.isEmpty();
    switch (operation.verb) {
    case Verb::Get:
        if (good && operation.bytes.isEmpty())
            logMessage("File is empty?: " + m_local->filePath(operation.name));
        if (!good)
            logMessage("File opening error: " + m_local->filePath(operation.name) +
                       " id: " + QString::number(operation.imageId));
        good ? emit getCompleted(operation.name, operation.bytes)
             : emit getFailed(operation.name, reason, missing);
        break;
    case Verb::Put:
        good ? emit putCompleted(operation.name) : emit putFailed(operation.name, reason);
        break;
    case Verb::Remove:
        good || missing ? emit removeCompleted(operation.name)
                        : emit removeFailed(operation.name, reason);
        break;
    case Verb::List:
        good ? emit listCompleted(operation.name, {}) : emit listFailed(operation.name, reason);
        break;
    }
}

void ImagesStore::tellOutage(const QString &text)
{
    if (std::exchange(m_outage, true))
        return;
    emit errorOccurred(text);
}
