#pragma once

#include <QList>
#include <QString>

#include <optional>

class QWidget;

/// What a price dialog shows of a product; prices in the main currency.
struct ProductPrice
{
    qulonglong id = 0;
    QString name;
    double incost = 0; ///< only from readProductPrice()
    double inoutratio = 0;
    double outcost = 0;
};

/// A change of the prices of some products; prices in the main currency.
struct PriceChange
{
    std::optional<double> incost; ///< a new purchase price
    std::optional<double> ratio;  ///< a fixed coefficient; without one the selling price is fixed
    double outcost = 0;           ///< the fixed selling price
};

/// Reads the products of a price dialog. False on failure.
bool readProductPrices(QWidget *parent, const QList<qulonglong> &ids, QList<ProductPrice> &prices);

/// Reads one product; nothing when it is missing or the statement failed.
std::optional<ProductPrice> readProductPrice(QWidget *parent, qulonglong id);

/// Writes the change to all the products, one statement each; goods on the shelf whose selling
/// price changes are noted for new labels. Products that fail are passed over and told once, over
/// the parent. Returns whether all succeeded.
bool changePrices(QWidget *parent, const QList<qulonglong> &ids, const PriceChange &change);
