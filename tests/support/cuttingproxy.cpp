#include "tests/support/cuttingproxy.h"

#include <QDebug>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <list>

namespace {

sockaddr_in loopback(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

const sockaddr *asSockaddr(const sockaddr_in &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

constexpr int pollMs = 20;

} // namespace

CuttingProxy::CuttingProxy(quint16 serverPort)
    : m_serverPort(serverPort),
      m_listener(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(m_listener, asSockaddr(address), sizeof address) != 0 || listen(m_listener, 16) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        qFatal("the proxy cannot listen");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { run(); });
}

CuttingProxy::~CuttingProxy()
{
    m_stop = true;
    m_thread.join();
    close(m_listener);
}

quint16 CuttingProxy::port() const
{
    return m_port;
}

void CuttingProxy::cutNext(Cut cut, const QByteArray &text, bool refuseAfterwards,
                           qsizetype leastSize)
{
    m_leastSize = leastSize;
    m_hasCut = false;
    m_refuseAfterwards = refuseAfterwards;
    m_text = text;
    m_cut = cut;
}

void CuttingProxy::setRefusing(bool refusing)
{
    m_refusing = refusing;
}

bool CuttingProxy::hasCut() const
{
    return m_hasCut;
}

void CuttingProxy::run()
{
    std::list<std::thread> sessions;
    while (!m_stop) {
        pollfd waiting{m_listener, POLLIN, 0};
        if (poll(&waiting, 1, pollMs) <= 0)
            continue;
        const int client = accept(m_listener, nullptr, nullptr);
        if (client >= 0 && m_refusing)
            close(client);
        else if (client >= 0)
            sessions.emplace_back([this, client] { serve(client); });
    }
    for (std::thread &session : sessions)
        session.join();
}

void CuttingProxy::serve(int client)
{
    const int server = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(m_serverPort);
    bool open = connect(server, asSockaddr(address), sizeof address) == 0;
    while (open && !m_stop) {
        pollfd both[2] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (poll(both, 2, pollMs) <= 0)
            continue;
        if (both[0].revents)
            open = forward(client, server, true, server);
        if (open && both[1].revents)
            open = forward(server, client, false, server);
    }
    close(server);
    close(client);
}

bool CuttingProxy::forward(int from, int to, bool fromClient, int server)
{
    char buffer[65536];
    const ssize_t size = read(from, buffer, sizeof buffer);
    if (size <= 0)
        return false;
    const bool meant = fromClient && m_cut.load() != Cut::None && size >= m_leastSize &&
                       QByteArrayView(buffer, size).contains(m_text);
    const Cut cut = meant ? m_cut.exchange(Cut::None) : Cut::None;
    if (cut != Cut::None && m_refuseAfterwards)
        m_refusing = true;
    if (cut == Cut::Request) {
        m_hasCut = true;
        return false;
    }
    if (cut == Cut::Deadlock) {
        // Of the same length: it stands in the header of the packet.
        const qsizetype start = QByteArrayView(buffer, size).indexOf(m_text);
        const QByteArray signal =
            QByteArray("SIGNAL SQLSTATE '40001' SET MYSQL_ERRNO=1213").leftJustified(size - start);
        if (signal.size() != size - start)
            qFatal("The statement is too short to be replaced");
        memcpy(buffer + start, signal.constData(), size_t(signal.size()));
        m_hasCut = true;
    }
    for (ssize_t done = 0; done < size;) {
        const ssize_t written = write(to, buffer + done, size_t(size - done));
        if (written <= 0)
            return false;
        done += written;
    }
    if (cut == Cut::Answer) {
        // The answer proves that the server is done; it goes no further.
        const ssize_t answer = read(server, buffer, sizeof buffer);
        m_hasCut = answer > 0;
        return false;
    }
    return true;
}
