#pragma once

#include <QString>

/// A product: its row of `warehouse`. What a SELECT did not read keeps the value that stands here;
/// NULL is 0 or an empty text.
struct Product
{
    qulonglong id = 0;
    QString wuid = {}; ///< the same in all databases that know the product
    int enabled = 1;   ///< above 0: is being sold
    int type = 0;
    int marking = 0;
    int section = 1;
    qlonglong groupid = 0; ///< below 1: none, as in the other ids
    qlonglong brandid = 0;
    qlonglong favoritid = 0;
    QString article = {};
    QString name = {};
    QString keywords = {};
    QString description = {};
    QString location = {};
    double width = 0;
    double height = 0;
    double depth = 0;
    double weight = 0;
    double incost = 0;     ///< purchase price in the product's currency
    QString currency = {}; ///< its code; none or an unknown one: the main currency
    double inoutratio = 0; ///< fixed coefficient; 0: the selling price is fixed by hand
    double outcost = 0;    ///< selling price in the main currency
    double multiplicity = 0;
    double orderquantity = 0;
    double autoorder = 0;
    qlonglong unitid = 0;

    // Kept by receipts, sales and checks of the stock; never written from a record.
    double quantity = 0; ///< in stock
    double correction = 0;
    QString expiretime = {}; ///< "yyyy-MM-dd", empty for none
    QString latime = {};     ///< when the stock was checked last
    QString ctime = {};
    QString mtime = {};

    QString unit = {};    ///< the name of the unit
    int decimals = 3;     ///< of a quantity in this unit; without one anything weighed fits
    bool deleted = false; ///< not in the catalogue any more; only what refers to it is there

    bool isEnabled() const
    {
        return enabled > 0;
    }
};
