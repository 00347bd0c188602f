#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class Engine;

/// A row with which a list begins, by its text and id.
struct ListStart
{
    std::optional<QString> text = {}; ///< nothing: it has none
    qulonglong id = 0;

    bool operator==(const ListStart &) const = default;
};

/// A long list, described for reading page by page: rows of one table with what is joined to them,
/// in the order of one text column of it or of another table, the id behind it.
struct PagedSelect
{
    QString select; ///< up to the joins
    QString table;
    QString order;          ///< the text column; also its key among the columns
    QStringList conditions; ///< on the joined rows, a blank in front of each
    /// The same on the table (and that of the order) alone, in parts that share no row and each of
    /// which an index can give in order.
    QStringList parts;
    bool searched = false; ///< few rows may be left of many looked at

    /// Where the text is in another table: which one, what connects the two, and whether a
    /// database that leaves it to us begins there, so that the rows come in order, or with the
    /// table of the rows, of which the conditions leave few.
    QString orderTable = {};
    QString link = {};
    bool beginsWithOrder = true;

    std::optional<ListStart> start = {}; ///< what stands before it is left out

    bool operator==(const PagedSelect &) const = default;
};

/// Where the rows read so far end. Those without a text are read apart from the others: databases
/// differ in which of them come first.
struct ListPosition
{
    bool nulls = false;               ///< among the rows without a text
    std::optional<QString> text = {}; ///< of the last row; nothing: before all texts
    bool unwritable = false;  ///< the text is none that SQL can write down, but the row is there
    bool behindEqual = false; ///< all rows with this text are read
    qulonglong id = 0;
};

/// The statements that read a PagedSelect. What stands behind a position is asked for by value:
/// rows that others insert or delete meanwhile shift nothing.
class PageStatements
{
public:
    using Text = std::optional<QString>;

    PageStatements(const PagedSelect &list, const Engine &engine);

    /// The next rows behind a position, up to the text last if there is one.
    QString page(const ListPosition &position, const Text &last, qsizetype limit) const;

    /// The same with id and text alone.
    QString keys(const ListPosition &position, const Text &last, qsizetype limit) const;

    QString highestId() const;

    /// The texts of some rows, in their order.
    QString textsOf(const QList<qulonglong> &ids) const;

    /// The rows of some ids, in no order.
    QString rowsOf(const QList<qulonglong> &ids) const;

    /// The id, when it belongs to the list and stands behind a position or among the rows that are
    /// still to come behind all of those.
    QString find(qulonglong id, const ListPosition &position, bool othersFollow) const;

private:
    QString id() const;
    QString text() const;
    QString from(QStringList conditions, bool beginWithOrder) const;
    QString behind(const ListPosition &position, const Text &last) const;
    QString among(const QList<qulonglong> &ids) const;
    QString ids(const QString &condition, qsizetype limit, bool beginWithOrder) const;
    QString ordered(qsizetype limit) const;

    const PagedSelect &m_list;
    const Engine &m_engine;
};
