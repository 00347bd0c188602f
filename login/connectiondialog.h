#pragma once

#include <QDialog>

#include <memory>
#include <optional>

#include "app/settings.h"

class QLineEdit;
struct ConnectionFault;

namespace Ui {
class ConnectionDialog;
}

/// Edits one connection of the settings file; shows the fields that fit the kind of database.
class ConnectionDialog final : public QDialog
{
    Q_OBJECT

public:
    /// takenNames: the names of the other connections, which this one must not have.
    ConnectionDialog(const ConnectionEntry &entry, const QStringList &takenNames,
                     QWidget *parent = nullptr);
    ~ConnectionDialog() override;

    /// The entry as it stands in the fields.
    ConnectionEntry entry() const;

private slots:
    void on_dbtypeComboBox_currentIndexChanged(int index);
    void on_databasenameBrowsePushButton_clicked();
    void on_dbcacertBrowsePushButton_clicked();
    void on_dbclientkeyBrowsePushButton_clicked();
    void on_dbclientcertBrowsePushButton_clicked();
    void on_checkPushButton_clicked();
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    struct Field
    {
        QString ConnectionEntry::*member;
        QLineEdit *edit;
    };

    QList<Field> fields() const;
    void showFittingFields();
    void browseTlsFile(QLineEdit *edit);
    void showFault(const ConnectionFault &fault);

    std::unique_ptr<Ui::ConnectionDialog> m_ui;
    ConnectionEntry m_entry;
    QStringList m_takenNames;
};
