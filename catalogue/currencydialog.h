#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class CurrencyDialog;
}

/// Edits one row of the table of currencies, or with id 0 adds one.
class CurrencyDialog : public QDialog
{
    Q_OBJECT

public:
    CurrencyDialog(qulonglong id, QWidget *parent);
    ~CurrencyDialog() override;

private slots:
    void on_savePushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    bool load();
    bool save();
    bool refuse(QWidget *field, const QString &text);

    std::unique_ptr<Ui::CurrencyDialog> m_ui;
    qulonglong m_id;
    QString m_shownRate; ///< as the user first saw it; empty also for a rate that is not set
};
