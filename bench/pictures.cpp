#include "bench/pictures.h"

#include "bench/figures.h"
#include "images/imagesstore.h"
#include "tests/support/davserver.h"
#include "tests/support/files.h"

#include <QDir>
#include <QEventLoop>
#include <QNetworkProxy>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

namespace {

constexpr int repetitions = 5;
constexpr int count = 200;
constexpr qsizetype size = 1'000'000;

QString nameOf(int number)
{
    return QStringLiteral("pic%1.jpg").arg(number, 3, 10, QLatin1Char('0'));
}

/// Pictures as files for curl and as bytes for the store.
class Pictures
{
public:
    Pictures()
    {
        QRandomGenerator generator(1);
        for (int i = 0; i < count; ++i) {
            QByteArray bytes(size, Qt::Uninitialized);
            generator.fillRange(reinterpret_cast<quint32 *>(bytes.data()), size / 4);
            writeFile(m_directory.filePath(nameOf(i)), bytes);
            m_bytes += bytes;
        }
    }

    QString directory() const
    {
        return m_directory.path();
    }

    const QByteArray &bytes(int number) const
    {
        return m_bytes.at(number);
    }

private:
    QTemporaryDir m_directory;
    QList<QByteArray> m_bytes;
};

/// Asks a store for something and waits until so many answers have come. Returns the time;
/// longestPause: what the event loop let others wait at most.
template<typename Signal>
double answers(ImagesStore &store, Signal signal, const std::function<void()> &ask,
               double &longestPause)
{
    QEventLoop loop;
    int waiting = count;
    const auto come = QObject::connect(&store, signal, &loop, [&] {
        if (--waiting == 0)
            loop.quit();
    });
    const auto failed =
        QObject::connect(&store, &ImagesStore::errorOccurred, &loop,
                         [](const QString &text) { qFatal("%s", qPrintable(text)); });
    QTimer heart;
    heart.setTimerType(Qt::PreciseTimer);
    QElapsedTimer beat;
    QObject::connect(&heart, &QTimer::timeout, &loop, [&] {
        longestPause = qMax(longestPause, double(beat.nsecsElapsed()) / 1e6);
        beat.restart();
    });
    beat.start();
    heart.start(1);
    const double time = milliseconds([&] {
        ask();
        loop.exec();
    });
    QObject::disconnect(come);
    QObject::disconnect(failed);
    return time;
}

double up(ImagesStore &store, const Pictures &pictures, double &longestPause)
{
    return answers(
        store, &ImagesStore::putCompleted,
        [&] {
            for (int i = 0; i < count; ++i)
                store.put(originalsFolder + u'/' + nameOf(i), pictures.bytes(i));
        },
        longestPause);
}

double down(ImagesStore &store, double &longestPause)
{
    return answers(
        store, &ImagesStore::getCompleted,
        [&] {
            for (int i = 0; i < count; ++i)
                store.get(originalsFolder + u'/' + nameOf(i));
        },
        longestPause);
}

double curl(const QString &directory, const QStringList &arguments)
{
    return milliseconds([&] {
        QProcess process;
        process.setWorkingDirectory(directory);
        process.setStandardOutputFile(QProcess::nullDevice());
        process.start("curl", QStringList{"-sS", "--fail", "--noproxy", "*"} + arguments);
        if (!process.waitForFinished(600'000) || process.exitCode() != 0)
            qFatal("curl: %s", process.readAllStandardError().constData());
    });
}

} // namespace

void benchPictures(Table &table)
{
    QNetworkProxyFactory::setUseSystemConfiguration(false);
    const Pictures pictures;
    const DavServer server(DavServer::Kind::Apache, DavServer::Access::Open);
    ImagesStore store({.type = "webdav",
                       .path = "dav",
                       .host = "http://127.0.0.1",
                       .port = QString::number(server.port())});
    const QString share = QStringLiteral("http://127.0.0.1:%1/dav/curl/").arg(server.port());
    curl(pictures.directory(), {"-X", "MKCOL", share});
    std::vector<double> ups;
    std::vector<double> downs;
    std::vector<double> curlUps;
    std::vector<double> curlDowns;
    std::vector<double> pauses;
    for (int turn = 0; turn < repetitions; ++turn) {
        double longestPause = 0;
        ups.push_back(up(store, pictures, longestPause));
        pauses.push_back(longestPause);
        curlUps.push_back(curl(pictures.directory(), {"-T", "pic[000-199].jpg", share}));
        downs.push_back(down(store, longestPause));
        curlDowns.push_back(curl(pictures.directory(), {share + "pic[000-199].jpg"}));
    }
    table.row("200 pictures of 1 MB up to a share / curl", median(ups), median(curlUps), 2);
    table.row("200 pictures of 1 MB down from a share / curl", median(downs), median(curlDowns), 2);
    // Of several turns the median: a busy machine lets everybody wait now and then.
    table.row("longest pause, 200 pictures up to a share / 50 ms", median(pauses), 50, 1);
    const QTemporaryDir directory;
    ImagesStore local({.path = directory.path()});
    std::vector<double> localPauses;
    for (int turn = 0; turn < repetitions; ++turn) {
        double longestPause = 0;
        up(local, pictures, longestPause);
        localPauses.push_back(longestPause);
    }
    table.row("longest pause, 200 pictures into a directory / 50 ms", median(localPauses), 50, 1);
}
