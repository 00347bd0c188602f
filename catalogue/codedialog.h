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

    /// A code that is scanned goes into the code field.
    void takeScan(const QString &code) override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private slots:
    void on_generateCodeButton_clicked();
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    bool load();
    void showProduct();
    void showWholeCodes();
    bool save();
    bool insertRow();
    bool updateRow();

    std::unique_ptr<Ui::CodeDialog> m_ui;
    qulonglong m_id;
    qulonglong m_wareid;
};
