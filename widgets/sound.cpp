#include "widgets/sound.h"

#include "app/settings.h"

#include <QCoreApplication>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QTimer>

#include <memory>
#include <utility>

// Outside of any namespace, as the macro wants it.
static void initializeSoundResources()
{
    Q_INIT_RESOURCE(sounds);
}

namespace {

/// Both tones last well under a second; a player that is still there after this time hangs.
constexpr int patienceMilliseconds = 3000;

/// Plays one sound through a player of its own process: whatever a sound server without a device
/// does to the player, the window goes on.
class Player : public QObject
{
    Q_DECLARE_TR_FUNCTIONS(Player)

public:
    Player(const QString &resource, QObject *parent)
        : QObject(parent)
    {
        initializeSoundResources();
        m_file.reset(QTemporaryFile::createNativeFile(resource));
        if (!m_file)
            return;
        m_file->close();
        const std::pair<QString, QStringList> players[] = {
            {"pw-play", {}}, {"paplay", {}}, {"aplay", {"-q"}}};
        for (const auto &[program, arguments] : players) {
            const QString path = QStandardPaths::findExecutable(program);
            if (path.isEmpty())
                continue;
            m_process.setProgram(path);
            m_process.setArguments(arguments + QStringList{m_file->fileName()});
            m_process.setStandardOutputFile(QProcess::nullDevice());
            m_process.setStandardErrorFile(QProcess::nullDevice());
            break;
        }
        m_patience.setSingleShot(true);
        m_patience.setInterval(patienceMilliseconds);
        connect(&m_patience, &QTimer::timeout, &m_process, &QProcess::kill);
    }

    /// The same, with a word on what has come of it.
    void tryOut(const std::function<void(const QString &fault)> &done)
    {
        if (m_process.program().isEmpty()) {
            done(tr("На этом компьютере не найдена программа для воспроизведения звука: pw-play, "
                    "paplay или aplay."));
            return;
        }
        m_process.setStandardErrorFile(QString());
        connect(&m_process, &QProcess::errorOccurred, this, [this, done] {
            // One that was started is told about when it has finished.
            if (m_process.error() == QProcess::FailedToStart)
                done(playerFault());
        });
        connect(&m_process, &QProcess::finished, this, [this, done](int code) {
            done(code == 0 && m_process.exitStatus() == QProcess::NormalExit ? QString()
                                                                             : playerFault());
        });
        play();
    }

    void play()
    {
        // The same tone is still to be heard: a second one on top of it would say no more.
        if (m_process.program().isEmpty() || m_process.state() != QProcess::NotRunning)
            return;
        m_process.start();
        m_patience.start();
    }

private:
    QString playerFault()
    {
        const QString words = QString::fromLocal8Bit(m_process.readAllStandardError()).simplified();
        return tr("Программа %1 не смогла воспроизвести звук: %2")
            .arg(m_process.program(), words.isEmpty() ? m_process.errorString() : words);
    }

    std::unique_ptr<QTemporaryFile> m_file;
    QProcess m_process;
    QTimer m_patience;
};

QString fileOf(Sound sound)
{
    return sound == Sound::Found ? QStringLiteral(":/sounds/found.wav")
                                 : QStringLiteral(":/sounds/notfound.wav");
}

void playThroughPlayer(Sound sound)
{
    // Made at the first use, gone with the application.
    static QPointer<Player> found;
    static QPointer<Player> notFound;
    QPointer<Player> &player = sound == Sound::Found ? found : notFound;
    if (!player)
        player = new Player(fileOf(sound), QCoreApplication::instance());
    player->play();
}

SoundHandler &currentHandler()
{
    static SoundHandler handler = playThroughPlayer;
    return handler;
}

} // namespace

void playSound(Sound sound)
{
    if (Settings::instance().value(SettingsKey::Sounds) == QStringLiteral("0"))
        return;
    if (currentHandler())
        currentHandler()(sound);
}

SoundHandler setSoundHandler(SoundHandler handler)
{
    return std::exchange(currentHandler(), std::move(handler));
}

void tryOutSound(Sound sound, QObject *context,
                 const std::function<void(const QString &fault)> &done)
{
    (new Player(fileOf(sound), context))->tryOut(done);
}
