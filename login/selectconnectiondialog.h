#pragma once

#include <QDialog>

#include <memory>
#include <optional>

#include "login/loginsequence.h"

class QListWidget;

namespace Ui {
class SelectConnectionDialog;
}

/// Choice of the main and the reference connection, and login. Accepted means that the main
/// connection is open on a database of our version and that Session holds its user and options.
class SelectConnectionDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit SelectConnectionDialog(QWidget *parent = nullptr);
    ~SelectConnectionDialog() override;

    /// The chosen main connection, a name of the settings file; empty without a choice.
    QString connectionName() const;

    /// The chosen reference connection; empty: none.
    QString friendConnectionName() const;

protected:
    void showEvent(QShowEvent *event) override;

private slots:
    void on_connectionListWidget_currentRowChanged(int row);
    void on_addPushButton_clicked();
    void on_editPushButton_clicked();
    void on_deletePushButton_clicked();
    void on_checkPushButton_clicked();
    void on_passwordsPushButton_clicked();
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    std::optional<LoginRequest> request();
    NewPasswordQuestion passwordQuestion();
    void fillLists(const QString &connection, const QString &friendConnection);
    void addConnection();
    void askForFirstConnection();
    void keepSettings();
    void focusPassword();

    std::unique_ptr<Ui::SelectConnectionDialog> m_ui;
    bool m_shown = false;
};
