#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include "widgets/tablecolumn.h"

/// What a field of a dictionary holds, and so by what it is edited.
enum class FieldKind {
    Text,   ///< a line
    Memo,   ///< several lines
    Number, ///< a real number, six digits of which are stored
    Flag,   ///< 0 or 1
    Choice, ///< the id of another row, or one of a few numbers
    Fixed,  ///< a number that the program sets once, in a new entry
    Time,   ///< when the entry was written last
};

/// A column that an entry is read from and written to. All kinds but the last two are edited.
struct DictionaryField
{
    QString column;
    FieldKind kind = FieldKind::Text;
    QString widget = {};   ///< the name of its widget
    QString label = {};    ///< in front of the widget, with its shortcut
    QString toolTip = {};  ///< of the widget
    QString required = {}; ///< what to tell who leaves a text empty or enters a number that does
                           ///< not fit; an empty text is taken when nothing stands here
    bool quoted = true;    ///< whether the UPDATE has its number in quotes

    // Of a number.
    int decimals = 0;
    double least = 0;
    double most = 0;
    double initial = 0;
    QString tooLong = {}; ///< words of its own for more digits than are stored; %1: those

    // Of a choice.
    QList<QPair<qulonglong, QString>> firstChoices = {};
    QString choices = {}; ///< a SELECT of ids and texts
};

/// Rows of another table, or of the same one, that use an entry which is deleted.
struct DictionaryUse
{
    QString table;
    QString column;
    bool goToo = false; ///< they are deleted with it; otherwise the column becomes 0
};

/// A table of things to choose from, as its list, its dialog and its statements need to know it.
/// Names of tables stand as in statements, `groups` in backquotes. The key is `id`.
struct Dictionary
{
    QString table;
    QList<TableColumn> columns;     ///< of the list; the first one is the id
    QString order = {};             ///< what the list is sorted by
    QList<DictionaryField> fields;  ///< in the order of INSERT and UPDATE
    QStringList readFirst = {};     ///< columns of an entry that its SELECT names before the others
    QList<DictionaryUse> uses = {}; ///< what happens to them when an entry is deleted
    QStringList searched = {};      ///< columns that the search looks in; none: there is no search

    QString listTitle = {};
    QString viewName = {}; ///< the name of the list's table
    QString viewToolTip = {};
    QString addTitle = {};
    QString editTitle = {};      ///< %1, if it is there: the id
    QString deleteQuestion = {}; ///< none: entries cannot be deleted
};
