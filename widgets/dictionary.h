#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <functional>

#include "db/query.h"
#include "db/rights.h"
#include "widgets/tablecolumn.h"

class QWidget;

/// What a field of a dictionary holds, and so by what it is edited.
enum class FieldKind {
    Text,   ///< a line, superfluous blanks left out
    Memo,   ///< several lines
    Number, ///< a real number, six digits of which are stored
    Flag,   ///< 0 or 1
    Choice, ///< the id of another row, or one of a few numbers
    Code,   ///< the text by which another row is known
    Fixed,  ///< a number that the program sets once, in a new entry
    Time,   ///< when the entry was written last
};

/// What a text means that another entry has already, letter case aside.
enum class Repeat {
    Allowed,
    Asked,   ///< a new one may be a mistake
    Refused, ///< other rows refer to the entry by it
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
    Repeat repeat = Repeat::Allowed;
    QString repeatAmong = {}; ///< only entries with the same number in this column count
    bool once = false;        ///< only a new entry gets it
    bool quoted = true;       ///< whether the UPDATE has its number in quotes
    bool rewritten = false;   ///< whether the UPDATE has it too, if it is a Fixed one

    // Of a number.
    int decimals = 0;
    double least = 0;
    double most = 0;
    double initial = 0;
    QString tooLong = {}; ///< words of its own for more digits than are stored; %1: those

    // Of a choice.
    QList<QPair<qulonglong, QString>> firstChoices = {};
    QString choices = {}; ///< a SELECT of ids, or of codes, and texts

    // A button beside a choice, which opens the list of what can be chosen.
    QString openName = {};
    QString openToolTip = {};
    std::function<QVariant(QWidget *parent, const QVariant &current)> open =
        {}; ///< returns the id or code chosen there, if any
};

/// Rows of another table, or of the same one, that use an entry which is deleted.
struct DictionaryUse
{
    QString table;
    QString column;
    bool goToo = false; ///< they are deleted with it; otherwise the column becomes 0
    QString told = {};  ///< a sentence for the question before, %1: how many they are
    QString also = {};  ///< a further condition in SQL
    QString key = "id"; ///< the entry's column that the rows hold; a text follows its changes
};

/// A table of things to choose from, as its list, its dialog and its statements need to know it.
/// Names of tables stand as in statements, `groups` in backquotes. The key is `id`.
struct Dictionary
{
    QString table;
    QList<TableColumn> columns = {};             ///< of the list; the first one is the id
    QString order = {};                          ///< what the list is sorted by
    Command command = Command::EditDictionaries; ///< what writing an entry is
    QList<DictionaryField> fields;               ///< in the order of INSERT and UPDATE
    QStringList formOrder = {}; ///< columns of the fields that stand first in the dialog
    QStringList readFirst = {}; ///< columns of an entry that its SELECT names before the others
    QString entrySelect = {}; ///< reads readFirst and nothing else, up to the quoted id; none: the
                              ///< SELECT is made of the fields
    bool bound = false;       ///< values are written through placeholders
    QList<DictionaryUse> uses = {}; ///< what happens to them when an entry is deleted
    QString parent = {};            ///< the column that makes a tree of the entries, if any
    QString circle = {};            ///< what to tell when an entry would come under itself
    QStringList searched = {};      ///< columns that the search looks in; none: there is no search
    std::function<void(QList<SqlRow> &rows)> arrange = {}; ///< the rows of the list before they
                                                           ///< are shown

    QString listTitle = {};
    QString listName = {}; ///< the object name of the list
    QString viewName = {}; ///< the name of the list's table
    QString viewToolTip = {};
    QString addText = {}; ///< of the list's button; none: the usual one
    QString addTitle = {};
    QString editTitle = {};      ///< %1, if it is there: the id
    QString dialogName = {};     ///< the object name of the dialog
    QString acceptName = {};     ///< of its first button, when not the usual one
    QString cancelName = {};     ///< of its second one
    QString unreadable = {};     ///< what to tell when an entry cannot be read, if anything
    QString deleteQuestion = {}; ///< none: entries cannot be deleted; %1, if it is there: how many
                                 ///< rows of the first told use there are, of one entry at a time
};
