#include "app/settings.h"

#include "app/configdir.h"
#include "app/messages.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace {

/// Texts of this file in the translations.
QString tr(const char *text)
{
    return QCoreApplication::translate("Settings", text);
}

struct KeyPlace
{
    SettingsKey key;
    const char *section;
    const char *name;
    const char *defaultValue;
};

constexpr std::array<KeyPlace, 22> keyPlaces{{
    {SettingsKey::Connection, "general", "connection", ""},
    {SettingsKey::FriendConnection, "general", "friendconnection", ""},
    {SettingsKey::Login, "general", "login", ""},
    {SettingsKey::FontSize, "interface", "fontsize", "0"},
    {SettingsKey::Sounds, "interface", "sounds", "1"},
    {SettingsKey::AddOnScan, "interface", "addonscan", "0"},
    {SettingsKey::SmsGateHost, "sms", "smsgatehost", ""},
    {SettingsKey::ImagesStoreType, "images", "imagesstoretype", "local"},
    {SettingsKey::ImagesStorePath, "images", "imagesstorepath", ""},
    {SettingsKey::ImagesStoreHost, "images", "imagesstorehost", ""},
    {SettingsKey::ImagesStorePort, "images", "imagesstoreport", ""},
    {SettingsKey::ImagesStoreLogin, "images", "imagesstorelogin", ""},
    {SettingsKey::ImagesStorePassword, "images", "imagesstorepassword", ""},
    {SettingsKey::FriendImagesStoreType, "images", "friendimagesstoretype", ""},
    {SettingsKey::FriendImagesStorePath, "images", "friendimagesstorepath", ""},
    {SettingsKey::FriendImagesStoreHost, "images", "friendimagesstorehost", ""},
    {SettingsKey::FriendImagesStorePort, "images", "friendimagesstoreport", ""},
    {SettingsKey::FriendImagesStoreLogin, "images", "friendimagesstorelogin", ""},
    {SettingsKey::FriendImagesStorePassword, "images", "friendimagesstorepassword", ""},
    {SettingsKey::ImagesStoreCertificates, "images", "imagesstorecertificates", ""},
    {SettingsKey::ScalesPort, "weights", "port", ""},
    {SettingsKey::ScalesType, "weights", "type", ""},
}};

const KeyPlace &placeOf(SettingsKey key)
{
    return *std::find_if(keyPlaces.begin(), keyPlaces.end(),
                         [key](const KeyPlace &place) { return place.key == key; });
}

struct ConnectionKey
{
    const char *name;
    QString ConnectionEntry::*member;
};

constexpr std::array<ConnectionKey, 9> connectionKeys{{
    {"connection", &ConnectionEntry::name},
    {"dbtype", &ConnectionEntry::dbtype},
    {"dbhostname", &ConnectionEntry::dbhostname},
    {"dbusername", &ConnectionEntry::dbusername},
    {"dbpassword", &ConnectionEntry::dbpassword},
    {"databasename", &ConnectionEntry::databasename},
    {"dbcacert", &ConnectionEntry::dbcacert},
    {"dbclientkey", &ConnectionEntry::dbclientkey},
    {"dbclientcert", &ConnectionEntry::dbclientcert},
}};

/// Without the characters that no XML file can hold: they would make the whole file unreadable.
/// A carriage return is one of them for us, reading would turn it into a line feed.
QString xmlText(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            result += c;
            result += text.at(++i);
        } else if ((c >= u' ' || c == u'\t' || c == u'\n') && !c.isSurrogate() && c < u'\uFFFE') {
            result += c;
        }
    }
    return result;
}

/// The element that the reader stands on, with all it holds, as XML text.
QString copyElement(QXmlStreamReader &from)
{
    QString text;
    QXmlStreamWriter to(&text);
    int depth = 0;
    do {
        to.writeCurrentToken(from);
        if (from.isStartElement())
            ++depth;
        else if (from.isEndElement())
            --depth;
        if (depth > 0)
            from.readNext();
    } while (depth > 0 && !from.hasError());
    return text;
}

void writeElement(QXmlStreamWriter &to, const QString &element)
{
    QXmlStreamReader from(element);
    while (!from.atEnd()) {
        from.readNext();
        if (!from.isStartDocument() && !from.isEndDocument() && !from.hasError())
            to.writeCurrentToken(from);
    }
}

/// The text of an element that holds nothing else.
std::optional<QString> plainText(const QString &element)
{
    QXmlStreamReader xml(element);
    if (!xml.readNextStartElement() || !xml.attributes().isEmpty() || !xml.namespaceUri().isEmpty())
        return std::nullopt;
    const QString text = xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
    return xml.hasError() ? std::nullopt : std::optional(text);
}

/// Moves a file out of the way to path + ".broken", or ".broken.2" and so on while such files
/// exist. Returns the new path, empty when the file could not be moved.
QString setAside(const QString &path)
{
    QString target = path + QStringLiteral(".broken");
    for (int number = 2; QFileInfo::exists(target); ++number)
        target = path + QStringLiteral(".broken.") + QString::number(number);
    return QFile::rename(path, target) ? target : QString();
}

} // namespace

Settings &Settings::instance()
{
    static Settings settings;
    return settings;
}

Settings::LoadResult Settings::load(const QString &path, bool showBox)
{
    reset();
    m_path = path;
    if (!QFileInfo::exists(path)) {
        m_connections = {localConnection()};
        return LoadResult::Missing;
    }

    QFile file(path);
    QByteArray content;
    // Read whole first: a disk that fails in the middle does not make a broken file.
    if (file.open(QIODevice::ReadOnly))
        content = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        m_connections = {localConnection()};
        m_unread = true;
        showWarning(nullptr,
                    tr("Файл настроек %1 не удалось прочитать (%2). Он оставлен как есть, до его "
                       "исправления действуют настройки по умолчанию и ничего не сохраняется. "
                       "Проверьте права доступа к файлу и запустите программу снова.")
                        .arg(path, file.errorString()),
                    showBox);
        return LoadResult::Unreadable;
    }
    file.close();
    QXmlStreamReader xml(content);
    if (read(xml))
        return LoadResult::Loaded;
    const QString fault =
        tr("строка %1: %2").arg(QString::number(xml.lineNumber()), xml.errorString());

    reset();
    m_path = path;
    m_connections = {localConnection()};
    const QString kept = setAside(path);
    m_setAsideFirst = kept.isEmpty();
    showWarning(nullptr,
                tr("Файл настроек %1 не читается (%2). Действуют настройки по умолчанию, "
                   "подключения к базам данных нужно ввести заново. %3")
                    .arg(path, fault,
                         m_setAsideFirst ? tr("Повреждённый файл остался на месте.")
                                         : tr("Повреждённый файл сохранён как %1.").arg(kept)),
                showBox);
    return LoadResult::Broken;
}

bool Settings::read(QXmlStreamReader &xml)
{
    if (xml.readNextStartElement() && xml.name() != QLatin1String("settings"))
        xml.raiseError(tr("нет элемента settings"));
    while (!xml.hasError() && xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("connection"))
            readConnection(xml);
        else if (xml.name() == QLatin1String("section"))
            readSection(xml);
        else
            m_foreign += copyElement(xml);
    }
    while (!xml.atEnd()) // what stands behind the root element counts too
        xml.readNext();
    return !xml.hasError();
}

void Settings::readConnection(QXmlStreamReader &xml)
{
    ConnectionEntry entry;
    while (xml.readNextStartElement()) {
        const QString name = xml.name().toString();
        const QString text = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        const auto *key = std::find_if(
            connectionKeys.begin(), connectionKeys.end(),
            [&name](const ConnectionKey &known) { return name == QLatin1String(known.name); });
        if (key != connectionKeys.end())
            entry.*(key->member) = text;
        else
            entry.other.insert(name, text);
    }
    // Entries are told apart by their names, also those that a hand has copied in the file.
    const QString name = entry.name;
    for (int number = 2; findConnection(entry.name); ++number)
        entry.name = name + QStringLiteral(" (%1)").arg(number);
    m_connections += entry;
}

void Settings::readSection(QXmlStreamReader &xml)
{
    const QString section = xml.attributes().value(QLatin1String("name")).toString();
    QString foreign;
    while (xml.readNextStartElement()) {
        const QString key = xml.name().toString();
        const QString element = copyElement(xml);
        if (const std::optional<QString> text = plainText(element))
            m_sections[section].insert(key, *text);
        else
            foreign += element;
    }
    if (foreign.isEmpty() || xml.hasError())
        return;
    QString element;
    QXmlStreamWriter writer(&element);
    writer.writeStartElement(QStringLiteral("section"));
    writer.writeAttribute(QStringLiteral("name"), section);
    writer.writeCharacters(QString()); // closes the start tag
    element += foreign;
    writer.writeEndElement();
    m_foreign += element;
}

bool Settings::save(QString *error) const
{
    const QString path = m_path.isEmpty() ? settingsFilePath() : m_path;
    const auto fail = [&path, error](const QString &reason) {
        if (error)
            *error = tr("Не удалось сохранить файл настроек %1: %2").arg(path, reason);
        return false;
    };
    if (QFileInfo(path).absolutePath() == QFileInfo(settingsFilePath()).absolutePath())
        ensureConfigDir();
    if (m_unread && QFileInfo::exists(path))
        return fail(tr("прежний файл не удалось прочитать, поэтому он не перезаписан"));
    if (m_setAsideFirst && QFileInfo::exists(path)) {
        if (setAside(path).isEmpty())
            return fail(tr("прежний файл повреждён, и его не удалось переименовать"));
    }
    m_setAsideFirst = false;

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    // It takes over the permissions of the file that it replaces; ours holds passwords.
    if (!file.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
        return fail(file.errorString());
    QXmlStreamWriter xml(&file);
    write(xml);
    // The commit alone does not notice when the last of it finds no room on the disk.
    if (xml.hasError() || !file.flush() || !file.commit())
        return fail(file.errorString());
    return true;
}

void Settings::write(QXmlStreamWriter &xml) const
{
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("settings"));
    for (const ConnectionEntry &entry : m_connections) {
        xml.writeStartElement(QStringLiteral("connection"));
        for (const ConnectionKey &key : connectionKeys) {
            const QString &text = entry.*(key.member);
            if (!text.isEmpty())
                xml.writeTextElement(QLatin1String(key.name), xmlText(text));
        }
        for (auto it = entry.other.begin(); it != entry.other.end(); ++it)
            xml.writeTextElement(it.key(), xmlText(it.value()));
        xml.writeEndElement();
    }
    for (auto section = m_sections.begin(); section != m_sections.end(); ++section) {
        xml.writeStartElement(QStringLiteral("section"));
        xml.writeAttribute(QStringLiteral("name"), section.key());
        for (auto it = section->begin(); it != section->end(); ++it)
            xml.writeTextElement(it.key(), xmlText(it.value()));
        xml.writeEndElement();
    }
    xml.setAutoFormatting(false); // blanks inside may mean something to their owner
    for (const QString &element : m_foreign) {
        xml.writeCharacters(QStringLiteral("\n    "));
        writeElement(xml, element);
    }
    xml.writeCharacters(QStringLiteral("\n"));
    xml.writeEndDocument();
}

void Settings::reset()
{
    m_path.clear();
    m_unread = false;
    m_setAsideFirst = false;
    m_connections.clear();
    m_sections.clear();
    m_foreign.clear();
}

QString Settings::value(SettingsKey key) const
{
    const KeyPlace &place = placeOf(key);
    return m_sections.value(QLatin1String(place.section))
        .value(QLatin1String(place.name), QLatin1String(place.defaultValue));
}

int Settings::intValue(SettingsKey key) const
{
    return value(key).toInt();
}

void Settings::setValue(SettingsKey key, const QString &value)
{
    const KeyPlace &place = placeOf(key);
    m_sections[QLatin1String(place.section)].insert(QLatin1String(place.name), value);
}

bool Settings::change(SettingsKey key, const QString &newValue, QString *error)
{
    if (value(key) == newValue)
        return true;
    setValue(key, newValue);
    return save(error);
}

const QList<ConnectionEntry> &Settings::connections() const
{
    return m_connections;
}

void Settings::setConnections(const QList<ConnectionEntry> &connections)
{
    m_connections = connections;
}

const ConnectionEntry *Settings::findConnection(const QString &name) const
{
    const auto it =
        std::find_if(m_connections.cbegin(), m_connections.cend(),
                     [&name](const ConnectionEntry &entry) { return entry.name == name; });
    return it == m_connections.cend() ? nullptr : std::to_address(it);
}

ConnectionEntry Settings::localConnection()
{
    ConnectionEntry entry;
    entry.name = tr("Локальная база");
    entry.dbtype = QStringLiteral("sqlite");
    entry.databasename = QStringLiteral("lavkor.sqlite");
    return entry;
}
