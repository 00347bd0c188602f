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

    /// Starts the books of a shop without receipts and without a working list.
    Ledger(Dialect dialect, Client client);

    /// All that does not agree, empty when everything does.
    QStringList complaints(const QList<WorkstationJournal> &journals) const;

private:
    Client m_client;
    QMap<qulonglong, double> m_stockBefore;
};
