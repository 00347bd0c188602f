#include "db/schema.h"

#include "db/introspection.h"
#include "db/query.h"
#include "db/schemadefaults.h"
#include "db/schematables.h"
#include "db/sqltext.h"

#include <QSet>

namespace {

/// 1: the tables that the whole suite shares; 2: the later columns, tables and indexes.
constexpr int currentVersion = 2;

/// While it lives, statements do not wait for the disk one by one: some hundred small ones would
/// take long on a slow disk. What is written afterwards makes all of it durable. Nothing is lost
/// but speed when the connection is reopened meanwhile.
class UnhurriedWrites
{
public:
    explicit UnhurriedWrites(const QString &connectionName)
        : m_connectionName(connectionName)
    {
        run("PRAGMA synchronous=NORMAL;", "SET synchronous_commit=off;");
    }

    ~UnhurriedWrites()
    {
        run("PRAGMA synchronous=FULL;", "SET synchronous_commit TO DEFAULT;");
    }

    UnhurriedWrites(const UnhurriedWrites &) = delete;
    UnhurriedWrites &operator=(const UnhurriedWrites &) = delete;

private:
    void run(const QString &onSqlite, const QString &onPostgreSql)
    {
        const Dialect dialect = dialectOf(m_connectionName);
        if (dialect != Dialect::MySql)
            QueryExec(nullptr, dialect == Dialect::Sqlite ? onSqlite : onPostgreSql,
                      m_connectionName);
    }

    QString m_connectionName;
};

/// One run over a database that adds what is missing.
class SchemaRun
{
public:
    SchemaRun(QWidget *parent, const QString &connectionName, const DatabaseContents &contents)
        : m_parent(parent),
          m_connectionName(connectionName),
          m_dialect(dialectOf(connectionName)),
          m_contents(contents)
    {
    }

    bool succeeded() const
    {
        return m_succeeded;
    }

    void createTables(std::span<const TableDescription> tables)
    {
        for (const TableDescription &table : tables) {
            if (m_contents.hasTable(table.name))
                continue;
            run(createTableStatement(table, m_dialect));
            m_created.insert(table.name);
        }
    }

    /// Writes the shipped rows of all tables or only of those that were created in this run.
    void writeRows(bool ofAllTables)
    {
        QStringList tables;
        const QList<DefaultRow> rows = defaultRows();
        for (const DefaultRow &row : rows) {
            if (!ofAllTables && !m_created.contains(row.table))
                continue;
            run(row.statement);
            if (!tables.contains(row.table))
                tables += row.table;
        }
        if (m_dialect == Dialect::PostgreSql)
            moveSequences(tables);
    }

    void addColumns()
    {
        for (const ColumnAddition &column : laterColumns()) {
            if (!m_contents.hasColumn(column.table, column.name))
                run(addColumnStatement(column, m_dialect));
        }
    }

    void createIndexes()
    {
        for (const IndexDescription &index : schemaIndexes()) {
            if (!m_contents.hasIndexOn(index.table, index.column))
                run(createIndexStatement(index, m_dialect));
        }
    }

private:
    void run(const QString &statement)
    {
        // A failed statement does not stop the rest, but a server that is gone must not be asked
        // about, statement by statement, once the user has given up.
        if (m_gone || QueryExec(m_parent, statement, m_connectionName))
            return;
        m_succeeded = false;
        m_gone = !openConnection(m_connectionName);
    }

    /// Rows written with their ids leave PostgreSQL's sequences behind; the next row without one
    /// would meet a taken id. Sequences never go back.
    void moveSequences(const QStringList &tables)
    {
        for (const QString &table : tables) {
            const QString sequence = "pg_get_serial_sequence('" + table + "','id')";
            run("SELECT setval(" + sequence + ", newest) FROM (SELECT MAX(id) AS newest FROM `" +
                table + "`) AS ids WHERE newest>COALESCE(pg_sequence_last_value(" + sequence +
                "::regclass),0);");
        }
    }

    QWidget *m_parent;
    QString m_connectionName;
    Dialect m_dialect;
    const DatabaseContents &m_contents;
    QSet<QString> m_created;
    bool m_succeeded = true;
    bool m_gone = false;
};

/// Whether there is a table `dbversion`; nothing when the database did not answer.
std::optional<bool> hasVersionTable(QWidget *parent, const QString &connectionName)
{
    QList<SqlRow> rows;
    QString probe;
    switch (dialectOf(connectionName)) {
    case Dialect::Sqlite:
        probe = "PRAGMA table_info(dbversion);";
        break;
    case Dialect::MySql:
        probe = "SHOW TABLES LIKE 'dbversion'";
        break;
    case Dialect::PostgreSql:
        probe = "SELECT to_regclass('dbversion');";
        break;
    }
    if (!QueryRows(parent, probe, rows, connectionName))
        return std::nullopt;
    return !rows.isEmpty() && !rows.first().first().isNull();
}

/// One row for each version reached.
bool recordVersion(QWidget *parent, const QString &connectionName)
{
    const QString version = sql::integer(currentVersion);
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT id FROM dbversion WHERE version='" + version + "';", rows,
                   connectionName))
        return false;
    return !rows.isEmpty() || QueryExec(parent,
                                        "INSERT INTO dbversion(version,ctime) VALUES('" + version +
                                            "'," + sql::now() + ");",
                                        connectionName);
}

bool bringUpToDate(QWidget *parent, const QString &connectionName, bool writeAllRows)
{
    const std::optional<DatabaseContents> contents = DatabaseContents::read(parent, connectionName);
    if (!contents)
        return false;
    SchemaRun run(parent, connectionName, *contents);
    {
        // No transaction: MySQL ends it at each CREATE, PostgreSQL at the first failed statement,
        // after which the rest must still be done.
        const UnhurriedWrites unhurried(connectionName);
        run.createTables(schemaTables());
        run.writeRows(writeAllRows);
        run.createTables(laterTables());
        run.addColumns();
        run.createIndexes();
    }
    // With something missing the database stays an older one, and the next start tries again.
    return run.succeeded() && recordVersion(parent, connectionName);
}

} // namespace

int schemaVersion()
{
    return currentVersion;
}

SchemaState schemaState(QWidget *parent, const QString &connectionName)
{
    const std::optional<bool> there = hasVersionTable(parent, connectionName);
    if (!there)
        return SchemaState::Unknown;
    if (!*there)
        return SchemaState::Missing;
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT MAX(version) FROM dbversion;", rows, connectionName) ||
        rows.isEmpty())
        return SchemaState::Unknown;
    if (rows.first().first().isNull())
        return SchemaState::Missing; // a creation that was broken off before it recorded itself
    const int version = rows.first().first().toInt();
    if (version == currentVersion)
        return SchemaState::Current;
    return version < currentVersion ? SchemaState::Older : SchemaState::Newer;
}

bool createSchema(QWidget *parent, const QString &connectionName)
{
    return bringUpToDate(parent, connectionName, true);
}

bool upgradeSchema(QWidget *parent, const QString &connectionName)
{
    return bringUpToDate(parent, connectionName, false);
}

QStringList nonTransactionalTables(QWidget *parent, const QString &connectionName)
{
    if (dialectOf(connectionName) != Dialect::MySql)
        return {};
    QList<SqlRow> rows;
    QueryRows(parent,
              "SELECT table_name FROM information_schema.tables WHERE table_schema=DATABASE() AND "
              "table_type='BASE TABLE' AND engine<>'InnoDB' ORDER BY table_name;",
              rows, connectionName);
    QSet<QString> known;
    for (const TableDescription &table : schemaTables())
        known.insert(table.name);
    for (const TableDescription &table : laterTables())
        known.insert(table.name);
    QStringList tables;
    for (const SqlRow &row : std::as_const(rows)) {
        if (known.contains(row.first().toString().toLower()))
            tables += row.first().toString();
    }
    return tables;
}

QStringList schemaStatements(Dialect dialect)
{
    QStringList statements;
    for (const TableDescription &table : schemaTables())
        statements += createTableStatement(table, dialect);
    for (const TableDescription &table : laterTables())
        statements += createTableStatement(table, dialect);
    return statements;
}
