#pragma once

#include <memory>

#include "app/settings.h"

class IncomeInvoiceWindow;

/// The program's main window on a database, logged in as the administrator, shown.
std::unique_ptr<IncomeInvoiceWindow> openBenchWindow(const ConnectionEntry &entry);

/// Gives the administrator of the database the password of openBenchWindow().
void prepareLogin(const ConnectionEntry &entry);

/// The entry of an SQLite shop in a file.
ConnectionEntry sqliteEntry(const QString &path);
