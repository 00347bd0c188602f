#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

class QXmlStreamReader;
class QXmlStreamWriter;

/// One database connection of the settings file. The keys of the file are the member names, except
/// for `name`, whose key is "connection". Values are text as the user entered them.
struct ConnectionEntry
{
    QString name = {};       ///< what the user calls it; entries are told apart by it
    QString dbtype = {};     ///< "mysql", "postgresql" or "sqlite"
    QString dbhostname = {}; ///< host or host:port
    QString dbusername = {};
    QString dbpassword = {};
    QString databasename =
        {}; ///< database, or for SQLite a file (without "/": in the config directory)
    QString dbcacert = {}; ///< file paths of the TLS keys, MySQL only
    QString dbclientkey = {};
    QString dbclientcert = {};
    QMap<QString, QString> other = {}; ///< keys of other programs, kept as they are

    bool operator==(const ConnectionEntry &) const = default;
};

/// The single values of the settings file.
enum class SettingsKey {
    Connection,       ///< name of the main connection chosen last
    FriendConnection, ///< name of the reference connection chosen last, empty: none
    Login,            ///< login name entered last
    FontSize,         ///< interface font size in points, 0: the system's own
    Sounds,           ///< 1: sounds for found and not found codes
    AddOnScan,        ///< 1: a scanned code goes into the receipt without the dialog
    SmsGateHost,      ///< host or host:port of the SMS gateway, empty: none
    ImagesStoreType,  ///< "local" or "webdav"
    ImagesStorePath,
    ImagesStoreHost,
    ImagesStorePort,
    ImagesStoreLogin,
    ImagesStorePassword,
    /// Where the pictures of the reference database are; no type: in our own store.
    FriendImagesStoreType,
    FriendImagesStorePath,
    FriendImagesStoreHost,
    FriendImagesStorePort,
    FriendImagesStoreLogin,
    FriendImagesStorePassword,
    ImagesStoreCertificates, ///< accepted ones, "host:port=fingerprint" with blanks between
    ScalesPort,              ///< serial port name
    ScalesType,              ///< empty: no scales
};

/// The settings file "lavkor.settings": connections and single values, XML.
class Settings
{
public:
    enum class LoadResult { Loaded, Missing, Broken, Unreadable };

    /// The process-wide settings.
    static Settings &instance();

    /// Replaces everything by the file's content and remembers the path for save(). A missing file
    /// leaves the defaults with the ready local connection. So does a broken one, which is kept
    /// beside as path + ".broken", and one that cannot be read, which is left alone and not written
    /// over by save(); a log line tells its name and the line, and with showBox a box tells the
    /// user.
    LoadResult load(const QString &path, bool showBox = false);

    /// Writes everything to the path of the last load(), readable by the owner only. Returns false
    /// and fills *error (if given) with a text for the user when the file could not be written.
    bool save(QString *error = nullptr) const;

    /// Back to the defaults, as if no file had been read.
    void reset();

    QString value(SettingsKey key) const;
    int intValue(SettingsKey key) const;
    void setValue(SettingsKey key, const QString &value);

    /// setValue() and save() for a value that differs.
    bool change(SettingsKey key, const QString &value, QString *error = nullptr);

    const QList<ConnectionEntry> &connections() const;
    void setConnections(const QList<ConnectionEntry> &connections);

    /// The connection of that name, or nullptr.
    const ConnectionEntry *findConnection(const QString &name) const;

    /// What a first start offers: "Локальная база", SQLite, lavkor.sqlite.
    static ConnectionEntry localConnection();

private:
    bool read(QXmlStreamReader &xml);
    void readConnection(QXmlStreamReader &xml);
    void readSection(QXmlStreamReader &xml);
    void write(QXmlStreamWriter &xml) const;

    QString m_path;
    QList<ConnectionEntry> m_connections;
    QMap<QString, QMap<QString, QString>> m_sections; ///< section, key, value
    QStringList m_foreign; ///< elements of other programs that are no plain keys, as XML
    bool m_unread = false; ///< what stands at the path is not known
    mutable bool m_setAsideFirst = false; ///< a broken file still stands at the path
};
