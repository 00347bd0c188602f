#pragma once

#include <QString>

#include "app/progressstep.h"

class QWidget;

/// What came of copying articles from the reference database.
struct ArticleSync
{
    bool read = false;    ///< both databases
    int copied = 0;       ///< articles
    int present = 0;      ///< with the text and the supplier here already; left as they are
    int suppliers = 0;    ///< created
    int failed = 0;       ///< refused by the database
    bool stopped = false; ///< by the user, or by what no further product could get past
};

/// Copies the supplier articles of the products that have the same identifier (`wuid`) in the
/// reference database; suppliers are known by their names. Nothing of ours is overwritten. Each
/// product is a transaction of its own, and what is done when progress stops it stays. Failures
/// other than of single products are told over the parent.
ArticleSync syncArticles(QWidget *parent, const ProgressStep &progress = {});

/// The result in words for the user.
QString syncResult(const ArticleSync &sync);
