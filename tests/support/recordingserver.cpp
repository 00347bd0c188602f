#include "tests/support/recordingserver.h"

#include <memory>

RecordingServer::RecordingServer()
{
    connect(this, &QTcpServer::newConnection, this, &RecordingServer::serve);
    if (!listen(QHostAddress::LocalHost))
        qFatal("The recording server cannot listen");
    reply(answer("200 OK"));
}

void RecordingServer::reply(const QByteArray &bytes)
{
    onRequest = [bytes](QTcpSocket *socket, const QByteArray &) {
        socket->write(bytes);
    };
}

QByteArray RecordingServer::answer(const QByteArray &status, const QByteArray &body,
                                   const QByteArray &headers)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\n" + headers + "\r\n" + body;
}

QByteArray RecordingServer::header(const QByteArray &request, const QByteArray &name)
{
    const qsizetype end = request.indexOf("\r\n\r\n");
    const QByteArrayList lines = request.left(end).split('\n');
    for (const QByteArray &line : lines) {
        if (line.toLower().startsWith(name.toLower() + ':'))
            return line.mid(name.size() + 1).trimmed();
    }
    return {};
}

void RecordingServer::serve()
{
    QTcpSocket *socket = nextPendingConnection();
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto received = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, received] {
        *received += socket->readAll();
        for (;;) {
            const qsizetype headEnd = received->indexOf("\r\n\r\n");
            if (headEnd < 0)
                return;
            const qsizetype length = headEnd + 4 + header(*received, "Content-Length").toLongLong();
            if (received->size() < length)
                return;
            const QByteArray request = received->left(length);
            received->remove(0, length);
            requests += request;
            onRequest(socket, request);
        }
    });
}
