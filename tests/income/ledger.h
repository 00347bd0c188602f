#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>

#include "tests/support/dialect.h"
#include "workstation.h"

/// Keeps the books of a working list apart from the program: triggers of the database write down
/// every line that is added, changed or removed. Afterwards the books are compared with what the
/// workstations were told and with what stands in the receipts and in stock.
class Ledger
{
public:
    /// Runs statements with the database's own client; see ScratchDatabase::client().
    using Client = std::function<QString(const QString &statements)>;

    Ledger(Dialect dialect, Client client);

    /// Starts the books of a shop without receipts and without a working list.
    void open();

    /// All that does not agree, empty when everything does.
    QStringList complaints(const QList<WorkstationJournal> &journals) const;

private:
    /// Rows of an id and a number.
    using Numbers = QMap<qulonglong, double>;

    QList<QStringList> rows(const QString &statement) const;
    Numbers numbers(const QString &statement) const;
    QStringList checkLines(const QList<WorkstationJournal> &journals) const;
    QStringList checkReceipts(const QList<WorkstationJournal> &journals) const;
    QStringList checkStock() const;

    Dialect m_dialect;
    Client m_client;
    Numbers m_stockBefore;
};
