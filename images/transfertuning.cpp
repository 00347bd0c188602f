#include "images/transfertuning.h"

#include <QDir>
#include <QList>

#include <malloc.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

/// glibc takes larger ones than these by itself, once it has seen such sizes come back.
constexpr int largestKeptBlock = 8 * 1024 * 1024;
constexpr int mostKept = 32 * 1024 * 1024;

/// The port at the other end of a descriptor; 0: it is no connected socket.
int peerPort(int descriptor)
{
    union {
        sockaddr any;
        sockaddr_in v4;
        sockaddr_in6 v6;
    } peer{};
    socklen_t size = sizeof peer;
    if (getpeername(descriptor, &peer.any, &size) != 0)
        return 0;
    switch (peer.any.sa_family) {
    case AF_INET:
        return ntohs(peer.v4.sin_port);
    case AF_INET6:
        return ntohs(peer.v6.sin6_port);
    default:
        return 0;
    }
}

/// The descriptors of the connections to a port. QNetworkAccessManager keeps its sockets, which it
/// has few settings for, in a thread of its own.
QList<int> connectionsTo(int port)
{
    QList<int> result;
    const QStringList names = QDir(QStringLiteral("/proc/self/fd")).entryList();
    for (const QString &name : names) {
        bool isNumber = false;
        const int descriptor = name.toInt(&isNumber);
        if (isNumber && peerPort(descriptor) == port)
            result += descriptor;
    }
    return result;
}

} // namespace

void keepPictureMemory()
{
    static const bool isKept = mallopt(M_MMAP_THRESHOLD, largestKeptBlock) != 0 &&
                               mallopt(M_TRIM_THRESHOLD, mostKept) != 0;
    Q_UNUSED(isKept)
}

void sendWithoutDelay(int port)
{
    const int on = 1;
    for (const int descriptor : connectionsTo(port))
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void cutFlooded(int port)
{
    constexpr int flood = 4 * 1024;
    for (const int descriptor : connectionsTo(port)) {
        int unread = 0;
        if (ioctl(descriptor, FIONREAD, &unread) == 0 && unread > flood)
            shutdown(descriptor, SHUT_RDWR);
    }
}
