#pragma once

#include <memory>

#include "app/backgroundwork.h"
#include "images/storesettings.h"

class ImagesStore;

/// Tries a store out: writes a small file, reads it back and deletes it; of a store that is only
/// read from, looks what is in it. Shows no boxes but the question about a server's certificate.
class StoreCheck final : public BackgroundWork
{
    Q_OBJECT

public:
    enum class Use { ReadAndWrite, Read };

    StoreCheck(const ImagesStoreSettings &settings, Use use, QObject *parent = nullptr);
    ~StoreCheck() override;

    /// What it came to, in a sentence for the user.
    QString result() const;

protected:
    void begin() override;
    void letGo() override;

private:
    void look();
    void readBack();
    void remove(const QString &fault);

    ImagesStoreSettings m_settings;
    Use m_use;
    qsizetype m_found = 0; ///< originals
    std::unique_ptr<ImagesStore> m_store;
    QString m_name; ///< of the file
};
