#pragma once

#include <QtGlobal>

class QWidget;

/// Opens the card of a new product filled in from one of the reference database, with its barcodes.
/// Units, groups and currencies are found by their names; a price in a currency that is unknown
/// here is converted. Returns the id of the new product, 0 when none was saved.
qulonglong copyFromReference(QWidget *parent, qulonglong referenceId);
