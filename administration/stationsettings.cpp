#include "administration/stationsettings.h"

QList<SettingsKey> stationKeys()
{
    return {SettingsKey::FontSize,
            SettingsKey::Sounds,
            SettingsKey::ImagesStoreType,
            SettingsKey::ImagesStorePath,
            SettingsKey::ImagesStoreHost,
            SettingsKey::ImagesStorePort,
            SettingsKey::ImagesStoreLogin,
            SettingsKey::ImagesStorePassword,
            SettingsKey::FriendImagesStoreType,
            SettingsKey::FriendImagesStorePath,
            SettingsKey::FriendImagesStoreHost,
            SettingsKey::FriendImagesStorePort,
            SettingsKey::FriendImagesStoreLogin,
            SettingsKey::FriendImagesStorePassword,
            SettingsKey::ScalesType,
            SettingsKey::ScalesPort,
            SettingsKey::SmsGateHost};
}

SettingsValues stationSettings()
{
    SettingsValues values;
    const QList<SettingsKey> keys = stationKeys();
    for (const SettingsKey key : keys)
        values.insert(key, Settings::instance().value(key));
    return values;
}

bool keepStationSettings(const SettingsValues &values, QString *error)
{
    const SettingsValues before = stationSettings();
    if (values == before)
        return true;
    const auto put = [](const SettingsValues &wanted) {
        for (auto value = wanted.begin(); value != wanted.end(); ++value)
            Settings::instance().setValue(value.key(), value.value());
    };
    put(values);
    if (Settings::instance().save(error))
        return true;
    put(before);
    return false;
}
