#include "keptshops.h"

#include "db/query.h"
#include "tests/support/shop.h"

ScratchDatabase &KeptShops::open(Dialect dialect, const QString &connectionName)
{
    auto &kept = m_shops[{dialect, connectionName}];
    const bool isNew = !kept;
    if (isNew)
        kept = std::make_unique<ScratchDatabase>(dialect);
    bool ready = kept->open(connectionName) && (!isNew || shop::create(connectionName));
    for (const char *table : {"warehouse", "codes", "articles", "alerts", "cart", "incomeinvoice",
                              "income", "incomereports", "changeoutcostinfo", "`groups`", "brands"})
        ready = ready && QueryExec(nullptr, QLatin1String("DELETE FROM ") + QLatin1String(table),
                                   connectionName);
    ready =
        ready && QueryExec(nullptr, "UPDATE currencies SET value='1'", connectionName) &&
        QueryExec(nullptr, "UPDATE currencies SET value='90' WHERE c_code='USD'", connectionName);
    if (!ready)
        qFatal("no shop for the case");
    return *kept;
}
