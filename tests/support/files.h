#pragma once

#include <QByteArray>
#include <QString>

/// Writes a whole file. One that cannot be written ends the program.
void writeFile(const QString &path, const QByteArray &content);

/// Reads a whole file; empty when there is none.
QByteArray readFile(const QString &path);

/// While it lives, no file of this program grows beyond so many bytes, as on a full disk.
class FullDisk
{
public:
    explicit FullDisk(quint64 bytes);
    ~FullDisk();
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;
};

/// The program's event log; empty when there is none.
QString logText();
