#pragma once

#include <QtGlobal>

#include <memory>

#include "widgets/dictionary.h"

class DictionaryList;
class QWidget;

/// The lists of things that products refer to.
enum class DictionaryName {
    Groups,
    Brands,
    Units,
    Properties,
    Locales,
    Collections,
    Suppliers,
};

/// How a dictionary is read, shown and written.
Dictionary dictionaryOf(DictionaryName which);

/// The dialog that keeps a dictionary in order.
std::unique_ptr<DictionaryList> makeDictionary(DictionaryName which, QWidget *parent);

/// Opens it modally at an entry and lets the user choose one; 0 when none was chosen. Whatever was
/// chosen, entries may have come, changed or gone.
qulonglong openDictionary(DictionaryName which, QWidget *parent, qulonglong current = 0);

/// For the button beside a choice from a dictionary.
std::function<QVariant(QWidget *parent, const QVariant &current)>
dictionaryOpener(DictionaryName which);
