#include "images/storecheck.h"

#include "images/certificatetrust.h"
#include "images/imagesstore.h"
#include "images/storerequests.h"

#include <QUuid>

StoreCheck::StoreCheck(const ImagesStoreSettings &settings, Use use, QObject *parent)
    : BackgroundWork(parent),
      m_settings(settings),
      m_use(use),
      m_name(originalsFolder + QStringLiteral("/check-") +
             QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".tmp"))
{
}

StoreCheck::~StoreCheck() = default;

QString StoreCheck::result() const
{
    if (state() == State::Done && m_use == Use::Read)
        return tr("Хранилище изображений %1 читается, оригиналов в нём: %2.")
            .arg(m_settings.displayName())
            .arg(m_found);
    if (state() == State::Done)
        return tr("Хранилище изображений работает: %1.").arg(m_settings.displayName());
    return tr("Хранилище изображений %1 не работает: %2.").arg(m_settings.displayName(), reason());
}

void StoreCheck::begin()
{
    certificatetrust::forgetRefusals();
    m_store = std::make_unique<ImagesStore>(m_settings);
    m_store->setSilent(true);
    if (m_use == Use::Read)
        return look();
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

void StoreCheck::look()
{
    listFolders(this, *m_store, {originalsFolder},
                [this](const StoreFiles &files, const QString &reason) {
                    m_found = files.size();
                    if (!reason.isEmpty())
                        fail(reason);
                    else if (files.isEmpty())
                        fail(tr("в его папке %1 нет ни одного файла").arg(originalsFolder));
                    else
                        succeed();
                });
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
