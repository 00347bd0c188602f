#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

/// Pictures of telephones, which Qt does not read. Internal to images/.

/// Whether a file says that it is one, by its first bytes.
bool isHeic(const QByteArray &bytes);

/// The size of the upright picture by the head of the file; none when that cannot be read.
QSize heicSize(const QByteArray &bytes);

/// Decodes the upright picture; null when it is broken.
QImage decodeHeic(const QByteArray &bytes);
