#pragma once

#include <QString>

#include <functional>

class QObject;

/// What a person at a scanner hears: two tones that are told apart without looking.
enum class Sound { Found, NotFound };

/// Plays a sound; nothing when sounds are switched off in the settings. Never waits.
void playSound(Sound sound);

/// Plays sounds that are switched on.
using SoundHandler = std::function<void(Sound sound)>;

/// Replaces the way sounds are played and returns the former one. At start it is the first player
/// of the desktop's sound servers that is installed; without one it stays silent.
SoundHandler setSoundHandler(SoundHandler handler);

/// Plays a sound to try it out, whatever the settings say, and gives the reason why it could not be
/// played, a sentence for the user, or an empty text. The end of the context ends it without a
/// word.
void tryOutSound(Sound sound, QObject *context,
                 const std::function<void(const QString &fault)> &done);
