#pragma once

#include <QString>

class Table;

/// The product card on an SQLite shop: opened against its empty form, saved against its statements
/// sent bare.
void benchCard(Table &table, const QString &path);

/// The deletion of a group of 100,000 products against its statements sent bare.
void benchGroupDeletion(Table &table, const QString &path);
