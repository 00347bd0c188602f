#pragma once

class QObject;

/// Connects the slots of a receiver that are named "on_<object>_<signal>" or "On_…" with the
/// objects of these names below an owner, as forms do for their own class. A slot whose object or
/// signal is not there is a mistake of the program and told on the debug channel.
void connectSlots(QObject *receiver, const QObject *owner);
