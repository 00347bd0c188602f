#pragma once

#include <QByteArray>
#include <QString>

/// Writes a whole file. One that cannot be written ends the program.
void writeFile(const QString &path, const QByteArray &content);

/// Reads a whole file; empty when there is none.
QByteArray readFile(const QString &path);

/// The program's event log; empty when there is none.
QString logText();
