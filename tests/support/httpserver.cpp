#include "httpserver.h"

#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <atomic>

class HttpServer::Private : public QTcpServer
{
public:
    explicit Private(QHash<QByteArray, HttpAnswer> scripted)
        : answers(std::move(scripted))
    {
        connect(this, &QTcpServer::newConnection, this, &Private::serve);
    }

    void serve()
    {
        QTcpSocket *socket = nextPendingConnection();
        ++connections;
        connect(socket, &QTcpSocket::disconnected, this, [this] { --connections; });
        auto request = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, request] {
            *request += socket->readAll();
            if (!request->endsWith("\r\n\r\n"))
                return;
            {
                const QMutexLocker locker(&mutex);
                requests += *request;
            }
            answer(socket, answers.value(request->split(' ').value(1),
                                         {"HTTP/1.1 404 Not Found\r\n\r\n", "Gone"}));
        });
    }

    /// Sends as fast as it is taken, since a body may be larger than memory.
    void answer(QTcpSocket *socket, const HttpAnswer &scripted)
    {
        socket->write(scripted.head);
        auto left = std::make_shared<qint64>(scripted.times);
        const auto goOn = [socket, scripted, left] {
            while (*left > 0 && socket->bytesToWrite() < 1024 * 1024) {
                socket->write(scripted.body);
                --*left;
            }
            if (*left == 0 && !scripted.stalls && socket->bytesToWrite() == 0)
                socket->disconnectFromHost();
        };
        connect(socket, &QTcpSocket::bytesWritten, this, goOn);
        goOn();
    }

    const QHash<QByteArray, HttpAnswer> answers;
    QThread thread;
    QMutex mutex;
    QByteArrayList requests;
    std::atomic<int> connections = 0;
};

HttpServer::HttpServer(QHash<QByteArray, HttpAnswer> answers)
    : d(std::make_unique<Private>(std::move(answers)))
{
    d->moveToThread(&d->thread);
    d->thread.start();
    QMetaObject::invokeMethod(
        d.get(), [this] { d->listen(QHostAddress::LocalHost); }, Qt::BlockingQueuedConnection);
}

HttpServer::~HttpServer()
{
    // The connections end in the thread they live in.
    QMetaObject::invokeMethod(
        d.get(),
        [this] {
            d->close();
            qDeleteAll(d->findChildren<QTcpSocket *>());
            d->moveToThread(nullptr);
        },
        Qt::BlockingQueuedConnection);
    d->thread.quit();
    d->thread.wait();
}

QString HttpServer::address(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(d->serverPort()).arg(path);
}

QByteArrayList HttpServer::requests() const
{
    const QMutexLocker locker(&d->mutex);
    return d->requests;
}

int HttpServer::connections() const
{
    return d->connections;
}
