#pragma once

#include <QDialog>

#include <memory>

#include "widgets/scantaker.h"

namespace Ui {
class CodeDialog;
}

/// Edits one barcode of a product, or with id 0 creates one for the product wareid. A wareid of 0
/// stands for a product that is not saved yet.
class CodeDialog : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    CodeDialog(qulonglong id, qulonglong wareid, QWidget *parent);
    ~CodeDialog() override;

    /// The id of the row; after a new code was saved, the id that it got.
    qulonglong id() const;

    /// A code that is scanned goes into the code field. A new one that came there by a scan before
    /// it is saved first, one that was typed only when the user says so.
    void takeScan(const QString &code) override;

    void reject() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private slots:
    void on_generateCodeButton_clicked();
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    bool load();
    QStringList entered() const;
    bool keepFormer(const QString &former);
    void finish();
    void showProduct();
    void showWholeCodes();
    bool save();
    bool insertRow();
    bool updateRow();

    std::unique_ptr<Ui::CodeDialog> m_ui;
    qulonglong m_id;
    qulonglong m_wareid;
    QString m_scanned;          ///< what came by the last scan
    QStringList m_initial;      ///< what the fields held at first
    qulonglong m_writtenId = 0; ///< of a code that was saved before the one in the fields
};
