#pragma once

#include <QDeadlineTimer>
#include <QHash>
#include <QList>
#include <QVariant>

#include <optional>

#include "db/connections.h"
#include "widgets/pagedselect.h"
#include "widgets/tablecolumn.h"

class QWidget;

/// The rows of a PagedSelect that have been read, in their order. Each keeps its id for good and
/// its values as long as rows near it are looked at; then they are read again by their ids. Every
/// statement is read to its end.
class PagedRows
{
public:
    /// Rows read in another turn, to be added to the list.
    struct Batch
    {
        QList<qulonglong> ids;
        QList<QVariant> values; ///< row by row; none when only the ids were read
    };

    PagedRows(const PagedSelect &list, const QList<TableColumn> &columns,
              const QString &connectionName);
    PagedRows(const PagedRows &) = delete;
    PagedRows &operator=(const PagedRows &) = delete;

    const PagedSelect &list() const;
    qsizetype count() const;
    bool isAtEnd() const;
    qulonglong id(qsizetype row) const;

    /// The number of the row with that id among those read, or -1.
    qsizetype rowOf(qulonglong id) const;

    /// The value of a cell; invalid when its row is gone or cannot be read at present.
    QVariant value(qsizetype row, int column) const;

    /// Reads up to so many rows that follow those added; fewer at the end of the list and when the
    /// time is over. False on failure (reported over the parent); what the batch holds then was
    /// read before it.
    bool read(QWidget *parent, qsizetype rows, bool withValues, const QDeadlineTimer &time,
              Batch &batch);

    /// Whether the list goes on to a row with that id. Nothing on failure.
    std::optional<bool> leadsTo(QWidget *parent, qulonglong id) const;

    void add(const Batch &batch);

private:
    bool readStretch(QWidget *parent, qsizetype rows, bool withValues, Batch &batch);
    bool findMarks(QWidget *parent);
    void removeKnown(Batch &batch) const;
    const QList<QVariant> &chunk(qsizetype number) const;
    void makeRoom(qsizetype number) const;

    PagedSelect m_list;
    PageStatements m_statements;
    QString m_connectionName;
    qsizetype m_width;
    int m_idColumn = 0;
    int m_orderColumn = 0;

    ListPosition m_position;
    // Texts spread over the table, which divide it where one statement would look at too much.
    bool m_marked;
    qsizetype m_spacing; ///< rows from one mark to the next, roughly
    std::optional<QStringList> m_marks;
    qsizetype m_mark = 0;       ///< where the stretch begins that is read
    qsizetype m_marksOn = 1;    ///< how many it spans
    bool m_othersFollow = true; ///< those with or those without a text
    bool m_atEnd = false;

    QList<qulonglong> m_ids;
    mutable QHash<qsizetype, QList<QVariant>> m_chunks; ///< values of rows, by row / chunkRows
    mutable QDeadlineTimer m_pause;                     ///< after a failure
};
