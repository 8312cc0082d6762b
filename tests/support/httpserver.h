#pragma once

#include <QByteArrayList>
#include <QHash>
#include <QString>

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
class HttpServer
{
public:
    explicit HttpServer(QHash<QByteArray, HttpAnswer> answers);
    /// Closes every connection and ends the thread.
    ~HttpServer();

    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// "http://127.0.0.1:port" and the path.
    QString address(const QString &path) const;
    /// The requests so far, with their headers.
    QByteArrayList requests() const;
    /// How many connections are open.
    int connections() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};
