#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class PasswordDialog;
}

/// Why a new password cannot be taken, as told to the user; empty when it can.
QString newPasswordFault(const QString &password, const QString &repeated);

/// Whose new password is asked for.
enum class PasswordPurpose {
    First,   ///< of a user who has none yet
    Another, ///< of any user, by an administrator
    Own,     ///< of the user himself, who must know the present one
};

/// Asks for a new password, twice.
class PasswordDialog : public QDialog
{
    Q_OBJECT

public:
    explicit PasswordDialog(const QString &login, QWidget *parent = nullptr,
                            PasswordPurpose purpose = PasswordPurpose::First);
    ~PasswordDialog() override;

    /// The chosen password, after acceptance.
    QString password() const;

    /// The present one, of Own.
    QString presentPassword() const;

protected:
    /// Called with a password that can be taken; the dialog closes when it returns true. Otherwise
    /// what was wrong has been told.
    virtual bool take();

    /// Begins with the present password again.
    void askAgain();

private slots:
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    std::unique_ptr<Ui::PasswordDialog> m_ui;
};
