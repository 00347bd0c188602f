#pragma once

#include <QString>

#include <map>
#include <memory>

#include "db/connections.h"
#include "tests/support/scratchdatabase.h"

/// Shops that are kept over the cases of a test program: to make one takes longer than most cases.
class KeptShops
{
public:
    /// Connects to the shop that belongs to a dialect and a connection name, emptied of products
    /// and receipts and all that hangs on them. A failure is fatal.
    ScratchDatabase &open(Dialect dialect, const QString &connectionName = mainConnection);

private:
    std::map<std::pair<Dialect, QString>, std::unique_ptr<ScratchDatabase>> m_shops;
};
