#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

#include "images/imagefile.h"

class QMimeData;
class QWidget;

/// Something that is to become a picture of a product: a file, or what the clipboard holds.
struct ImageSource
{
    QString path = {};     ///< of a file; otherwise one of these two:
    QByteArray bytes = {}; ///< of an image file, kept as they are
    QImage image = {};     ///< kept as PNG
    QString name = {};     ///< for messages
};

/// What of a drop or of the clipboard can become pictures.
QList<ImageSource> imageSources(const QMimeData *data);

/// Takes pictures in, one after another: decoded and scaled by other threads, then its files are
/// stored, and only then it gets its row. Nothing waits for it meanwhile.
class ImageIntake final : public QObject
{
    Q_OBJECT

public:
    /// title: of a new picture. The window is the parent for boxes about the database.
    ImageIntake(qulonglong wareid, std::function<QString()> title, QWidget *window);
    ~ImageIntake() override;

    /// Takes more in, behind what waits already.
    void add(const QList<ImageSource> &sources);

    /// Lets go of what has no row yet; its files are deleted.
    void abandon();

    bool isBusy() const;

signals:
    /// Another one of so many begins.
    void progressed(int number, int total);
    /// A picture has got its row.
    void added(qulonglong id);
    /// All are done. refusals: what to tell the user about files that cannot come in. fault: why
    /// the store took no more; it has told the user itself of what goes beyond these pictures.
    void finished(const QStringList &refusals, const QString &fault);

private:
    void next();
    void decode(const QImage &logo);
    void store(const ImportedImage &image);
    void write(const QString &reason);
    void refuse(const QString &text);
    void stop(const QString &text);
    void removeFiles();
    void end(const QString &fault = {});

    qulonglong m_wareid;
    std::function<QString()> m_title;
    QWidget *m_window;
    QList<ImageSource> m_waiting;
    std::optional<ImageSource> m_current;
    std::optional<QImage> m_logo; ///< of this run
    QString m_fileName;           ///< of files that have no row yet
    QStringList m_refusals;
    int m_number = 0;
    int m_total = 0;
    int m_run = 0; ///< answers to a former one are too late
};
