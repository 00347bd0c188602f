#pragma once

class QSqlDatabase;

/// Registers on an open SQLite connection a LIKE that ignores letter case in all alphabets.
bool registerSqliteFunctions(const QSqlDatabase &database);
