#include "images/storecopy.h"

#include "app/messages.h"
#include "images/imagesstore.h"
#include "images/storerequests.h"
#include "widgets/runwithprogress.h"

#include <QPointer>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace {

constexpr int mostAtOnce = 4;
constexpr int mostFailuresInRow = 5; ///< then the rest would fail, too

const QStringList copiedFolders = {originalsFolder, processedFolder, thumbsFolder, logoFolder};

bool isSameSize(const StoreFile &a, const StoreFile &b)
{
    return a.size >= 0 && a.size == b.size;
}

} // namespace

StoreCopy::StoreCopy(const ImagesStoreSettings &from, const ImagesStoreSettings &to,
                     QObject *parent)
    : BackgroundWork(parent),
      m_from(std::make_unique<ImagesStore>(from)),
      m_to(std::make_unique<ImagesStore>(to))
{
    m_from->setSilent(true);
    m_to->setSilent(true);
}

StoreCopy::~StoreCopy() = default;

QString StoreCopy::result() const
{
    QStringList parts = {tr("Скопировано файлов: %1").arg(m_copied),
                         tr("уже были: %1").arg(m_present)};
    if (!m_failed.isEmpty())
        parts += tr("с ошибками: %1").arg(m_failed.size());
    QString text = parts.join(QLatin1String(", ")) + u'.';
    if (state() == State::Cancelled)
        text += u'\n' + tr("Копирование остановлено, его можно продолжить.");
    else if (state() != State::Done)
        text += u'\n' + tr("Копирование прервано: %1.").arg(reason());
    if (isComplete())
        text += u'\n' + tr("Размеры всех файлов совпадают.");
    else if (m_compared)
        text += u'\n' + tr("Нет или отличаются размером (%1):").arg(m_different.size()) + u'\n' +
                shortened(m_different).join(u'\n');
    return text;
}

bool StoreCopy::isComplete() const
{
    return m_compared && m_different.isEmpty();
}

void StoreCopy::begin()
{
    advance(0, -1);
    list(*m_from, m_source, &StoreCopy::compareBefore);
}

void StoreCopy::letGo()
{
    m_from->cancelAll();
    m_to->cancelAll();
}

void StoreCopy::list(ImagesStore &store, StoreFiles &files, void (StoreCopy::*then)())
{
    listFolders(this, store, copiedFolders,
                [this, &files, then](const StoreFiles &found, const QString &reason) {
                    if (isOver())
                        return;
                    if (!reason.isEmpty())
                        return fail(reason);
                    files = found;
                    (this->*then)();
                });
}

void StoreCopy::compareBefore()
{
    list(*m_to, m_target, &StoreCopy::copyNext);
}

void StoreCopy::copyNext()
{
    if (m_total == 0) {
        for (auto it = m_source.cbegin(); it != m_source.cend(); ++it) {
            const StoreFile there = m_target.value(it.key());
            if (isSameSize(there, *it) && !(there.modified < it->modified))
                ++m_present;
            else
                m_waiting += it.key();
        }
        m_waiting.sort();
        m_total = static_cast<int>(m_source.size());
    }
    while (m_running < mostAtOnce && !m_waiting.isEmpty() && !isOver()) {
        ++m_running;
        copy(m_waiting.takeFirst());
    }
    if (m_running == 0 && !isOver())
        list(*m_to, m_target, &StoreCopy::compareAfter);
}

void StoreCopy::copy(const QString &name)
{
    getFile(this, *m_from, name, [this, name](const FetchedFile &file) {
        if (isOver())
            return;
        if (!file.reason.isEmpty())
            return notRead(name, file.reason);
        putFiles(this, *m_to, {{name, file.bytes}},
                 [this, name](const QString &reason) { copied(name, reason); });
    });
}

/// Some files in a row that cannot be read do not mean yet that none can.
void StoreCopy::notRead(const QString &name, const QString &reason)
{
    if (m_failuresInRow + 1 < mostFailuresInRow)
        return copied(name, reason);
    listFolders(this, *m_from, {logoFolder},
                [this, name, reason](const StoreFiles & /*files*/, const QString &fault) {
                    if (fault.isEmpty())
                        m_failuresInRow = 0;
                    copied(name, reason);
                });
}

void StoreCopy::copied(const QString &name, const QString &reason)
{
    if (isOver())
        return;
    --m_running;
    if (reason.isEmpty()) {
        ++m_copied;
        m_failuresInRow = 0;
    } else {
        m_failed += name;
        if (++m_failuresInRow == mostFailuresInRow)
            return fail(reason);
    }
    advance(m_present + m_copied + m_failed.size(), m_total);
    copyNext();
}

void StoreCopy::compareAfter()
{
    for (auto it = m_source.cbegin(); it != m_source.cend(); ++it) {
        if (!isSameSize(m_target.value(it.key()), *it))
            m_different += it.key();
    }
    m_different.sort();
    m_compared = true;
    succeed();
}

void offerStoreCopy(QWidget *parent, const ImagesStoreSettings &former,
                    const ImagesStoreSettings &now)
{
    if (former.displayName() == now.displayName() || !former.fault().isEmpty())
        return;
    const QString text = StoreCopy::tr("Хранилище изображений теперь другое. Скопировать в него "
                                       "все изображения?\n\nОткуда: %1\nКуда: %2");
    if (askQuestion(parent, text.arg(former.displayName(), now.displayName()),
                    {StoreCopy::tr("Скопировать"), StoreCopy::tr("Не копировать")}, 0, 1) != 0)
        return;
    auto *copy = new StoreCopy(former, now, parent);
    showProgress(parent, StoreCopy::tr("Копирование изображений"), copy);
    QObject::connect(copy, &BackgroundWork::finished, parent, [copy, parent] {
        copy->deleteLater();
        // A box runs an event loop, and this may be the answer to a request.
        QMetaObject::invokeMethod(
            parent,
            [parent, text = copy->result(), good = copy->isComplete()] {
                good ? showInformation(parent, text) : showWarning(parent, text);
            },
            Qt::QueuedConnection);
    });
    copy->start();
}
