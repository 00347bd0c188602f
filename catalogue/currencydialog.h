#pragma once

#include "widgets/dictionarydialog.h"

/// Edits one row of the table of currencies, or with id 0 adds one.
class CurrencyDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    CurrencyDialog(qulonglong id, QWidget *parent);

    /// The table of currencies, as its list and its dialog show it.
    static Dictionary dictionary();
};
