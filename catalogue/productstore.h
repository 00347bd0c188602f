#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <optional>

#include "catalogue/product.h"
#include "db/connections.h"
#include "db/rowstate.h"

class QWidget;

/// The reading and writing of products, by one table of columns (see productstore.cpp).

/// Which columns of a product are read.
enum class ProductColumns {
    Card,        ///< all that the product card shows
    Reference,   ///< what a product of the reference database is copied with
    Receipt,     ///< what a receipt needs to know, the unit included
    PriceList,   ///< what a list of prices shows
    Price,       ///< what is proposed for new prices
    PriceChange, ///< what a change of prices is computed from
    Comparison,  ///< what is compared with another database
};

/// Reads a product by its id.
LoadState loadProduct(QWidget *parent, qulonglong id, ProductColumns columns, Product &product,
                      const QString &connectionName = mainConnection);

/// Reads the products with these ids, as far as they are there, in the order of the database.
/// False on failure.
bool loadProducts(QWidget *parent, const QList<qulonglong> &ids, ProductColumns columns,
                  QList<Product> &products, const QString &connectionName = mainConnection);

/// The same for products with these unique identifiers.
bool loadProductsByWuid(QWidget *parent, const QStringList &wuids, ProductColumns columns,
                        QList<Product> &products, const QString &connectionName = mainConnection);

/// Runs a SELECT on `warehouse` and hands over its rows one after the other, read by the names of
/// their columns, infinities included. False on failure, be it in the middle.
bool readProducts(QWidget *parent, const QString &sqlText,
                  const std::function<void(const Product &product)> &each,
                  const QString &connectionName = mainConnection);

/// Reads a product as the card does inside a transaction and locks its row. No box is shown.
LoadState lockProduct(qulonglong id, Product &product,
                      const QString &connectionName = mainConnection);

/// The columns written by updateProduct() in which two states of a product differ.
QStringList changedColumns(const Product &before, const Product &now);

/// The columns in which a stored product is not what writing the other one would make of it.
QStringList unwrittenColumns(const Product &product, const Product &stored);

/// The value of a product in a column; invalid for a column that a product has no room for.
QVariant productValue(const Product &product, const QString &column);
void setProductValue(Product &product, const QString &column, const QVariant &value);

/// Looks, inside a transaction, for another product with the name and the article of this one; its
/// id when Loaded. Until the end of the transaction nobody adds one. No box is shown.
LoadState findDuplicate(const Product &product, qulonglong &otherId,
                        const QString &connectionName = mainConnection);

/// Adds a product, without stock. Returns its id; nothing when the statement failed. Real numbers
/// get 6 digits; one that is still as it was given keeps all that it has.
std::optional<qulonglong> insertProduct(QWidget *parent, const Product &product,
                                        const Product &given = {},
                                        const QString &connectionName = mainConnection);

/// Writes a product but for its stock; numbers as above.
WriteState updateProduct(QWidget *parent, const Product &product, const Product &given,
                         const QString &connectionName = mainConnection);
