#include "db/schema.h"

#include "db/engine.h"
#include "db/introspection.h"
#include "db/query.h"
#include "db/schemadefaults.h"
#include "db/schematables.h"
#include "db/sqltext.h"

#include <QSet>

#include <algorithm>
#include <optional>

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
        run(true);
    }

    ~UnhurriedWrites()
    {
        run(false);
    }

    UnhurriedWrites(const UnhurriedWrites &) = delete;
    UnhurriedWrites &operator=(const UnhurriedWrites &) = delete;

private:
    void run(bool on)
    {
        const QString statement = Engine::of(m_connectionName).unhurried(on);
        if (!statement.isEmpty())
            QueryExec(nullptr, statement, m_connectionName);
    }

    QString m_connectionName;
};

/// Which tables get their shipped rows.
enum class Rows { OfAllTables, OfNewTables, OfEmptyTables };

constexpr qsizetype mostWords = 5; ///< failures of a run that are quoted

QList<TableDescription> allTables()
{
    QList<TableDescription> tables(schemaTables().begin(), schemaTables().end());
    tables.append(QList<TableDescription>(laterTables().begin(), laterTables().end()));
    return tables;
}

/// One run over a database that adds what is missing.
class SchemaRun
{
public:
    SchemaRun(QWidget *parent, const QString &connectionName, const DatabaseContents &contents)
        : m_parent(parent),
          m_connectionName(connectionName),
          m_engine(Engine::of(connectionName)),
          m_contents(contents)
    {
    }

    const SchemaFaults &faults() const
    {
        return m_faults;
    }

    void createTables(std::span<const TableDescription> tables)
    {
        for (const TableDescription &table : tables) {
            if (m_contents.hasTable(table.name))
                continue;
            run(createTableStatement(table, m_engine));
            m_created.insert(table.name);
        }
    }

    /// Writes the shipped rows.
    void writeRows(Rows which)
    {
        const QList<DefaultRow> rows = defaultRows();
        if (which == Rows::OfEmptyTables) {
            QSet<QString> seen = m_created;
            for (const DefaultRow &row : rows) {
                if (!seen.contains(row.table) && isEmpty(row.table))
                    m_created.insert(row.table);
                seen.insert(row.table);
            }
        }
        for (const DefaultRow &row : rows) {
            if (which == Rows::OfAllTables || m_created.contains(row.table))
                run(row.statement);
        }
    }

    /// Behind the columns that are there: the place of a column that was lost is gone.
    void addColumns()
    {
        const QList<TableDescription> tables = allTables();
        for (const TableDescription &table : tables) {
            if (!m_contents.hasTable(table.name))
                continue;
            const QStringList columns = declaredColumns(table);
            for (const QString &column : columns)
                addColumn(table.name, column);
        }
        for (const ColumnAddition &column : laterColumns())
            addColumn(column.table, QLatin1String(column.name) + u' ' + column.type);
    }

    void createIndexes()
    {
        for (const IndexDescription &index : schemaIndexes()) {
            if (!m_contents.hasIndexOn(index.table, indexedColumns(index).join(u',')))
                run(createIndexStatement(index, m_engine));
        }
    }

    /// Rows written with their ids leave sequences behind, here and in programs that copy
    /// databases; the next row without one would meet a taken id.
    void moveSequences()
    {
        QStringList checks;
        const QList<TableDescription> tables = allTables();
        for (const TableDescription &table : tables) {
            if (QLatin1String(table.key) == QLatin1String("id") &&
                (m_created.contains(table.name) || m_contents.hasColumn(table.name, "id")))
                checks += m_engine.sequenceCheck(table.name);
        }
        checks.removeAll(QString());
        QList<SqlRow> lagging;
        if (m_gone || checks.isEmpty())
            return;
        if (!QueryRows(nullptr, checks.join(" UNION ALL ") + u';', lagging, m_connectionName)) {
            // Not every account may read every table: what it may not read it does not fill.
            lagging.clear();
            for (const QString &check : std::as_const(checks)) {
                QList<SqlRow> rows;
                QueryRows(nullptr, check + u';', rows, m_connectionName);
                lagging += rows;
            }
        }
        for (const SqlRow &row : std::as_const(lagging))
            run(m_engine.sequenceMove(row.first().toString()));
    }

private:
    /// A failed statement does not stop the rest, but a server that is gone must not be asked
    /// about, statement by statement, once the user has given up.
    void run(const QString &statement)
    {
        if (!m_unhurried)
            m_unhurried.emplace(m_connectionName);
        while (!m_gone && !QueryExec(nullptr, statement, m_connectionName)) {
            const bool lost = !openConnection(m_connectionName);
            const DatabaseFailure failure = lastFailure(m_connectionName);
            if (lost && ensureConnectionOpen(m_parent, m_connectionName))
                continue;
            if (m_faults.count++ == 0 && !failure.details.isEmpty())
                m_faults.sentence = failure.text;
            if (m_faults.words.size() < mostWords)
                m_faults.words += failure.words();
            m_gone = lost;
            return;
        }
    }

    void addColumn(const QString &table, const QString &declaration)
    {
        if (!m_contents.hasColumn(table, declaration.section(u' ', 0, 0)))
            run(addColumnStatement(table, declaration, m_engine));
    }

    bool isEmpty(const QString &table)
    {
        QList<SqlRow> rows;
        return QueryRows(nullptr, "SELECT id FROM `" + table + "` LIMIT 1;", rows,
                         m_connectionName) &&
               rows.isEmpty();
    }

    QWidget *m_parent;
    QString m_connectionName;
    const Engine &m_engine;
    const DatabaseContents &m_contents;
    QSet<QString> m_created; ///< or without rows
    SchemaFaults m_faults;
    std::optional<UnhurriedWrites> m_unhurried;
    bool m_gone = false;
};

/// Whether there is a table `dbversion`; nothing when the database did not answer.
std::optional<bool> hasVersionTable(QWidget *parent, const QString &connectionName)
{
    QList<SqlRow> rows;
    const QString probe = Engine::of(connectionName).tableProbe(QStringLiteral("dbversion"));
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

bool bringUpToDate(QWidget *parent, const QString &connectionName, Rows rows, SchemaFaults *faults)
{
    const CommandScope command;
    const std::optional<DatabaseContents> contents = DatabaseContents::read(parent, connectionName);
    if (!contents)
        return false;
    SchemaFaults found;
    {
        // No transaction: MySQL ends it at each CREATE, PostgreSQL at the first failed statement,
        // after which the rest must still be done.
        SchemaRun run(parent, connectionName, *contents);
        run.createTables(schemaTables());
        run.createTables(laterTables());
        run.addColumns();
        run.writeRows(rows);
        run.createIndexes();
        run.moveSequences();
        found = run.faults();
    }
    if (faults)
        *faults = found;
    // With something missing the database stays an older one, and the next start tries again.
    return found.count == 0 && recordVersion(parent, connectionName);
}

/// Whether a table is the suite's: most of the columns that are declared for it are there.
bool isOfTheSuite(const TableDescription &table, const DatabaseContents &contents)
{
    constexpr qsizetype fewestToTell = 3; ///< an id and a name are in many a table
    const QStringList columns = declaredColumns(table);
    const auto there = std::count_if(columns.begin(), columns.end(), [&](const QString &column) {
        return contents.hasColumn(table.name, column.section(u' ', 0, 0));
    });
    return contents.hasColumn(table.name, table.key) && there >= fewestToTell &&
           there * 4 >= columns.size() * 3;
}

/// What a database without a recorded version is.
SchemaState stateWithoutVersion(QWidget *parent, const QString &connectionName)
{
    const std::optional<DatabaseContents> contents = DatabaseContents::read(parent, connectionName);
    if (!contents)
        return SchemaState::Unknown;
    const bool versionTable = contents->hasTable("dbversion");
    const qsizetype others = contents->tables().size() - (versionTable ? 1 : 0);
    if (others == 0)
        return SchemaState::Missing;
    const QList<TableDescription> known = allTables();
    const auto ours = std::count_if(known.begin(), known.end(), [&](const TableDescription &table) {
        return isOfTheSuite(table, *contents);
    });
    constexpr qsizetype enough = 3; // more than chance
    return ours >= enough || ours * 2 >= others ? SchemaState::Unrecorded : SchemaState::Foreign;
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
        return stateWithoutVersion(parent, connectionName);
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT MAX(version) FROM dbversion;", rows, connectionName) ||
        rows.isEmpty())
        return SchemaState::Unknown;
    if (rows.first().first().isNull())
        return stateWithoutVersion(parent, connectionName);
    const int version = rows.first().first().toInt();
    if (version == currentVersion)
        return SchemaState::Current;
    return version < currentVersion ? SchemaState::Older : SchemaState::Newer;
}

bool createSchema(QWidget *parent, const QString &connectionName, SchemaFaults *faults)
{
    return bringUpToDate(parent, connectionName, Rows::OfAllTables, faults);
}

bool upgradeSchema(QWidget *parent, const QString &connectionName, SchemaFaults *faults)
{
    return bringUpToDate(parent, connectionName, Rows::OfNewTables, faults);
}

bool adoptSchema(QWidget *parent, const QString &connectionName, SchemaFaults *faults)
{
    return bringUpToDate(parent, connectionName, Rows::OfEmptyTables, faults);
}

QStringList nonTransactionalTables(QWidget *parent, const QString &connectionName)
{
    const QString select = Engine::of(connectionName).nonTransactionalTables();
    QList<SqlRow> rows;
    if (!select.isEmpty())
        QueryRows(parent, select, rows, connectionName);
    QSet<QString> known;
    const QList<TableDescription> all = allTables();
    for (const TableDescription &table : all)
        known.insert(table.name);
    QStringList tables;
    for (const SqlRow &row : std::as_const(rows)) {
        if (known.contains(row.first().toString().toLower()))
            tables += row.first().toString();
    }
    return tables;
}
