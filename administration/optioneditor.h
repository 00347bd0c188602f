#pragma once

#include <QString>

#include "administration/optiondescription.h"

class QWidget;

/// A field that fits the kind of an option, without its value.
QWidget *makeOptionEditor(const OptionDescription &description, QWidget *parent);

/// Shows a stored value, also one that the field would not take.
void showOption(QWidget *editor, const OptionDescription &description, const QString &value);

/// What stands in the field, as it would be stored.
QString enteredOption(const QWidget *editor, const OptionDescription &description);
