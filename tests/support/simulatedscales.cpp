#include "tests/support/simulatedscales.h"

#include "scales/scales.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds patientPause = 400ms;

} // namespace

SimulatedScales::SimulatedScales(const QList<QByteArray> &answers)
    : m_formerPause(scales::setPause(patientPause))
{
    m_master = posix_openpt(O_RDWR | O_NOCTTY);
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0 || pipe(m_stop) != 0)
        qFatal("no pseudo-terminal to be had");
    m_port = QString::fromLocal8Bit(ptsname(m_master));
    m_thread = std::thread([this, answers] { serve(answers); });
}

SimulatedScales::~SimulatedScales()
{
    heard();
    close(m_stop[0]);
    close(m_master);
    scales::setPause(m_formerPause);
}

QString SimulatedScales::port() const
{
    return m_port;
}

QByteArray SimulatedScales::heard()
{
    if (m_thread.joinable()) {
        close(std::exchange(m_stop[1], -1));
        m_thread.join();
    }
    return m_heard;
}

QByteArray SimulatedScales::packet(char sign, const QByteArray &weight)
{
    return QByteArray("\x01\x02S", 3) + sign + weight + "kg\r\n\x04";
}

void SimulatedScales::serve(QList<QByteArray> answers)
{
    // While nobody has the other end open, reading this one fails.
    const int slave = open(qPrintable(m_port), O_RDWR | O_NOCTTY);
    termios raw{};
    tcgetattr(slave, &raw);
    cfmakeraw(&raw);
    tcsetattr(slave, TCSANOW, &raw);
    pollfd ends[] = {{m_master, POLLIN, 0}, {m_stop[0], POLLIN, 0}};
    while (poll(ends, 2, -1) > 0 && ends[1].revents == 0) {
        char byte = 0;
        if (read(m_master, &byte, 1) != 1)
            break;
        m_heard += byte;
        const QByteArray answer = answers.isEmpty() ? QByteArray() : answers.takeFirst();
        for (const char c : answer) {
            if (write(m_master, &c, 1) != 1)
                break;
        }
    }
    close(slave);
}
