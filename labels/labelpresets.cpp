#include "labels/labelpresets.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QLockFile>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

#include "app/configdir.h"
#include "db/session.h"

namespace presets {

namespace {

constexpr int nameRoom = 200; ///< signs of four bytes, with the zero behind
constexpr int nameLength = 198;
constexpr int reserved = 8; ///< bytes behind a layout's numbers
constexpr int lockWait = 5000;
constexpr double longest = 1000; ///< cm that a layout may ask for

struct Presets
{
    Q_DECLARE_TR_FUNCTIONS(Presets)
};

void writeText(QDataStream &stream, const QString &text)
{
    QList<uint> signs = text.toUcs4();
    signs.resize(std::min<qsizetype>(signs.size(), nameLength));
    signs.resize(nameRoom);
    for (const uint sign : std::as_const(signs))
        stream << quint32(sign);
}

bool readText(QDataStream &stream, QString &text)
{
    QList<char32_t> signs;
    bool ended = false;
    bool good = true;
    for (int i = 0; i < nameRoom; ++i) {
        quint32 sign = 0;
        stream >> sign;
        ended = ended || sign == 0;
        if (ended)
            continue;
        good = good && sign <= 0x10FFFF && (sign < 0xD800 || sign > 0xDFFF);
        signs += char32_t(sign);
    }
    if (good && ended)
        text = QString::fromUcs4(signs.constData(), signs.size());
    return good && ended;
}

void writeSettings(QDataStream &stream, const SheetSettings &settings)
{
    for (const BlockSettings &block : settings.blocks)
        stream << block.offset << qint32(block.size) << qint32(block.on);
    stream << qint32(settings.frame) << qint32(settings.rows) << qint32(settings.columns)
           << qint32(settings.dpi) << settings.x << settings.width << settings.height;
    for (int i = 0; i < reserved; ++i)
        stream << qint8(0);
}

bool isLength(double centimetres)
{
    return std::isfinite(centimetres) && std::abs(centimetres) <= longest;
}

bool isBetween(qint32 value, qint32 least, qint32 most)
{
    return value >= least && value <= most;
}

bool readSettings(QDataStream &stream, SheetSettings &settings)
{
    bool good = true;
    for (BlockSettings &block : settings.blocks) {
        qint32 size = 0;
        qint32 on = 0;
        stream >> block.offset >> size >> on;
        good = good && isLength(block.offset) && isBetween(size, 1, 1000) && isBetween(on, 0, 1);
        block.size = size;
        block.on = on != 0;
    }
    qint32 frame = 0;
    qint32 rows = 0;
    qint32 columns = 0;
    qint32 dpi = 0;
    stream >> frame >> rows >> columns >> dpi >> settings.x >> settings.width >> settings.height;
    stream.skipRawData(reserved);
    settings.frame = frame != 0;
    settings.rows = rows;
    settings.columns = columns;
    settings.dpi = dpi;
    return good && isBetween(frame, 0, 1) && isBetween(rows, 1, 1000) &&
           isBetween(columns, 1, 1000) && isBetween(dpi, 1, 10000) && isLength(settings.x) &&
           isLength(settings.width) && isLength(settings.height) && settings.width > 0 &&
           settings.height > 0;
}

void setUp(QDataStream &stream)
{
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

/// The blocks of a ready-made label: offsets in cm and sizes, in the order of LabelBlock.
SheetSettings sheet(int rows, int columns, double width, double height, int dpi,
                    std::array<BlockSettings, labelBlocks> blocks)
{
    SheetSettings settings;
    settings.organisation = Session::instance().option(QStringLiteral("ORGNAME"));
    settings.rows = rows;
    settings.columns = columns;
    settings.width = width;
    settings.height = height;
    settings.dpi = dpi;
    settings.blocks = blocks;
    return settings;
}

} // namespace

QString filePath()
{
    return configDirPath() + QStringLiteral("/labelssettings");
}

LabelPresets readyMade()
{
    // Organisation, name, barcode, price, brand.
    return {{{Presets::tr("Лист A4, 24 этикетки 70×37 мм"),
              sheet(8, 3, 21.0, 29.6, 300,
                    {{{0.05, 10}, {0.35, 10}, {2.1, 12}, {1.42, 20}, {1.18, 9, false}}})},
             {Presets::tr("Лист A4, 65 этикеток 38×21 мм"),
              sheet(13, 5, 19.0, 27.3, 300,
                    {{{0.1, 8, false}, {0.1, 8}, {1.15, 9}, {0.75, 12}, {0.45, 8, false}}})},
             {Presets::tr("Термолента 58×40 мм"),
              sheet(1, 1, 5.8, 4.0, 203,
                    {{{0.1, 10}, {0.45, 10}, {2.2, 12}, {1.5, 18}, {1.22, 9, false}}})},
             {Presets::tr("Термолента 43×25 мм"),
              sheet(1, 1, 4.3, 2.5, 203,
                    {{{0.1, 8, false}, {0.1, 9}, {1.3, 10}, {0.85, 14}, {0.53, 8, false}}})}},
            -1};
}

QByteArray packed(const LabelPresets &presets)
{
    QByteArray image;
    QDataStream stream(&image, QIODevice::WriteOnly);
    setUp(stream);
    stream << qint32(presets.list.size()) << qint32(presets.current);
    for (const LabelPreset &preset : presets.list) {
        writeText(stream, preset.name);
        writeText(stream, preset.settings.organisation);
        writeSettings(stream, preset.settings);
    }
    image.resize(fileSize, '\0');
    return image;
}

std::optional<LabelPresets> unpacked(const QByteArray &image)
{
    if (image.size() != fileSize)
        return std::nullopt;
    QDataStream stream(image);
    setUp(stream);
    qint32 count = 0;
    qint32 current = 0;
    stream >> count >> current;
    if (count < 0 || count > most || current < -1 || current >= count)
        return std::nullopt;
    LabelPresets presets;
    presets.current = current;
    for (int i = 0; i < count; ++i) {
        LabelPreset preset;
        // All three are read, so that the next one begins where it should.
        const bool name = readText(stream, preset.name);
        const bool organisation = readText(stream, preset.settings.organisation);
        if (!readSettings(stream, preset.settings) || !name || !organisation)
            return std::nullopt;
        presets.list += preset;
    }
    return presets;
}

Read read(LabelPresets &presets)
{
    QFile file(filePath());
    if (!file.exists()) {
        presets = readyMade();
        return Read::Missing;
    }
    if (!file.open(QIODevice::ReadOnly))
        return Read::Unreadable;
    const QByteArray image = file.read(fileSize + 1);
    if (file.error() != QFileDevice::NoError)
        return Read::Unreadable;
    const std::optional<LabelPresets> found = unpacked(image);
    if (!found)
        return Read::Damaged;
    presets = *found;
    return Read::Done;
}

Write change(LabelPresets &presets, const std::function<bool(LabelPresets &)> &change,
             bool replaceDamaged)
{
    const QString path = filePath();
    QLockFile lock(path + QStringLiteral(".lock"));
    if (!ensureConfigDir() || !lock.tryLock(lockWait))
        return Write::Failed;
    LabelPresets stored;
    switch (read(stored)) {
    case Read::Done:
    case Read::Missing:
        break;
    case Read::Unreadable:
        return Write::Failed;
    case Read::Damaged:
        if (!replaceDamaged)
            return Write::Damaged;
        QFile::remove(path + QStringLiteral(".broken"));
        if (!QFile::copy(path, path + QStringLiteral(".broken")))
            return Write::Failed;
        stored = readyMade();
    }
    LabelPresets changed = stored;
    if (!change(changed)) {
        presets = stored;
        return Write::Refused;
    }
    const QByteArray image = packed(changed);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(image) != image.size() || !file.flush() ||
        !file.commit())
        return Write::Failed;
    presets = *unpacked(image);
    return Write::Done;
}

bool add(LabelPresets &presets, const LabelPreset &preset)
{
    if (presets.list.size() >= most)
        return false;
    presets.list += preset;
    presets.current = int(presets.list.size()) - 1;
    return true;
}

bool removeAt(LabelPresets &presets, int index)
{
    if (index < 0 || index >= std::min<qsizetype>(presets.list.size(), most - 1))
        return false;
    presets.list.removeAt(index);
    presets.current = -1;
    return true;
}

} // namespace presets
