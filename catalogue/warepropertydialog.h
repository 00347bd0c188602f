#pragma once

#include "widgets/dictionarydialog.h"

/// Edits the value of a property of a product, or with id 0 adds one. A wareid of 0 stands for a
/// product that is not saved yet.
class WarePropertyDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    WarePropertyDialog(qulonglong id, qulonglong wareid, QWidget *parent);

    static Dictionary dictionary();

protected:
    bool mayBeSaved() override;

private:
    void showProperty(const QVariant &entered = {});

    QString m_valueColumn; ///< where the value stands
    qulonglong m_shownProperty = 0;
};
