#pragma once

#include <QCache>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QPixmap>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <memory>

#include "images/diskcache.h"

class ImagesStore;

/// Pictures of a store for lists and galleries, ready to paint: kept in memory, and of a WebDAV
/// store also on disk, both within bounds. Worker threads decode. Whoever scrolls past takes the
/// request back, and nothing is fetched for it.
class ThumbnailCache : public QObject
{
    Q_OBJECT

public:
    explicit ThumbnailCache(ImagesStore &store, QObject *parent = nullptr);
    ~ThumbnailCache() override;

    /// The cache of ImagesStore::instance(), shared by all windows.
    static ThumbnailCache &instance();

    /// The picture if it is in memory, else null; asks for nothing.
    QPixmap find(const QString &fileName) const;

    /// Asks for a picture such as "thumbs/x.jpg"; one larger than the bound is scaled down to it.
    /// Answered by ready() or failed(), never from within the call; the store is asked after a
    /// moment only, in which the user may have scrolled on.
    void request(const QString &fileName);

    /// Takes one request for a picture back.
    void cancel(const QString &fileName);

    /// Takes all requests back but those for these pictures.
    void keepOnly(const QStringList &fileNames);

    /// Forgets a picture that has changed. What is written through the store is forgotten by
    /// itself.
    void forget(const QString &fileName);

    /// Tells which version of a picture counts: what is kept of another one, which another station
    /// has replaced, is forgotten.
    void expect(const QString &fileName, const QString &version);

    /// How large pictures are kept at most (600 × 600), and how many bytes of them in memory (48
    /// MB).
    void setBounds(const QSize &largest, qsizetype bytes);

signals:
    void ready(const QString &fileName, const QPixmap &pixmap);
    /// There is no such picture, it is none, or the store cannot be reached.
    void failed(const QString &fileName, const QString &reason, bool missing);

private:
    enum class Stage { Waiting, Fetching, Decoding };

    struct Request
    {
        Stage stage = Stage::Waiting;
        int askers = 1;
        int number = 0; ///< tells the answer from one to an earlier request
    };

    void openDisk();
    void startAnew(const QString &fileName);
    QString diskName(const QString &fileName) const;
    void fetchWaiting();
    void drop(const QString &fileName);
    void takeBytes(const QString &fileName, const QByteArray &bytes);
    void takeFailure(const QString &fileName, const QString &reason, bool missing);
    void decode(const QString &fileName, const QByteArray &bytes);
    void takeImage(const QString &fileName, int number, const QImage &image);

    QPointer<ImagesStore> m_store;
    QCache<QString, QPixmap> m_pixmaps;
    std::unique_ptr<DiskCache> m_disk; ///< of a WebDAV store
    QHash<QString, Request> m_requests;
    QHash<QString, QString> m_versions; ///< as far as they are known
    QTimer m_delay;
    QSize m_largest{600, 600};
    int m_lastNumber = 0;
};
