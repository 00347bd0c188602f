#pragma once

class QWidget;
struct ConnectionEntry;

/// Tries a connection without leaving anything behind, neither an open connection nor a new
/// SQLite file, and tells the result in a box. Returns whether the database can be used.
bool checkConnection(QWidget *parent, const ConnectionEntry &entry);
