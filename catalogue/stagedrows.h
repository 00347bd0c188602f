#pragma once

#include <QString>

class QWidget;

/// Rows that hang on a product which is not saved yet: barcodes, supplier articles, properties,
/// translations, collections, pictures, all of product 0. What fails is told over the parent; then
/// nothing was written.

/// Deletes those that cancelled cards have left. Pictures go with their cards; those of one that
/// could not see to it go a day later.
bool clearStagedRows(QWidget *parent);

/// Adds a barcode of this user for one unit.
bool stageCode(QWidget *parent, const QString &code);

/// Replaces the barcodes of this user by those of a product of the reference database. Codes that
/// a local product has already are left out and told.
bool stageReferenceCodes(QWidget *parent, qulonglong referenceId);

/// Adds the properties and collections of a local product.
bool stageCopies(QWidget *parent, qulonglong wareid);

/// Whether no other product has got a code meanwhile that waits for the new one; otherwise it is
/// told.
bool checkStagedCodes(QWidget *parent);
