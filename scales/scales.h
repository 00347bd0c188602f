#pragma once

#include <QList>
#include <QString>

#include <chrono>
#include <optional>

#include "scales/scalesframe.h"

class QWidget;

namespace scales {

/// A serial port of this computer.
struct FoundPort
{
    QString name;        ///< as the settings keep it
    QString description; ///< of the device behind it; may be empty
};

QList<FoundPort> foundPorts();

/// Whether the settings say that there are scales.
bool areConfigured();

/// Asks the scales on a port for the weight, once; blocks for up to two pauses. Nobody is told.
Reading weigh(const QString &portName);

/// The weight on the scales of the settings; nothing after a warning over the parent.
std::optional<double> readWeight(QWidget *parent);

/// How long an answer of the scales is awaited (100 ms); returns the former time. For tests on busy
/// machines.
std::chrono::milliseconds setPause(std::chrono::milliseconds pause);

} // namespace scales
