#include "images/storesettings.h"

#include "app/configdir.h"
#include "app/settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QUrl>

#include <array>

namespace {

struct StoreTexts
{
    Q_DECLARE_TR_FUNCTIONS(ImagesStoreSettings)
};

struct StoreKey
{
    QString ImagesStoreSettings::*member;
    SettingsKey own;
    SettingsKey reference;

    SettingsKey of(StoreOwner owner) const
    {
        return owner == StoreOwner::Own ? own : reference;
    }
};

constexpr std::array<StoreKey, 6> storeKeys{{
    {&ImagesStoreSettings::type, SettingsKey::ImagesStoreType, SettingsKey::FriendImagesStoreType},
    {&ImagesStoreSettings::path, SettingsKey::ImagesStorePath, SettingsKey::FriendImagesStorePath},
    {&ImagesStoreSettings::host, SettingsKey::ImagesStoreHost, SettingsKey::FriendImagesStoreHost},
    {&ImagesStoreSettings::port, SettingsKey::ImagesStorePort, SettingsKey::FriendImagesStorePort},
    {&ImagesStoreSettings::login, SettingsKey::ImagesStoreLogin,
     SettingsKey::FriendImagesStoreLogin},
    {&ImagesStoreSettings::password, SettingsKey::ImagesStorePassword,
     SettingsKey::FriendImagesStorePassword},
}};

} // namespace

bool ImagesStoreSettings::isWebdav() const
{
    return type != QLatin1String("local");
}

QString ImagesStoreSettings::localRoot() const
{
    // A relative path would depend on where the program was started.
    const QDir base(configDirPath());
    return QDir::cleanPath(base.absoluteFilePath(path.isEmpty() ? QStringLiteral("images") : path));
}

QString ImagesStoreSettings::fault() const
{
    if (!isWebdav())
        return {};
    if (host.trimmed().isEmpty())
        return StoreTexts::tr("Пожалуйста, введите адрес сервера изображений.");
    if (!WebdavAddress().read(host, port))
        return StoreTexts::tr("Пожалуйста, введите адрес сервера изображений в виде «имя» или "
                              "«http://имя», порт — числом от 1 до 65535.");
    return {};
}

QString ImagesStoreSettings::shareRoot() const
{
    return path.startsWith(u'/') ? path : u'/' + path;
}

QString ImagesStoreSettings::displayName() const
{
    if (!isWebdav())
        return localRoot();
    WebdavAddress address;
    if (!address.read(host, port))
        return host;
    QUrl url;
    url.setScheme(address.encrypted ? QStringLiteral("https") : QStringLiteral("http"));
    url.setHost(address.host);
    url.setPort(address.port == 0 ? -1 : address.port);
    url.setPath(shareRoot(), QUrl::DecodedMode);
    return url.toDisplayString();
}

ImagesStoreSettings ImagesStoreSettings::of(const QMap<SettingsKey, QString> &values,
                                            StoreOwner owner)
{
    if (owner == StoreOwner::Reference &&
        values.value(SettingsKey::FriendImagesStoreType).isEmpty())
        owner = StoreOwner::Own;
    ImagesStoreSettings result;
    for (const StoreKey &key : storeKeys)
        result.*(key.member) = values.value(key.of(owner));
    return result;
}

ImagesStoreSettings ImagesStoreSettings::read(StoreOwner owner)
{
    QMap<SettingsKey, QString> values;
    for (const StoreKey &key : storeKeys) {
        values.insert(key.own, Settings::instance().value(key.own));
        values.insert(key.reference, Settings::instance().value(key.reference));
    }
    return of(values, owner);
}

void ImagesStoreSettings::write(StoreOwner owner) const
{
    for (const StoreKey &key : storeKeys)
        Settings::instance().setValue(key.of(owner), this->*(key.member));
}

bool WebdavAddress::read(const QString &hostText, const QString &portText)
{
    QString text = hostText.trimmed();
    encrypted = !text.startsWith(QLatin1String("http://"), Qt::CaseInsensitive);
    if (!text.contains(QLatin1String("://")))
        text.prepend(QLatin1String("https://"));
    const QUrl url(text, QUrl::StrictMode);
    const bool bare = url.path().isEmpty() || url.path() == QLatin1String("/");
    if (!url.isValid() || url.host().isEmpty() || !bare || url.hasQuery() || url.hasFragment() ||
        !url.userInfo().isEmpty() || !url.scheme().startsWith(QLatin1String("http")))
        return false;
    host = url.host();
    port = url.port(0);
    if (portText.trimmed().isEmpty() || portText.trimmed() == QLatin1String("0"))
        return true;
    bool isNumber = false;
    port = portText.trimmed().toInt(&isNumber);
    return isNumber && port > 0 && port <= 65535;
}
