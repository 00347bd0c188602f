#pragma once

#include <QString>
#include <QStringList>

class QWidget;

/// The version that this program writes to `dbversion`.
int schemaVersion();

enum class SchemaState {
    Missing,    ///< an empty database
    Foreign,    ///< no version recorded, and the tables are somebody else's
    Unrecorded, ///< no version recorded, but tables of the suite: adoptSchema() completes them
    Older,      ///< may be upgraded
    Current,
    Newer,   ///< made by a later program; must not be used
    Unknown, ///< the database did not answer
};

/// What of a schema could not be made.
struct SchemaFaults
{
    int count = 0;
    QString sentence = {};  ///< of the first one, for the user; empty when the words must do
    QStringList words = {}; ///< the database's about the first few
};

/// Compares the database of a connection with this program.
SchemaState schemaState(QWidget *parent, const QString &connectionName);

/// Creates what is missing of the whole schema: tables, default rows, then the columns, tables and
/// indexes that came later, and records the version. Harmless on a database that has it all. A
/// failed statement is logged, counted in *faults (if given) and does not stop the rest; only a
/// lost connection is asked about over the parent. Returns whether all succeeded.
bool createSchema(QWidget *parent, const QString &connectionName, SchemaFaults *faults = nullptr);

/// Adds what is missing: tables with their rows, columns, also of the tables that the whole suite
/// shares, and indexes; moves PostgreSQL's sequences that lag behind. Looks at what is there, so
/// that a complete database costs a handful of statements. Failures as above.
bool upgradeSchema(QWidget *parent, const QString &connectionName, SchemaFaults *faults = nullptr);

/// upgradeSchema() for a database without a recorded version, perhaps of a creation that was broken
/// off: also fills tables that should have rows and have none.
bool adoptSchema(QWidget *parent, const QString &connectionName, SchemaFaults *faults = nullptr);

/// Tables of the suite that cannot be rolled back: those of MySQL that are not InnoDB.
QStringList nonTransactionalTables(QWidget *parent, const QString &connectionName);
