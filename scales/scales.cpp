#include "scales/scales.h"

#include "app/messages.h"
#include "app/settings.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSerialPort>
#include <QSerialPortInfo>

#include <utility>

namespace scales {

namespace {

using namespace std::chrono_literals;

struct ScalesText
{
    Q_DECLARE_TR_FUNCTIONS(ScalesText)
};

std::chrono::milliseconds pauseForAnswer = 100ms;

/// Sends one byte and collects what arrives in the pause behind it, to its end: an answer that is
/// too long must not pass for the right one.
QByteArray answerTo(char byte, QSerialPort &port)
{
    port.write(&byte, 1);
    port.waitForBytesWritten(int(pauseForAnswer.count()));
    QDeadlineTimer pause(pauseForAnswer);
    while (!pause.hasExpired()) {
        if (!port.waitForReadyRead(int(pause.remainingTime())) &&
            port.error() != QSerialPort::TimeoutError)
            break; // the device is gone
    }
    return port.readAll();
}

QString openingReason(const QSerialPort &port)
{
    switch (port.error()) {
    case QSerialPort::DeviceNotFoundError:
        return ScalesText::tr("Порта с таким именем на этом компьютере нет. Проверьте подключение "
                              "весов и имя порта в настройках.");
    case QSerialPort::PermissionError:
        return ScalesText::tr("Порт занят другой программой, или у пользователя нет прав на него "
                              "(обычно их даёт группа dialout).");
    default:
        return ScalesText::tr("Это не последовательный порт: %1").arg(port.errorString());
    }
}

} // namespace

QList<FoundPort> foundPorts()
{
    QList<FoundPort> ports;
    const QList<QSerialPortInfo> available = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : available)
        ports += {.name = info.portName(), .description = info.description()};
    return ports;
}

bool areConfigured()
{
    return !Settings::instance().value(SettingsKey::ScalesType).isEmpty();
}

Reading weigh(const QString &portName)
{
    QSerialPort port(portName); // its destructor closes it
    port.setBaudRate(QSerialPort::Baud9600);
    port.setDataBits(QSerialPort::Data8);
    port.setStopBits(QSerialPort::OneStop);
    port.setParity(QSerialPort::NoParity);
    port.setFlowControl(QSerialPort::NoFlowControl);
    // It refuses QIODevice::Unbuffered; what was there before the question is thrown away instead.
    if (!port.open(QIODevice::ReadWrite))
        return {.fault = ScalesText::tr("Serial port %1 opening failed.").arg(portName),
                .reason = openingReason(port)};
    port.clear();
    const QString fault = acknowledgeFault(answerTo(enquiry, port));
    if (!fault.isEmpty())
        return {.fault = fault};
    return readPacket(answerTo(sendWeight, port));
}

std::optional<double> readWeight(QWidget *parent)
{
    const Reading reading = weigh(Settings::instance().value(SettingsKey::ScalesPort));
    if (reading.weight)
        return reading.weight;
    if (reading.reason.isEmpty())
        showWarning(parent, reading.fault);
    else
        showFailure(parent, reading.fault, reading.reason);
    return std::nullopt;
}

std::chrono::milliseconds setPause(std::chrono::milliseconds pause)
{
    return std::exchange(pauseForAnswer, pause);
}

} // namespace scales
