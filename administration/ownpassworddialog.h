#pragma once

#include "login/passworddialog.h"

/// Lets the user of the session change his own password; nobody needs a right for that.
class OwnPasswordDialog final : public PasswordDialog
{
    Q_OBJECT

public:
    explicit OwnPasswordDialog(QWidget *parent = nullptr);

protected:
    bool take() override;
};
