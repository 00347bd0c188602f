#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

#include "app/settings.h"
#include "db/connections.h"
#include "tests/support/dialect.h"

/// How to connect to a database, as arguments for a child of a test and back again.
QStringList argumentsOf(const ConnectionEntry &entry);
ConnectionEntry entryOf(const QStringList &arguments);

/// A new, empty database of its own: a file for SQLite, a database on the private test server
/// otherwise. It is gone with the object, and so are the connections that open() made.
class ScratchDatabase
{
public:
    explicit ScratchDatabase(Dialect dialect);
    ~ScratchDatabase();
    ScratchDatabase(const ScratchDatabase &) = delete;
    ScratchDatabase &operator=(const ScratchDatabase &) = delete;

    Dialect dialect() const;

    /// What a settings file would hold to connect to it.
    ConnectionEntry entry() const;

    /// Connects under a name, as the program does. False when that failed.
    bool open(const QString &connectionName = mainConnection);

    /// Runs statements with the database's own command-line client; see TestServers::client().
    QString client(const QString &statements) const;

private:
    Dialect m_dialect;
    QString m_name; ///< a file path for SQLite
    std::unique_ptr<QTemporaryDir> m_directory;
    QStringList m_connections;
};
