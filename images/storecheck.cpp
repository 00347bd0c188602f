#include "images/storecheck.h"

#include "images/certificatetrust.h"
#include "images/imagesstore.h"
#include "images/storerequests.h"

#include <QUuid>

StoreCheck::StoreCheck(const ImagesStoreSettings &settings, QObject *parent)
    : BackgroundWork(parent),
      m_settings(settings),
      m_name(originalsFolder + QStringLiteral("/check-") +
             QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".tmp"))
{
}

StoreCheck::~StoreCheck() = default;

QString StoreCheck::result() const
{
    if (state() == State::Done)
        return tr("Хранилище изображений работает: %1.").arg(m_settings.displayName());
    return tr("Хранилище изображений %1 не работает: %2.").arg(m_settings.displayName(), reason());
}

void StoreCheck::begin()
{
    certificatetrust::forgetRefusals();
    m_store = std::make_unique<ImagesStore>(m_settings);
    m_store->setSilent(true);
    putFiles(this, *m_store, {{m_name, m_name.toUtf8()}}, [this](const QString &reason) {
        if (reason.isEmpty())
            readBack();
        else
            fail(reason);
    });
}

void StoreCheck::letGo()
{
    if (m_store)
        m_store->cancelAll();
}

void StoreCheck::readBack()
{
    getFile(this, *m_store, m_name, [this](const FetchedFile &file) {
        const bool isWhole = file.bytes == m_name.toUtf8();
        remove(isWhole ? QString()
                       : file.reason +
                             (file.reason.isEmpty() ? tr("файл вернулся изменённым") : QString()));
    });
}

void StoreCheck::remove(const QString &fault)
{
    removeFile(this, *m_store, m_name, [this, fault](const QString &reason) {
        const QString &first = fault.isEmpty() ? reason : fault;
        first.isEmpty() ? succeed() : fail(first);
    });
}
