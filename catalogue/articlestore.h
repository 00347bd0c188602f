#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "db/connections.h"
#include "db/rowstate.h"

class QWidget;

/// A supplier's own number for a product: a row of `articles`.
struct Article
{
    qulonglong id = 0;
    int orderenabled = 1;
    qulonglong wareid = 0; ///< 0: of a product that is not saved yet
    qulonglong supplierid = 0;
    double ratio = 1; ///< units of the product in one of the supplier's
    double orderquantity = 0;
    double step = 0; ///< what ordered quantities are multiples of
    QString name = {};
    double incost = 0;      ///< the supplier's last price
    QString itime = {};     ///< when it was that
    QString timestamp = {}; ///< when the article was entered
};

/// Reads an article.
LoadState loadArticle(QWidget *parent, qulonglong id, Article &article,
                      const QString &connectionName = mainConnection);

/// Reads the articles of a supplier, or all, in the order of their texts. False on failure.
bool loadArticles(QWidget *parent, std::optional<qulonglong> supplierId, QList<Article> &articles,
                  const QString &connectionName = mainConnection);

/// Adds an article. Returns its id; nothing when the statement failed.
std::optional<qulonglong> insertArticle(QWidget *parent, const Article &article,
                                        const QString &connectionName = mainConnection);

/// Writes an article.
WriteState updateArticle(QWidget *parent, const Article &article,
                         const QString &connectionName = mainConnection);

/// Looks for another article with the text and the supplier of this one; its product when Loaded.
/// What lies staged for some product that is not saved yet counts only for such a one.
LoadState findArticle(QWidget *parent, const Article &article, qulonglong &wareid,
                      const QString &connectionName = mainConnection);
