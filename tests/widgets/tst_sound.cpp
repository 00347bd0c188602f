#include "widgets/sound.h"

#include "app/settings.h"
#include "tests/support/files.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

class TestSound : public QObject
{
    Q_OBJECT

private slots:
    void settingSwitchesSoundsOff()
    {
        Settings::instance().reset();
        QList<Sound> played;
        SoundHandler former = setSoundHandler([&](Sound sound) { played += sound; });
        playSound(Sound::Found);
        Settings::instance().setValue(SettingsKey::Sounds, "0");
        playSound(Sound::Found);
        Settings::instance().setValue(SettingsKey::Sounds, "1");
        playSound(Sound::NotFound);
        setSoundHandler(std::move(former));
        QCOMPARE(played, QList<Sound>({Sound::Found, Sound::NotFound}));
    }

    void tonesGoToAPlayer()
    {
        // A player of our own, which keeps what it is told to play under the size of the tone.
        QTemporaryDir directory;
        const QString player = directory.filePath("pw-play");
        writeFile(player,
                  "#!/bin/sh\n"
                  "cp \"$1\" \"$0.copy.$$\" && mv \"$0.copy.$$\" \"$0.$(stat -c %s \"$1\")\"\n");
        QVERIFY(QFile::setPermissions(player, QFile::ReadOwner | QFile::ExeOwner));
        const QByteArray formerPath = qgetenv("PATH");
        qputenv("PATH", directory.path().toLocal8Bit() + ":/usr/bin:/bin");
        playSound(Sound::Found);
        playSound(Sound::NotFound);
        qputenv("PATH", formerPath);

        const auto tones = [&] {
            return QDir(directory.path()).entryInfoList({"pw-play.[0-9]*"}, QDir::Files);
        };
        QTRY_COMPARE(tones().size(), 2);
        for (const QFileInfo &tone : tones())
            QVERIFY(readFile(tone.filePath()).startsWith("RIFF"));
    }

    void trial_tellsWhyNothingIsHeard()
    {
        QTemporaryDir directory;
        const QByteArray formerPath = qgetenv("PATH");
        qputenv("PATH", directory.path().toLocal8Bit());
        QStringList faults;
        const auto note = [&faults](const QString &fault) {
            faults += fault;
        };
        Settings::instance().setValue(SettingsKey::Sounds, "0"); // which does not matter here
        tryOutSound(Sound::Found, this, note);
        QCOMPARE(faults.size(), 1);
        QVERIFY(faults.last().contains("не найдена программа"));

        const QString player = directory.filePath("paplay");
        for (const QByteArray &end : {QByteArray("echo 'no server' >&2; exit 1"), QByteArray()}) {
            writeFile(player, "#!/bin/sh\n" + end);
            QVERIFY(QFile::setPermissions(player, QFile::ReadOwner | QFile::ExeOwner));
            tryOutSound(Sound::NotFound, this, note);
            const qsizetype expected = end.isEmpty() ? 3 : 2;
            QTRY_COMPARE(faults.size(), expected);
        }
        qputenv("PATH", formerPath);
        QVERIFY(faults.at(1).endsWith("no server"));
        QCOMPARE(faults.at(2), QString());
    }
};

QTEST_GUILESS_MAIN(TestSound)
#include "tst_sound.moc"
