#pragma once

#include <QCache>
#include <QHash>
#include <QObject>
#include <QPixmap>
#include <QSet>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTimer>

class ImagesStore;

/// Pictures of a store for lists and galleries, ready to paint: kept in memory, and of a WebDAV
/// store also on disk, both within bounds. Decoding is done by worker threads. Whoever scrolls past
/// takes the request back, and nothing is fetched for it.
class ThumbnailCache : public QObject
{
    Q_OBJECT

public:
    explicit ThumbnailCache(ImagesStore &store, QObject *parent = nullptr);
    ~ThumbnailCache() override;

    /// The cache of ImagesStore::instance(), shared by all windows.
    static ThumbnailCache &instance();

    /// The picture if it is in memory, else null; asks for nothing.
    QPixmap find(const QString &fileName);

    /// Asks for a picture such as "thumbs/x.jpg"; larger ones are scaled down to fit the size, if
    /// one is given. Answered by ready() or failed(), never from within the call.
    void request(const QString &fileName, const QSize &largest = {});

    /// Takes all requests for a picture back.
    void cancel(const QString &fileName);

    /// Takes all requests back but those for these pictures.
    void keepOnly(const QStringList &fileNames);

    /// Forgets a picture that has changed.
    void forget(const QString &fileName);

signals:
    void ready(const QString &fileName, const QPixmap &pixmap);
    /// There is no such picture, it is none, or the store cannot be reached.
    void failed(const QString &fileName, const QString &reason, bool missing);
};
