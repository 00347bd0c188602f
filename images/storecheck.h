#pragma once

#include <memory>

#include "app/backgroundwork.h"
#include "images/storesettings.h"

class ImagesStore;

/// Tries a store out: writes a small file, reads it back and deletes it. Shows no boxes but the
/// question about a server's certificate.
class StoreCheck final : public BackgroundWork
{
    Q_OBJECT

public:
    explicit StoreCheck(const ImagesStoreSettings &settings, QObject *parent = nullptr);
    ~StoreCheck() override;

    /// What it came to, in a sentence for the user.
    QString result() const;

protected:
    void begin() override;
    void letGo() override;

private:
    void readBack();
    void remove(const QString &fault);

    ImagesStoreSettings m_settings;
    std::unique_ptr<ImagesStore> m_store;
    QString m_name; ///< of the file
};
