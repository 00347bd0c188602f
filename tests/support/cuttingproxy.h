#pragma once

#include <QtGlobal>

#include <atomic>
#include <thread>

/// Stands between the program and a database server on loopback, in a thread of its own, and cuts
/// the connection at a COMMIT.
class CuttingProxy
{
public:
    enum class Cut {
        None,
        BeforeCommit, ///< the server never hears of it
        AfterCommit,  ///< the server has done it, the program never hears the answer
    };

    explicit CuttingProxy(quint16 serverPort);
    ~CuttingProxy();
    CuttingProxy(const CuttingProxy &) = delete;
    CuttingProxy &operator=(const CuttingProxy &) = delete;

    /// Where the program connects to on 127.0.0.1.
    quint16 port() const;

    /// Cuts the next COMMIT that passes, once.
    void cutNext(Cut cut);

    /// Whether a cut was made.
    bool hasCut() const;

private:
    void run();
    void serve(int client) const;
    bool forward(int from, int to, bool fromClient, int server) const;

    quint16 m_serverPort;
    quint16 m_port = 0;
    int m_listener = -1;
    mutable std::atomic<Cut> m_cut = Cut::None;
    mutable std::atomic<bool> m_hasCut = false;
    std::atomic<bool> m_stop = false;
    std::thread m_thread;
};
