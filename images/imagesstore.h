#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QQueue>
#include <QString>

#include <functional>
#include <memory>

#include "images/storename.h"
#include "images/storesettings.h"

class LocalFolder;
class QNetworkReply;
class QWebdav;
class WebdavRequest;

/// A file of a store.
struct StoreFile
{
    QString name; ///< within its folder
    qint64 size = -1;
    QDateTime modified = {};
};

/// The one place through which pictures are read and written: a local directory or a share on a
/// WebDAV server, which look alike from here. Files are named from the root ("originals/x.jpg",
/// "thumbs/x.jpg", "processed/x.jpg"); a name that would leave the root is refused.
///
/// Nothing waits: every call returns at once and is answered by one signal, never from within the
/// call. What is asked of one file is done in the order of asking, different files go side by side.
/// A store that cannot be reached is told to the user here, in one box per outage; who asked gets
/// the reason for its own place and shows no box of its own.
class ImagesStore : public QObject
{
    Q_OBJECT

public:
    explicit ImagesStore(const ImagesStoreSettings &settings, QObject *parent = nullptr);
    ~ImagesStore() override;

    /// The store of the settings file, opened when first asked for. Lives as long as the
    /// application.
    static ImagesStore &instance();

    /// Goes over to another store. What was on its way in the former one fails.
    void open(const ImagesStoreSettings &settings);

    const ImagesStoreSettings &settings() const;

    /// Asks for the bytes of a file; imageId, if known, is for the log. Asked for again while it is
    /// on its way, it is fetched once and answered once.
    void get(const QString &fileName, qulonglong imageId = 0);

    /// Writes a file, its folder too where it is missing.
    void put(const QString &fileName, const QByteArray &bytes);

    /// Deletes a file; one that is not there counts as deleted.
    void remove(const QString &fileName);

    /// Lists the files of a folder; one that is not there is empty.
    void list(const QString &folder);

    /// Takes one get() back: there is no answer unless somebody else has asked, too.
    void cancel(const QString &fileName);

    /// Takes everything back that has not begun or can be broken off; there are no answers.
    void cancelAll();

    /// Whether something is on its way.
    bool isBusy() const;

signals:
    void getCompleted(QString filename, QByteArray byteArray);
    /// missing: there is no such file, which is no fault of the store.
    void getFailed(QString filename, QString reason, bool missing);
    void putCompleted(QString filename);
    void putFailed(QString filename, QString reason);
    void removeCompleted(QString filename);
    void removeFailed(QString filename, QString reason);
    void listCompleted(QString folder, QList<StoreFile> files);
    void listFailed(QString folder, QString reason);
    /// So many bytes of a file have come or gone; total is -1 while it is not known.
    void progressed(QString filename, qint64 done, qint64 total);
    /// An outage has begun; a box is being shown.
    void errorOccurred(QString text);
    /// Another store was opened.
    void opened();

private:
    enum class Verb { Get, Put, Remove, List };

    struct Operation
    {
        Verb verb = Verb::Get;
        QString name;
        QByteArray bytes = {}; ///< to write, or as many as have come
        qulonglong imageId = 0;
        int askers = 1; ///< of a get
        int tries = 0;
        bool running = false;
    };
    using OperationPointer = std::shared_ptr<Operation>;

    void ask(Operation operation);
    void startNext();
    void run(const OperationPointer &operation);
    void runLocally(const OperationPointer &operation);
    void finish(const OperationPointer &operation, const QString &reason = {},
                bool missing = false);
    void answer(const Operation &operation, const QString &reason, bool missing);
    void tellOutage(const QString &text);

    ImagesStoreSettings m_settings;
    std::unique_ptr<LocalFolder> m_local;
    QList<OperationPointer> m_operations; ///< in the order of asking
    bool m_startPending = false;
    bool m_outage = false;
};
