#pragma once

#include "widgets/dictionarydialog.h"

/// Edits the translation of a product into one language, or with id 0 adds one; there is one for
/// each language. A wareid of 0 stands for a product that is not saved yet.
class TranslationDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    /// name, description: of a product that is not saved yet, for a new translation.
    TranslationDialog(qulonglong id, qulonglong wareid, QWidget *parent, const QString &name = {},
                      const QString &description = {});

    static Dictionary dictionary();

protected:
    bool mayBeSaved() override;
};
