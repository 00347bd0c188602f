#pragma once

#include <QHash>
#include <QList>
#include <QStringList>

#include "catalogue/product.h"

class QWidget;

/// What two databases can say differently about a product.
enum class ComparedField { Name, Article, Incost, Outcost, Quantity, Codes };

inline constexpr ComparedField comparedFields[] = {ComparedField::Name,     ComparedField::Article,
                                                   ComparedField::Incost,   ComparedField::Outcost,
                                                   ComparedField::Quantity, ComparedField::Codes};

/// A product as one database has it, with its barcodes in their order.
struct CatalogueEntry
{
    Product product; ///< the columns of ProductColumns::Comparison; id 0: it has none
    QStringList codes = {};

    bool exists() const
    {
        return product.id > 0;
    }
};

/// A product of the reference database beside ours.
struct Comparison
{
    CatalogueEntry theirs;
    CatalogueEntry ours; ///< the one with the same unique identifier, if there is one
};

/// Reads products of the reference database, by their ids there, and ours beside them. Out: by
/// those ids, as far as they are there. False on failure, which is told over the parent.
bool readComparisons(QWidget *parent, const QList<qulonglong> &ids,
                     QHash<qulonglong, Comparison> &comparisons);

/// Reads one of our products with its codes. False on failure, also when it is not there.
bool readOurEntry(QWidget *parent, qulonglong wareid, CatalogueEntry &entry);

/// The id in the reference database of the product with that unique identifier; 0 when there is
/// none, also with an empty one or when it could not be read, which is told.
qulonglong referenceIdOf(QWidget *parent, const QString &wuid);

/// What a field is called.
QString fieldTitle(ComparedField field);

/// A field as a person reads it. Purchase prices name their currency.
QString fieldText(const CatalogueEntry &entry, ComparedField field);

/// Where both databases know the product and say different things about it.
QList<ComparedField> differences(const Comparison &comparison);
