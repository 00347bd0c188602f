#pragma once

#include <QByteArray>

#include <atomic>
#include <thread>

/// Stands between the program and a database server on loopback, in a thread of its own, and cuts
/// the connection at a chosen statement or spoils it.
class CuttingProxy
{
public:
    enum class Cut {
        None,
        Request,  ///< the server never hears of it
        Answer,   ///< the server has done it, the program never hears the answer
        Deadlock, ///< nothing is cut: MariaDB gets a statement in its place that ends as a deadlock
    };

    explicit CuttingProxy(quint16 serverPort);
    ~CuttingProxy();
    CuttingProxy(const CuttingProxy &) = delete;
    CuttingProxy &operator=(const CuttingProxy &) = delete;

    /// Where the program connects to on 127.0.0.1.
    quint16 port() const;

    /// Cuts the next statement that passes with this text in it, once; an empty text is in any,
    /// even in an encrypted one. A ping is smaller than 100 bytes. After that new connections are
    /// let through, or refused as by a server that is gone.
    void cutNext(Cut cut, const QByteArray &text = "COMMIT", bool refuseAfterwards = false,
                 qsizetype leastSize = 0);

    /// Hangs up on new connections, or lets them through again.
    void setRefusing(bool refusing);

    /// Whether a cut was made.
    bool hasCut() const;

private:
    void run();
    void serve(int client);
    bool forward(int from, int to, bool fromClient, int server);

    quint16 m_serverPort;
    quint16 m_port = 0;
    int m_listener = -1;
    QByteArray m_text;         ///< read by the sessions only after m_cut was set
    qsizetype m_leastSize = 0; ///< likewise
    std::atomic<Cut> m_cut = Cut::None;
    std::atomic<bool> m_hasCut = false;
    std::atomic<bool> m_refuseAfterwards = false;
    std::atomic<bool> m_refusing = false;
    std::atomic<bool> m_stop = false;
    std::thread m_thread;
};
