#pragma once

#include "widgets/dictionarydialog.h"
#include "widgets/dictionarylist.h"

/// The groups of products as a tree.
class GroupsDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit GroupsDialog(QWidget *parent);

    static Dictionary dictionary();

protected:
    std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id) override;
};

/// Edits a group, or with id 0 adds one.
class GroupEditDialog : public DictionaryDialog
{
    Q_OBJECT

public:
    GroupEditDialog(qulonglong id, QWidget *parent);
};
