#pragma once

#include <functional>

/// What a person at a scanner hears: two tones that are told apart without looking.
enum class Sound { Found, NotFound };

/// Plays a sound; nothing when sounds are switched off in the settings. Never waits.
void playSound(Sound sound);

/// Plays sounds that are switched on.
using SoundHandler = std::function<void(Sound sound)>;

/// Replaces the way sounds are played and returns the former one. At start it is the first player
/// of the desktop's sound servers that is installed; without one it stays silent.
SoundHandler setSoundHandler(SoundHandler handler);
