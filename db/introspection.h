#pragma once

#include <QPair>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

class Engine;
class QWidget;

/// What a database holds, as far as the schema asks. Internal to db/.
class DatabaseContents
{
public:
    /// Asks a database for its tables, columns and indexes, one statement each. Nothing when a
    /// statement failed.
    static std::optional<DatabaseContents> read(QWidget *parent, const QString &connectionName);

    /// The names of all tables but the database's own.
    QStringList tables() const;

    bool hasTable(const QString &table) const;
    bool hasColumn(const QString &table, const QString &column) const;

    /// Whether an index, under whatever name, has these columns, with commas between them, in front
    /// and covers all rows.
    bool hasIndexOn(const QString &table, const QString &columns) const;

private:
    using Names = QSet<QPair<QString, QString>>;

    explicit DatabaseContents(const Engine &engine);
    static bool readNames(QWidget *parent, const QString &connectionName, const QString &statement,
                          const DatabaseContents &contents, Names &names);
    QPair<QString, QString> folded(const QString &table, const QString &column) const;

    bool m_tellsCaseApart; ///< "Groups" from "groups"
    Names m_tables;        ///< with an empty second name
    Names m_columns;
    Names m_indexes;
};
