#pragma once

#include <QList>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QString>

#include <functional>

#include "app/settings.h"

/// Values of the settings file by their keys, as they are entered.
using SettingsValues = QMap<SettingsKey, QString>;

/// The keys that the settings window edits.
QList<SettingsKey> stationKeys();

/// Their values as they hold now.
SettingsValues stationSettings();

/// Keeps the values in the settings file. When it cannot be written the former ones hold on, which
/// *error tells.
bool keepStationSettings(const SettingsValues &values, QString *error);

/// What has come of trying something out, a sentence for the user.
struct Verdict
{
    bool good = false;
    QString text;
};

/// Tries entered values out, at once or in a while, and gives its verdict once. No verdict follows
/// when the context is gone, which ends the trial.
using SettingsTrial = std::function<void(const SettingsValues &values, QObject *context,
                                         const std::function<void(const Verdict &verdict)> &done)>;

/// Why entered values cannot be right, with the key of the field; no text when they can.
using SettingsCheck = std::function<QPair<SettingsKey, QString>(const SettingsValues &values)>;

/// What the settings window needs from the parts of the program that it sets up. Empty functions
/// have no say.
struct SettingsParts
{
    SettingsCheck checkImages = {};
    SettingsTrial tryImages = {};
    /// Whether there is a reference database, whose pictures may have a store of their own.
    bool hasReference = false;
    SettingsCheck checkFriendImages = {};
    SettingsTrial tryFriendImages = {};
    SettingsTrial tryScales = {};
    SettingsCheck checkSms = {};
    SettingsTrial trySms = {};
    /// Names of serial ports and what is connected to them.
    std::function<QList<QPair<QString, QString>>()> findPorts = {};
};
