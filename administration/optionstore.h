#pragma once

#include <QList>
#include <QMap>
#include <QString>

#include "administration/optiondescription.h"
#include "db/transaction.h"

class QWidget;

enum class OptionSaveState {
    Saved,
    Changed, ///< another station has written some of the values: conflicts()
    Failed,  ///< told
};

/// The options as a user knows them, and the writing of those that he has changed. Rows that he has
/// left alone are never written.
class OptionStore
{
public:
    /// Reads all options by id. False when that failed, which is told.
    bool load(QWidget *parent);

    /// The rows as the user knows them.
    const QList<OptionRow> &rows() const;

    /// Writes values, by the ids of their rows, with the time: all or none. Those that stand there
    /// already are not written. The session has the new values afterwards.
    OptionSaveState save(QWidget *parent, const QMap<qulonglong, QString> &values);

    /// A row that was to be written and that another station has changed, or deleted.
    struct Conflict
    {
        OptionRow seen; ///< as the user knew it
        OptionRow now;  ///< id 0: it is gone
    };

    /// After Changed.
    const QList<Conflict> &conflicts() const;

    /// After Changed: the user knows the rows as they are now, the next save replaces them. Values
    /// of rows that are gone are left out from now on.
    void acknowledge();

private:
    TransactionStep write(const QMap<qulonglong, QString> &values);
    void noteWritten(const QMap<qulonglong, QString> &values);
    OptionRow *find(qulonglong id);

    QList<OptionRow> m_rows;
    QList<Conflict> m_conflicts;
};
