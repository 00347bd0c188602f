#include "catalogue/articlesync.h"

#include "app/messages.h"
#include "catalogue/articlestore.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QHash>
#include <QMultiHash>
#include <QSet>
#include <QSqlQuery>

#include <algorithm>
#include <utility>

namespace {

struct ArticleSyncTexts
{
    Q_DECLARE_TR_FUNCTIONS(ArticleSync)
};

constexpr qsizetype productsPerRead = 200; ///< the length of a statement is limited

/// What suppliers are compared by.
QString supplierKey(const QString &name)
{
    return name.simplified().toCaseFolded();
}

/// An article of the reference database and the name of its supplier.
struct ForeignArticle
{
    Article article;
    QString supplier;
};

/// One of our products that the reference database may know.
struct KnownProduct
{
    qulonglong id = 0;
    QString wuid;
};

class Synchronisation
{
public:
    explicit Synchronisation(QWidget *parent)
        : m_parent(parent)
    {
    }

    ArticleSync run(const ProgressStep &progress)
    {
        const CommandScope command;
        if (!readProducts() || !readSuppliers())
            return m_result;
        m_result.read = true;
        const int total = static_cast<int>(m_products.size());
        for (qsizetype first = 0; first < total && !m_result.stopped; first += productsPerRead) {
            const QList<KnownProduct> products = m_products.mid(first, productsPerRead);
            if (!readArticles(products)) {
                m_result.stopped = true;
                break;
            }
            for (qsizetype i = 0; i < products.size() && !m_result.stopped; ++i) {
                if (goOn(progress, static_cast<int>(first + i), total))
                    copy(products.at(i));
                else
                    m_result.stopped = true;
            }
        }
        return m_result;
    }

private:
    bool readProducts()
    {
        QList<SqlRow> rows;
        if (!QueryRows(m_parent, "SELECT id, wuid FROM warehouse WHERE wuid<>'' ORDER BY id;",
                       rows))
            return false;
        for (const SqlRow &row : std::as_const(rows)) {
            const QString wuid = row.at(1).toString();
            if (!wuid.trimmed().isEmpty())
                m_products += {row.at(0).toULongLong(), wuid};
        }
        return true;
    }

    bool readSuppliers()
    {
        QList<SqlRow> rows;
        if (!QueryRows(m_parent, suppliersQuery() + u';', rows))
            return false;
        rememberSuppliers(rows);
        return true;
    }

    static QString suppliersQuery()
    {
        return QStringLiteral("SELECT id, name FROM suppliers ORDER BY id");
    }

    /// Of several with one name the first one counts.
    void rememberSuppliers(const QList<SqlRow> &rows)
    {
        m_suppliers.clear();
        for (const SqlRow &row : rows) {
            const QString key = supplierKey(row.at(1).toString());
            if (!m_suppliers.contains(key))
                m_suppliers.insert(key, row.at(0).toULongLong());
        }
    }

    /// Reads the articles that the reference database has for some products.
    bool readArticles(const QList<KnownProduct> &products)
    {
        m_articles.clear();
        QStringList wuids;
        for (const KnownProduct &product : products)
            wuids += sql::text(product.wuid);
        QList<SqlRow> rows;
        if (!QueryRows(m_parent,
                       "SELECT warehouse.wuid, suppliers.name, articles.orderenabled, "
                       "articles.ratio, articles.orderquantity, articles.step, articles.name, "
                       "articles.incost, articles.itime FROM warehouse JOIN articles ON "
                       "articles.wareid=warehouse.id LEFT JOIN suppliers ON "
                       "suppliers.id=articles.supplierid WHERE warehouse.wuid IN (" +
                           wuids.join(u',') + ") ORDER BY articles.id;",
                       rows, friendConnection))
            return false;
        for (const SqlRow &row : std::as_const(rows)) {
            const QString name = row.at(6).toString().simplified();
            if (name.isEmpty())
                continue;
            m_articles[row.at(0).toString()] +=
                ForeignArticle{{.orderenabled = row.at(2).toInt(),
                                .ratio = row.at(3).toDouble(),
                                .orderquantity = row.at(4).toDouble(),
                                .step = row.at(5).toDouble(),
                                .name = name,
                                .incost = row.at(7).toDouble(),
                                .itime = row.at(8).toString()},
                               row.at(1).toString().simplified()};
        }
        return true;
    }

    /// The reference's articles that we have not; present: how many of them we have. False on
    /// failure.
    bool missing(QWidget *parent, const KnownProduct &product, QList<ForeignArticle> &articles,
                 int &present)
    {
        present = 0;
        QSet<std::pair<QString, QString>> seen;
        const QList<ForeignArticle> all = m_articles.value(product.wuid);
        for (const ForeignArticle &foreign : all) {
            const QString key = supplierKey(foreign.supplier);
            const bool isKnown = foreign.supplier.isEmpty() || m_suppliers.contains(key);
            const bool isTwice = seen.contains({foreign.article.name, key});
            seen.insert({foreign.article.name, key});
            Article article = foreign.article;
            article.wareid = product.id;
            article.supplierid = foreign.supplier.isEmpty() ? 0 : m_suppliers.value(key);
            qulonglong holder = 0;
            const LoadState state = isTwice   ? LoadState::Loaded
                                    : isKnown ? findArticle(parent, article, holder)
                                              : LoadState::NotFound;
            if (state == LoadState::Failed)
                return false;
            if (state == LoadState::Loaded)
                ++present;
            else
                articles += ForeignArticle{article, foreign.supplier};
        }
        return true;
    }

    void copy(const KnownProduct &product)
    {
        QList<ForeignArticle> articles;
        int present = 0;
        if (!m_articles.contains(product.wuid))
            return;
        if (!missing(m_parent, product, articles, present)) {
            m_result.stopped = true;
            return;
        }
        const int asked = static_cast<int>(articles.size());
        if (asked == 0) {
            m_result.present += present;
            return;
        }
        bool inDoubt = false;
        int copied = 0;
        int created = 0;
        const TransactionResult result =
            runInTransaction(m_parent, mainConnection,
                             [&] { return copyOne(product, inDoubt, copied, present, created); },
                             {.inDoubt = &inDoubt, .needs = {Command::EditProducts}});
        if (result.isDone()) {
            m_result.copied += copied;
            m_result.present += present;
            m_result.suppliers += created;
            return;
        }
        m_result.failed += asked;
        if (result.failure.general && !result.givenUp)
            showDatabaseFailure(m_parent, result.failure, {});
        // Suppliers that were created with it are not there.
        m_result.stopped = result.failure.general || result.givenUp || !readSuppliers();
    }

    /// The body of a product's transaction. The numbers are those of the try that was committed.
    TransactionStep copyOne(const KnownProduct &product, bool &inDoubt, int &copied, int &present,
                            int &created)
    {
        QList<SqlRow> rows;
        if (!readLockedTable("suppliers", suppliersQuery(), rows))
            return TransactionStep::Fail;
        rememberSuppliers(rows);
        if (!readLockedRows("warehouse",
                            "SELECT id FROM warehouse WHERE id=" + sql::quotedId(product.id), rows))
            return TransactionStep::Fail;
        if (rows.isEmpty()) // deleted meanwhile
            return TransactionStep::Done;
        QList<ForeignArticle> articles;
        int presentNow = 0;
        if (!missing(nullptr, product, articles, presentNow))
            return TransactionStep::Fail;
        if (inDoubt && articles.isEmpty()) // the former try has been committed
            return TransactionStep::Done;
        inDoubt = false;
        present = presentNow;
        copied = static_cast<int>(articles.size());
        created = 0;
        for (ForeignArticle &foreign : articles) {
            foreign.article.timestamp = currentTimestamp();
            if (!findSupplier(foreign, created) || !insertArticle(nullptr, foreign.article))
                return TransactionStep::Fail;
        }
        return TransactionStep::Commit;
    }

    /// Gives the article our supplier of that name, which is created where it is missing.
    bool findSupplier(ForeignArticle &foreign, int &created)
    {
        const QString key = supplierKey(foreign.supplier);
        if (!foreign.supplier.isEmpty() && !m_suppliers.contains(key)) {
            QSqlQuery query;
            if (!QueryExec(nullptr,
                           "INSERT INTO suppliers(enabled,name,timestamp) VALUES('1'," +
                               sql::text(foreign.supplier) + u',' + sql::now() + ");",
                           query))
                return false;
            m_suppliers.insert(key, query.lastInsertId().toULongLong());
            ++created;
        }
        foreign.article.supplierid = foreign.supplier.isEmpty() ? 0 : m_suppliers.value(key);
        return true;
    }

    QWidget *m_parent;
    ArticleSync m_result;
    QList<KnownProduct> m_products;
    QHash<QString, qulonglong> m_suppliers;           ///< ours, by what they are compared by
    QHash<QString, QList<ForeignArticle>> m_articles; ///< by wuid
};

} // namespace

ArticleSync syncArticles(QWidget *parent, const ProgressStep &progress)
{
    return Synchronisation(parent).run(progress);
}

QString syncResult(const ArticleSync &sync)
{
    if (!sync.read)
        return ArticleSyncTexts::tr("Артикулы не синхронизированы.");
    QStringList parts = {ArticleSyncTexts::tr("Скопировано артикулов: %1").arg(sync.copied),
                         ArticleSyncTexts::tr("уже были: %1").arg(sync.present),
                         ArticleSyncTexts::tr("создано поставщиков: %1").arg(sync.suppliers)};
    if (sync.failed > 0)
        parts += ArticleSyncTexts::tr("с ошибками: %1").arg(sync.failed);
    if (sync.stopped)
        parts += ArticleSyncTexts::tr("остановлено");
    return parts.join(QLatin1String(", ")) + u'.';
}
