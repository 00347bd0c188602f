#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

/// An HTTP server on 127.0.0.1 that keeps the requests as they came and answers each as the test
/// says.
class RecordingServer : public QTcpServer
{
public:
    RecordingServer();

    /// Answers one request; the socket stays open unless it closes it.
    using Answer = std::function<void(QTcpSocket *socket, const QByteArray &request)>;
    Answer onRequest;

    /// Answers every request with the same bytes.
    void reply(const QByteArray &bytes);

    /// The whole of an answer with this status line and body.
    static QByteArray answer(const QByteArray &status, const QByteArray &body = {},
                             const QByteArray &headers = {});

    /// Requests with their bodies, in the order in which they came.
    QByteArrayList requests;

    /// The value of a header of a request; empty when there is none.
    static QByteArray header(const QByteArray &request, const QByteArray &name);

private:
    void serve();
};
