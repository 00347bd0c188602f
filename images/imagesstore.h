#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>

#include "images/localfolder.h"
#include "images/storename.h"
#include "images/storesettings.h"

class MultistatusReader;
class QNetworkReply;
class QWebdav;
class WebdavRequest;

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

    /// Shows no boxes; whoever asks tells the user.
    void setSilent(bool silent);

    /// How long a request to a server may be without progress (30 s), and how long in all (10 min).
    void setPatience(std::chrono::milliseconds idle, std::chrono::milliseconds total);

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

private slots:
    void on_webdav_requestFinished(QNetworkReply *reply);
    void on_webdav_errorChanged(const QString &errorMsg);

private:
    enum class Verb { Get, Put, Remove, List };

    struct Operation
    {
        Verb verb = Verb::Get;
        QString name = {};
        QByteArray bytes = {}; ///< to write, or as many as have come
        qulonglong imageId = 0;
        int askers = 1; ///< of a get
        bool running = false;
        int tries = 0;
        bool startsAnew = false;     ///< the bytes that came were of another file
        QByteArray version = {};     ///< of the file whose bytes have come
        QStringList newFolders = {}; ///< to make, the last one first; the root is ""
        std::shared_ptr<MultistatusReader> reader = {};
        QList<StoreFile> files = {};
    };
    using OperationPointer = std::shared_ptr<Operation>;

    /// What is out of work; the later ones are the graver ones.
    enum class Outage { None, File, Folder, Store };

    /// What became of an operation.
    struct Result
    {
        QString reason = {}; ///< empty: it is done
        bool missing = false;
        Outage outage = Outage::None;
    };

    QString place(const QString &name) const;
    void ask(Operation operation);
    void startSoon();
    void startNext();
    OperationPointer nextOperation() const;
    void run(const OperationPointer &operation);
    void runLocally(const OperationPointer &operation);
    void listLocally(const OperationPointer &operation);
    void send(const OperationPointer &operation);
    bool needsFolder(const OperationPointer &operation);
    void takeBytes(WebdavRequest *request);
    bool isContinuation(const QNetworkReply *reply, const Operation &operation) const;
    void folderAnswered(const OperationPointer &operation, const WebdavRequest &request);
    void answered(const OperationPointer &operation, const WebdavRequest &request);
    static bool isAnswered(const Operation &operation, const WebdavRequest &request);
    bool trySomethingElse(const OperationPointer &operation, const WebdavRequest &request);
    void takeFiles(Operation &operation, Result &result) const;
    void finish(const OperationPointer &operation, const Result &result);
    void answer(const Operation &operation, const Result &result);
    static Outage outageAt(const Operation &operation);
    bool endsOutage(const Operation &operation) const;
    void tellOutage(const QString &text, Outage outage, const QString &folder = {});
    void failWaiting(const Result &result);

    ImagesStoreSettings m_settings;
    std::unique_ptr<LocalFolder> m_local;
    std::unique_ptr<QWebdav, void (*)(QWebdav *)> m_webdav;
    QList<OperationPointer> m_operations; ///< in the order of asking
    QHash<const WebdavRequest *, OperationPointer> m_sent;
    QSet<QString> m_folders;    ///< that are there, on the server
    QDeadlineTimer m_lockedOut; ///< until then the server is spared the refused password
    std::chrono::milliseconds m_idle{0};
    std::chrono::milliseconds m_total{0};
    bool m_startPending = false;
    bool m_reached = false; ///< the server has answered
    Outage m_outage = Outage::None;
    QString m_unwritable;       ///< the folder that takes nothing
    QDeadlineTimer m_sameCause; ///< until then a failure belongs to the outage that was told
    bool m_silent = false;
};
