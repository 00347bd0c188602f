#pragma once

#include <QList>
#include <QString>

#include <functional>

#include "catalogue/product.h"

class QWidget;
class WareSubList;

/// The lists of the product card in the order of their tabs, the barcodes first. entered: the
/// product as the card shows it, from which a translation starts.
QList<WareSubList *> makeWareSubLists(qulonglong wareid, QWidget *parent,
                                      const std::function<Product()> &entered);

/// Lets the user add a barcode, beginning with a code that was scanned. Returns the row, also that
/// of a code that the product has already; 0 when nothing was added.
qulonglong addScannedCode(QWidget *parent, qulonglong wareid, const QString &code);
