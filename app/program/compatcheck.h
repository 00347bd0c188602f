#pragma once

#include <QJsonObject>

/// Whether "--compat-check" stands anywhere among the arguments of main(), the program's name
/// included, spelled exactly so. Works before the application object exists.
bool wantsCompatCheck(int argc, const char *const *argv);

/// Tries what the program needs of the machine: database drivers, text codec, TLS. Keys and values
/// are those of the line that runCompatCheck() prints; "passed" tells whether all is well. A MySQL
/// server is only asked when LAVKOR_COMPAT_MYSQL_HOST is set. Touches no file of the user.
QJsonObject compatReport();

/// Prints the report as one line of JSON on standard output, without windows and log lines, and
/// returns the program's exit code: 0 when all passed, 1 otherwise.
int runCompatCheck();
