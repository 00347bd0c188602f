#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include "app/progressstep.h"

class QWidget;

/// What the copying of products from the reference database came to.
struct ReferenceImport
{
    int copied = 0;
    int known = 0;          ///< were ours already
    int refused = 0;        ///< see notes
    int left = 0;           ///< not tried any more
    QStringList notes = {}; ///< what could not be copied as it is, a line each

    /// The counts as a sentence for the user.
    QString text() const;
};

/// Copies products of the reference database, by their ids there, with their barcodes; group, brand
/// and unit are those of ours with the same names. Each product is copied whole or not at all,
/// without stock; nothing of ours is changed. A lost database or a stop by progress, called before
/// each product, leaves the rest. Failures of a database are told once over the parent.
ReferenceImport importProducts(QWidget *parent, const QList<qulonglong> &ids,
                               const ProgressStep &progress = {});
