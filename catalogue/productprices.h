#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "app/progressstep.h"
#include "catalogue/product.h"

class QWidget;

/// A change of the prices of some products; prices in the main currency.
struct PriceChange
{
    std::optional<double> incost = {}; ///< a new purchase price
    std::optional<double> ratio =
        {};             ///< a fixed coefficient; without one the selling price is fixed
    double outcost = 0; ///< the fixed selling price
};

/// Reads a product for the proposal of new prices, its purchase price in the main currency. Nothing
/// when it is missing or the statement failed.
std::optional<Product> readProductPrice(QWidget *parent, qulonglong id);

/// Writes the change to all the products, each in a transaction of its own; goods on the shelf
/// whose selling price changes are noted for new labels. Products that fail are passed over and
/// told once, over the parent, and so is how many were left when progress, called before every
/// product, stopped. Returns whether all succeeded.
bool changePrices(QWidget *parent, const QList<qulonglong> &ids, const PriceChange &change,
                  const ProgressStep &progress = {});

/// Writes a selling price, main currency, to the product of the reference database with this unique
/// identifier, if there is one; goods on its shelf are noted for new labels. False on failure,
/// which is told.
bool passPriceToReference(QWidget *parent, const QString &wuid, double outcost);

/// The same to the product with this id there, which must be there.
bool passPriceTo(QWidget *parent, qulonglong referenceId, double outcost);

/// How far the recalculation of all selling prices came.
struct PriceRecalculation
{
    bool read = false; ///< the products and the rates
    int changed = 0;
    int failed = 0; ///< refused by the database one by one
    int left = 0;   ///< not tried any more: stopped, or by locks, rights, disks and lost servers
};

/// Writes anew the selling prices of all products with a fixed coefficient on a connection; labels
/// are not noted. progress is called behind every row and may stop. Failed rows are reported and
/// passed over.
PriceRecalculation recalculateSellingPrices(QWidget *parent, const QString &connectionName,
                                            const ProgressStep &progress);
