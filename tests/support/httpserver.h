#pragma once

#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <atomic>
#include <memory>

/// What the server sends for a path, byte for byte.
struct HttpAnswer {
    QByteArray head; ///< status and header lines and the empty line, each with its CR LF
    QByteArray body = {};
    qint64 times = 1;    ///< how often the body is sent
    bool stalls = false; ///< then nothing more comes, and the connection stays open
};

/// A small HTTP server on the loopback address, in a thread of its own, that answers each path as
/// scripted and anything else with 404.
class HttpServer final : public QTcpServer
{
public:
    explicit HttpServer(QHash<QByteArray, HttpAnswer> answers)
        : m_answers(std::move(answers))
    {
        connect(this, &QTcpServer::newConnection, this, &HttpServer::serve);
        moveToThread(&m_thread);
        m_thread.start();
        inThread([this] { listen(QHostAddress::LocalHost); });
    }
    /// Closes every connection and ends the thread.
    ~HttpServer() override
    {
        inThread([this] { // which the connections live in
            close();
            qDeleteAll(findChildren<QTcpSocket *>());
            moveToThread(nullptr);
        });
        m_thread.quit();
        m_thread.wait();
    }

    /// "http://127.0.0.1:port" and the path.
    QString address(const QString &path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
    }
    /// The requests so far, with their headers.
    QByteArrayList requests() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_requests;
    }
    /// How many connections are open.
    int connections() const { return m_connections; }

private:
    template <typename Action>
    void inThread(Action action)
    {
        QMetaObject::invokeMethod(this, action, Qt::BlockingQueuedConnection);
    }
    void serve()
    {
        QTcpSocket *socket = nextPendingConnection();
        ++m_connections;
        connect(socket, &QTcpSocket::disconnected, this, [this] { --m_connections; });
        auto request = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, request] {
            *request += socket->readAll();
            if (!request->endsWith("\r\n\r\n"))
                return;
            QMutexLocker locker(&m_mutex);
            m_requests += *request;
            locker.unlock();
            answer(socket, m_answers.value(request->split(' ').value(1),
                                           {"HTTP/1.1 404 Not Found\r\n\r\n", "Gone"}));
        });
    }
    /// Sends as fast as it is taken, since a body may be larger than memory.
    void answer(QTcpSocket *socket, const HttpAnswer &scripted)
    {
        socket->write(scripted.head);
        const auto goOn = [socket, scripted, left = scripted.times]() mutable {
            for (; left > 0 && socket->bytesToWrite() < 1024 * 1024; --left)
                socket->write(scripted.body);
            if (left == 0 && !scripted.stalls && socket->bytesToWrite() == 0)
                socket->disconnectFromHost();
        };
        connect(socket, &QTcpSocket::bytesWritten, this, goOn);
        emit socket->bytesWritten(0);
    }

    const QHash<QByteArray, HttpAnswer> m_answers;
    QThread m_thread;
    mutable QMutex m_mutex;
    QByteArrayList m_requests;
    std::atomic<int> m_connections = 0;
};
