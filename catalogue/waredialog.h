#pragma once

#include <QDialog>
#include <QList>

#include <memory>

#include "catalogue/product.h"
#include "catalogue/warefields.h"
#include "catalogue/waresave.h"
#include "widgets/scantaker.h"

namespace Ui {
class WareDialog;
}
class WareGallery;
class WareSubList;
enum class DictionaryName;

/// The product card: adds a product or edits one with its barcodes, supplier articles, properties,
/// translations and collections. Those are written at once; of a new product they wait as rows of
/// product 0 until it is saved.
///
/// Return goes on to the next field and Ctrl+Return saves, since a scanner sends Return.
class WareDialog final : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    /// id 0: a new product. A product that is not there is told, and the card ends as rejected.
    WareDialog(qulonglong id, QWidget *parent);
    ~WareDialog() override;

    /// The id of the product; after a new one was saved its own.
    qulonglong id() const;

    /// Fills a new card in.
    void prefill(const Product &product);

    /// A code goes to the barcodes, to be added.
    void takeScan(const QString &code) override;

    void reject() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void on_groupPushButton_clicked();
    void on_brandPushButton_clicked();
    void on_unitPushButton_clicked();
    void on_descriptionPushButton_clicked();
    void on_unitComboBox_currentIndexChanged(int index);
    void on_currencyComboBox_currentIndexChanged(int index);
    void on_incostDoubleSpinBox_valueChanged(double value);
    void on_inoutratioDoubleSpinBox_valueChanged(double value);
    void on_outcostDoubleSpinBox_valueChanged(double value);
    void on_tabWidget_currentChanged(int index);
    void on_okPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    void describeFields();
    void fillChoices();
    void fillGroups();
    void fillBrands();
    void fillUnits();
    void fillCurrencies();
    void load(qulonglong id);
    void addLists(qulonglong id);
    void showCount(QWidget *tab, const QString &title, int rows);
    void countRows();
    void followGallery(bool failed);
    void showProduct(const Product &product);
    void choose(DictionaryName dictionary, QComboBox *box, void (WareDialog::*fill)());
    void followUnit();
    double costInMain() const;
    void followCoefficient();
    void showMargin();
    bool refuse(QWidget *field, const QString &text);
    bool check();
    bool checkChoices();
    bool checkCodes();
    bool checkRates();
    bool save();
    bool askToReplace();
    bool askToAddAnew();

    std::unique_ptr<Ui::WareDialog> m_ui;
    WareFields m_fields;
    WareSave m_save;
    QList<WareSubList *> m_lists; ///< the barcodes first
    WareGallery *m_gallery = nullptr;
    bool m_acceptSoon = false; ///< once the pictures are stored
    bool m_showing = false;    ///< fields change by themselves
    bool m_missing = false;    ///< the product could not be read
};

/// Opens the card of a new product, filled in from another one and with a barcode, after clearing
/// what cancelled cards have left. Returns its id, 0 when none was saved.
qulonglong createProduct(QWidget *parent, const Product &prefilled = {},
                         const QString &barcode = {});

/// Opens the card of a new product with all that a product has but its barcodes, articles,
/// translations, stock and the identifier that it shares with other databases.
qulonglong copyProduct(QWidget *parent, qulonglong id);

/// Opens the card of a product. Returns its id, 0 when nothing was saved.
qulonglong editProduct(QWidget *parent, qulonglong id);
