#pragma once

#include <QList>
#include <QObject>

#include <functional>

class QMainWindow;
class QMenu;

/// The commands of the main window that open the catalogue: product search, cards, stock,
/// dictionaries, the reference database.
class CatalogueCommands final : public QObject
{
    Q_OBJECT

public:
    /// currentProduct: the id of the product that the user is at, 0 for none. selectedProducts:
    /// those selected in the product table.
    CatalogueCommands(QMainWindow *window, std::function<qulonglong()> currentProduct,
                      std::function<QList<qulonglong>()> selectedProducts);

    /// Adds the dictionaries to a menu.
    void addDictionaries(QMenu *menu);

signals:
    /// The catalogue may have changed; a product that was written is to be shown, 0: none.
    void changed(qulonglong wareid);
    /// A product was chosen to be received.
    void productChosen(qulonglong wareid);
    /// What a command came to, for the status line.
    void told(const QString &text, bool good);

private slots:
    void On_changeCostAction_triggered();
    void On_changeGroupAction_triggered();
    void on_warehouseAction_triggered();
    void on_restAction_triggered();
    void on_codesAction_triggered();
    void on_editWareAction_triggered();
    void on_wareBaseAction_triggered();
    void on_syncArticlesAction_triggered();
    void on_syncImagesAction_triggered();
    void on_createwarePushButton_clicked();
    void on_copywarePushButton_clicked();
    void on_editwarePushButton_clicked();
    void on_comparePushButton_clicked();

private:
    void showReference(qulonglong wareid);
    void tellSaved(qulonglong wareid);

    QMainWindow *m_window;
    std::function<qulonglong()> m_currentProduct;
    std::function<QList<qulonglong>()> m_selectedProducts;
};
