#pragma once

#include <QString>
#include <QStringList>

#include "db/dialect.h"

class QWidget;

/// The version that this program writes to `dbversion`.
int schemaVersion();

enum class SchemaState {
    Missing, ///< no version recorded: an empty database, or a creation that was broken off
    Older,   ///< may be upgraded
    Current,
    Newer,   ///< made by a later program; must not be used
    Unknown, ///< the database did not answer
};

/// Compares the database of a connection with this program.
SchemaState schemaState(QWidget *parent, const QString &connectionName);

/// Creates what is missing of the whole schema: tables, default rows, then the columns, tables and
/// indexes that came later, and records the version. Harmless on a database that has it all. A
/// failed statement is reported and does not stop the rest; returns whether all succeeded.
bool createSchema(QWidget *parent, const QString &connectionName);

/// Adds the later columns, tables and indexes where they are missing, looking at what is there.
bool upgradeSchema(QWidget *parent, const QString &connectionName);

/// Tables of a MySQL database that are not InnoDB and so cannot be rolled back; empty elsewhere.
QStringList nonTransactionalTables(QWidget *parent, const QString &connectionName);

/// The statements that create all tables in a dialect, for reading and tests.
QStringList schemaStatements(Dialect dialect);
