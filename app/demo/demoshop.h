#pragma once

#include <QString>

/// Fills an open, empty shop database with the goods of a table of tab-separated columns (article,
/// name, group path, brand, unit, purchase price, coefficient, selling price, stock, barcodes as
/// "code" or "code*pack"). All or nothing; *error (if given) says what went wrong. A database that
/// has goods already is left as it is.
bool fillDemoShop(const QString &goodsFile, const QString &connectionName,
                  QString *error = nullptr);
