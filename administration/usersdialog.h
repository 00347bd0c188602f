#pragma once

#include "widgets/dictionarylist.h"

/// The users of the database: add, edit, disable, give rights and passwords. None is deleted, since
/// receipts and sales name them.
class UsersDialog final : public DictionaryList
{
    Q_OBJECT

public:
    explicit UsersDialog(QWidget *parent = nullptr);

protected:
    qulonglong editEntry(qulonglong id) override;

private:
    static Dictionary dictionary();
};
