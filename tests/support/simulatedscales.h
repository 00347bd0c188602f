#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <chrono>
#include <thread>

/// Scales at the far end of a pseudo-terminal: they answer each byte that they get by the next of
/// their answers, byte by byte. A thread of their own, as who asks them waits.
class SimulatedScales
{
public:
    /// The pauses of those who ask become so long that a busy machine does no harm.
    explicit SimulatedScales(const QList<QByteArray> &answers);
    ~SimulatedScales();
    SimulatedScales(const SimulatedScales &) = delete;
    SimulatedScales &operator=(const SimulatedScales &) = delete;

    /// Their port, as the settings name it.
    QString port() const;

    /// What they were asked; they stop.
    QByteArray heard();

    /// A packet with a sign and six characters of weight in their places.
    static QByteArray packet(char sign, const QByteArray &weight);

private:
    void serve(QList<QByteArray> answers);

    int m_master = -1;
    int m_stop[2] = {-1, -1}; ///< a pipe; its end stops the thread
    QString m_port;
    QByteArray m_heard;
    std::chrono::milliseconds m_formerPause;
    std::thread m_thread;
};
