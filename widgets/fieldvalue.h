#pragma once

#include <QVariant>

class QComboBox;
class QWidget;

/// The value of a field of a form, whatever its kind: a line, a text, a number (NumberSpinBox), a
/// check box or a choice, whose entries are known by their data.

/// Shows a stored value. A choice gets it by chooseEntry().
void showInField(QWidget *field, const QVariant &value);

QVariant valueInField(const QWidget *field);

/// A stored value in the words of the field.
QString textInField(const QWidget *field, const QVariant &value);

/// Chooses an entry; one that is not offered is added with a text of its own, so that a row that is
/// gone is not replaced unasked.
void chooseEntry(QComboBox *box, const QVariant &value, const QString &textIfMissing);

/// Keeps the mouse wheel from choosing another entry; in the open list it still scrolls.
void keepFromWheel(QComboBox *box);
