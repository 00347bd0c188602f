#pragma once

#include <QMap>
#include <QString>

#include "app/settings.h"

/// Whose pictures a store holds: ours, or those of the reference database.
enum class StoreOwner { Own, Reference };

/// Where pictures are kept, as it stands in the settings file.
struct ImagesStoreSettings
{
    QString type = QStringLiteral("local"); ///< "local" or "webdav"
    QString path = {}; ///< local: a directory, empty: "images" in the configuration directory;
                       ///< WebDAV: the folder on the server
    QString host = {}; ///< a name; "http://" before it: without TLS
    QString port = {}; ///< empty: that of the scheme
    QString login = {};
    QString password = {};

    bool operator==(const ImagesStoreSettings &) const = default;

    bool isWebdav() const;

    /// The root of a local store, without a slash at its end.
    QString localRoot() const;

    /// The root of a share, with one slash in front, written with or without it.
    QString shareRoot() const;

    /// What is wrong with them, in words for the user; empty: nothing.
    QString fault() const;

    /// Names the store for people, without the password.
    QString displayName() const;

    /// What the settings say. The reference database without a store of its own has ours.
    static ImagesStoreSettings read(StoreOwner owner = StoreOwner::Own);

    /// The same of values that are not in the settings yet.
    static ImagesStoreSettings of(const QMap<SettingsKey, QString> &values, StoreOwner owner);

    /// Puts them into the settings, which are not saved yet.
    void write(StoreOwner owner = StoreOwner::Own) const;
};

/// The address of a WebDAV share, taken apart.
struct WebdavAddress
{
    bool encrypted = true;
    QString host = {};
    int port = 0; ///< 0: that of the scheme

    /// Reads host and port as people write them: "name", "http://name", "https://name/",
    /// "name:8080". False when the text is no address.
    bool read(const QString &hostText, const QString &portText);
};
