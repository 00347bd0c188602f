#pragma once

#include <QString>

/// Folders below the root of an images store.
inline const QString originalsFolder = QStringLiteral("originals");
inline const QString thumbsFolder = QStringLiteral("thumbs");
inline const QString processedFolder = QStringLiteral("processed");

/// Whether a name such as "thumbs/x.jpg" stays below the root of a store, whatever stands in it.
bool isStoreName(const QString &name);
