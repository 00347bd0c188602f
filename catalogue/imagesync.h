#pragma once

#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <memory>

#include "app/backgroundwork.h"
#include "catalogue/wareimages.h"
#include "images/storerequests.h"

class ImagesStore;
class QWidget;

/// Copies the pictures that the reference database has for products with the same identifier
/// (`wuid`) and ours lack, rows and files; files of these products that our store lacks are fetched
/// or made anew. Nothing of ours is overwritten. A row is written once its files are stored, and
/// what is done when the user stops it stays.
class ImageSync final : public BackgroundWork
{
    Q_OBJECT

public:
    /// window: for boxes about the database.
    explicit ImageSync(QWidget *window);
    ~ImageSync() override;

    /// What it came to, in words for the user.
    QString result() const;

    /// Whether all of it was done.
    bool isComplete() const;

protected:
    void begin() override;

private:
    struct Product
    {
        qulonglong id = 0;
        QString wuid = {};
    };

    /// A picture that something is to be done for.
    struct Job
    {
        WareImage image = {};
        QString foreignName = {}; ///< of its files in the reference's store
        bool hasRow = false;
    };
    using Jobs = QList<Job>; ///< of one product, in their order

    void list(ImagesStore &store, StoreFiles &files, const QStringList &folders,
              void (ImageSync::*then)());
    void listForeign();
    void readProducts();
    void readNextBatch();
    bool readForeign(const QList<Product> &products, QHash<QString, QList<WareImage>> &images);
    void planProduct(const Product &product, const QList<WareImage> &ours,
                     const QList<WareImage> &foreign);
    QString nameFor(const Product &product, const QString &foreignName) const;
    bool isComplete(const Job &job) const;
    void startLanes();
    void next(const std::shared_ptr<Jobs> &jobs);
    void fetch(const std::shared_ptr<Jobs> &jobs);
    void render(const std::shared_ptr<Jobs> &jobs, const QByteArray &original, bool isNew);
    void store(const std::shared_ptr<Jobs> &jobs, const QList<FileContents> &files);
    void write(const std::shared_ptr<Jobs> &jobs);
    void jobDone(const std::shared_ptr<Jobs> &jobs, const QString &failure = {},
                 bool isOfStore = false);

    QPointer<QWidget> m_window;
    std::unique_ptr<ImagesStore> m_reference; ///< none: the reference's files are in our store
    StoreFiles m_ours;
    StoreFiles m_foreign;
    QImage m_logo;
    QList<Product> m_products;
    qsizetype m_nextProduct = 0;
    QList<Jobs> m_jobs;
    int m_lanes = 0;
    int m_total = 0;
    int m_done = 0;
    int m_copied = 0;
    int m_present = 0;
    int m_made = 0;          ///< files for rows that stood already
    int m_failuresInRow = 0; ///< of a store
    QStringList m_failures;
};
