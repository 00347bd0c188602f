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

    void play()
    {
        // The same tone is still to be heard: a second one on top of it would say no more.
        if (m_process.program().isEmpty() || m_process.state() != QProcess::NotRunning)
            return;
        m_process.start();
        m_patience.start();
    }

private:
    std::unique_ptr<QTemporaryFile> m_file;
    QProcess m_process;
    QTimer m_patience;
};

void playThroughPlayer(Sound sound)
{
    // Made at the first use, gone with the application.
    static QPointer<Player> found;
    static QPointer<Player> notFound;
    QPointer<Player> &player = sound == Sound::Found ? found : notFound;
    if (!player)
        player = new Player(sound == Sound::Found ? QStringLiteral(":/sounds/found.wav")
                                                  : QStringLiteral(":/sounds/notfound.wav"),
                            QCoreApplication::instance());
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
