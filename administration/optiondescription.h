#pragma once

#include <QList>
#include <QPair>
#include <QString>

/// How the value of an option is edited.
enum class OptionKind {
    Text,
    Memo, ///< several lines
    Whole,
    Flag, ///< 0 or 1
    Secret,
    Choice, ///< one of a few texts
};

/// A row of the table `options`.
struct OptionRow
{
    qulonglong id = 0;
    QString name = {}; ///< the key by which programs read the value
    QString localname = {};
    QString description = {};
    QString value = {};

    bool operator==(const OptionRow &) const = default;
};

/// What the options window knows about an option.
struct OptionDescription
{
    QString group;
    QString title; ///< its name in Russian
    QString help;  ///< a sentence or two below its editor; may be empty
    OptionKind kind = OptionKind::Text;
    int least = 0; ///< of a whole number
    int most = 0;
    QString suffix = {};                         ///< the unit behind a number
    QList<QPair<QString, QString>> choices = {}; ///< values and what is shown for them
};

/// The groups in the order of the window; the last one takes the options of other programs.
QStringList optionGroups();

/// What is known about a row; title and help as the row has them. A name that this program does not
/// know is a text of the last group, or a secret if it sounds like one.
OptionDescription describeOption(const OptionRow &row);

/// Why the value cannot be stored for the option, a sentence for the user; empty when it can. An
/// empty value is right unless the option is a number, a flag or a choice.
QString optionFault(const OptionRow &row, const QString &value);

/// The stored form of a value that means the same as one of the choices ("3" for "+3"), or the
/// value as it is.
QString sameChoice(const OptionDescription &description, const QString &value);

/// A value in the words of the window; of a secret only whether there is one.
QString shownOption(const OptionDescription &description, const QString &value);
