#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

#include "labels/sheetlayout.h"

/// A saved layout of sheet and labels.
struct LabelPreset
{
    QString name;
    SheetSettings settings;

    bool operator==(const LabelPreset &) const = default;
};

/// What the file of saved layouts holds.
struct LabelPresets
{
    QList<LabelPreset> list;
    int current = -1; ///< the one that was chosen last

    bool operator==(const LabelPresets &) const = default;
};

namespace presets {

inline constexpr int most = 20;
inline constexpr qsizetype fileSize = 34568;

/// The file in the configuration directory.
QString filePath();

/// What there is without a file: two kinds of sheets and two rolls, with the name of the shop.
LabelPresets readyMade();

/// The image of the file; docs/database.md has its layout. Names are cut to what they have room
/// for.
QByteArray packed(const LabelPresets &presets);

/// What an image holds; nothing when it has another size or senseless values.
std::optional<LabelPresets> unpacked(const QByteArray &image);

enum class Read {
    Done,
    Missing, ///< the ready-made ones instead
    Damaged,
    Unreadable,
};

/// Reads the file. The presets stay when it cannot be read.
Read read(LabelPresets &presets);

enum class Write {
    Done,
    Refused, ///< the change did not want it
    Damaged, ///< what is there is no file of presets, and stays
    Failed,
};

/// Lets a change work on what the file holds now, and replaces the file, under a lock that other
/// programs wait for. presets: what is in the file afterwards. With replaceDamaged a damaged file
/// is kept as ".broken" beside.
Write change(LabelPresets &presets, const std::function<bool(LabelPresets &)> &change,
             bool replaceDamaged = false);

/// Adds one behind the others and chooses it; false when there is no room.
bool add(LabelPresets &presets, const LabelPreset &preset);

/// Removes one and chooses none; the last of a full file stays. False when nothing was removed.
bool removeAt(LabelPresets &presets, int index);

} // namespace presets
