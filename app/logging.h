#pragma once

#include <QString>

/// Writes one line "yyyy-MM-dd hh:mm:ss text" CR LF to the event log "Lavkor_log.txt" in the
/// configuration directory and to Qt's debug channel. A file that cannot be opened is skipped.
void logMessage(const QString &text);

/// Traces one line "hh:mm:ss.zzz text" to Qt's debug channel and to "debug.txt" in the
/// configuration directory, each only while its flag is set.
void debugLog(const QString &text);

/// Whether debugLog() goes anywhere, for those who would have to build a long text for it.
bool debugLogEnabled();

/// Switches the debug channel output of debugLog() on or off; off at start.
void setConsoleDebug(bool on);

/// Switches the debug file of debugLog() on or off; off at start.
void setFileDebug(bool on);
