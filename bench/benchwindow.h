#pragma once

#include <functional>
#include <memory>

#include "app/settings.h"

class IncomeInvoiceWindow;

/// The program's main window on a database, logged in as the administrator, shown.
std::unique_ptr<IncomeInvoiceWindow> openBenchWindow(const ConnectionEntry &entry);

/// The program's start up to its first window, the choice of the connection: calls shown() when
/// that is painted, and gives up there.
void openBenchWindowUpToLogin(const ConnectionEntry &entry, const std::function<void()> &shown);

/// Gives the administrator of the database the password of openBenchWindow().
void prepareLogin(const ConnectionEntry &entry);
