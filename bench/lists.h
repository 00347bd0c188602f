#pragma once

#include "db/connections.h"

class Table;

/// The lists of the main window on an SQLite shop of 100,000 products, against bare reading.
void benchLists(Table &table, const QString &path);

/// The first screen of the product table after a change of its filter: of the large shop against
/// the small one.
void benchFirstScreens(Table &table, const QString &small, const QString &large);

/// The same of a shop of 100,000 products on a server, for information.
void benchServerScreens(Table &table, const ConnectionEntry &entry);
