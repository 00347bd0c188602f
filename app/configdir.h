#pragma once

#include <QString>

/// The per-user configuration directory: the home directory + "/.lavkor", no trailing separator.
QString configDirPath();

/// Makes the configuration directory when it is missing, readable by its owner only.
/// Returns whether it is there afterwards.
bool ensureConfigDir();

/// The settings file in the configuration directory.
QString settingsFilePath();
