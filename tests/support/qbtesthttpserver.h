// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QHash>
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QTcpServer>

#include <memory>

class QTcpSocket;

// A small HTTP/1.1 server on the loopback interface for network tests. It
// answers GET requests from a table of paths, closes every connection after
// its answer, and can misbehave on purpose. Unknown paths get a 404.
//
// Over HTTPS it shows a certificate for 127.0.0.1 that it makes on first
// use (with openssl) and that the process's default TLS configuration is
// told to trust, as if a known authority had signed it.
class QBTestHttpServer : public QObject
{
    Q_OBJECT

public:
    enum class Mode {
        Normal,          // 200 with a Content-Length
        NotFound,        // 404 with a small HTML body
        CloseMidBody,    // announces the whole length, sends half, closes
        Slow,            // the body in small pieces, 20 ms apart
        Held,            // nothing until release(), then as Normal
        Endless,         // zeros without end and without a length
        Oversized,       // announces 1 GiB, then sends zeros without end
    };
    enum class Scheme { Http, Https };

    explicit QBTestHttpServer(Scheme scheme = Scheme::Http, QObject *parent = nullptr);

    // The server's root, "http(s)://127.0.0.1:PORT"; empty if it cannot
    // listen.
    QString url() const;
    void setRoute(const QString &path, const QByteArray &body, Mode mode = Mode::Normal);
    // Answers every held request.
    void release();
    // Every answer starts this long after its request has arrived.
    void setAnswerDelay(int milliseconds) { m_answerDelay = milliseconds; }
    // The paths asked for, in the order the requests arrived.
    QStringList requests() const { return m_requests; }

private:
    struct Route
    {
        QByteArray body;
        Mode mode = Mode::Normal;
    };

    void readRequest(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QString &path);
    void sendSlowly(QTcpSocket *socket, const QByteArray &body, qsizetype offset);
    void sendEndlessly(QTcpSocket *socket);

    std::unique_ptr<QTcpServer> m_server;
    Scheme m_scheme = Scheme::Http;
    QHash<QString, Route> m_routes;
    QStringList m_requests;
    QList<QPair<QPointer<QTcpSocket>, QString>> m_held;
    int m_answerDelay = 0;
};
