#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

#include "db/rowstate.h"
#include "widgets/dictionary.h"

class QWidget;

/// The reading and writing of the entries of a dictionary on the main connection. What fails is
/// told over the parent. Values are known by their columns.

/// The SELECT of the list. In: words that the searched columns hold, and a condition in SQL, if
/// any.
QString dictionaryList(const Dictionary &dictionary, const QString &search = {},
                       const QString &condition = {});

/// Reads an entry.
LoadState loadEntry(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                    QVariantMap &values);

/// Adds an entry; columns without a value are left out. Returns its id; nothing when that failed.
std::optional<qulonglong> insertEntry(QWidget *parent, const Dictionary &dictionary,
                                      const QVariantMap &values);

/// How the change of an entry ended.
enum class EntryState {
    Written,
    Changed, ///< nothing written: another station has changed what would be written over
    Gone,    ///< nothing written: another station has deleted it
    Circle,  ///< nothing written: it would come under itself
    Failed,
};

/// Changes an entry; columns without a value stay as they are. seen: its values as the user knows
/// them, and after Changed as they are now.
EntryState updateEntry(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                       const QVariantMap &values, QVariantMap &seen);

/// Whether another entry has the text of this field already, blanks and letter case aside. Nothing
/// when that could not be found out.
std::optional<bool> isRepeated(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                               const DictionaryField &field, const QVariantMap &values);

/// How many rows use the entries in this way. Nothing when they could not be counted.
std::optional<qlonglong> countUses(QWidget *parent, const Dictionary &dictionary,
                                   const DictionaryUse &use, const QList<qulonglong> &ids);

/// Deletes entries and sees to what uses them, all of it or nothing. False when that failed.
bool deleteEntries(QWidget *parent, const Dictionary &dictionary, const QList<qulonglong> &ids);
