#pragma once

#include <QObject>
#include <QSqlQuery>
#include <QString>

#include <map>
#include <memory>

#include "db/query.h"
#include "tests/support/datatable.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"

/// The second connection of a case that plays another station; closed behind the case.
inline const QString otherStation = QStringLiteral("other station");

/// A test whose cases run on each of the three databases, in a home directory of their own and with
/// message boxes answered from a queue. A box that nobody expected is a failure.
class DatabaseTest : public QObject
{
    Q_OBJECT

protected:
    /// Opens the database of a case, by one of the functions below, and fills it.
    virtual void prepare() = 0;

    /// Lets go of what a case has made, before its boxes and its database go.
    virtual void tidy();

    /// A new and empty database.
    void openEmpty();

    /// A shop that is kept over the cases, because to make one takes longer than most of them:
    /// emptied of products and receipts and all that hangs on them, a dollar at 90. The session
    /// knows its options; its user is Anna, number 3, with these rights; without
    /// any given she has those of the shipped administrator.
    void openShop(int rights = 895);

    /// Such a shop for the reference connection.
    ScratchDatabase &openReference();

    /// Runs statements with the database's own client, an independent reader.
    QString rows(const QString &statement) const;

    bool isServer() const;

    /// Connects the other station, which waits hardly for a lock; the query tries nothing again.
    QSqlQuery impatientStation() const;

    /// Connects the main connection anew, by way of a proxy on this port.
    bool openThrough(quint16 port) const;

    /// The database refuses statements with this beginning from now on, or only so many of them.
    static void breakStatements(const QString &beginning, int times = -1);

    /// Empties all that belongs to products and receipts. False when that failed.
    static bool clearShop(const QString &connectionName = mainConnection);

    Dialect m_dialect = Dialect::Sqlite;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    ScratchDatabase *m_database = nullptr;

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

private:
    ScratchDatabase &keptShop(const QString &connectionName);

    std::unique_ptr<ScratchDatabase> m_empty;
    std::map<std::pair<Dialect, QString>, std::unique_ptr<ScratchDatabase>> m_shops;
};

/// A test of dialogs whose statements are tested elsewhere: its cases run on SQLite alone.
class DialogTest : public DatabaseTest
{
    Q_OBJECT

private slots:
    void initTestCase_data();
};
