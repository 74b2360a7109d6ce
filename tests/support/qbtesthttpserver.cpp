// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtesthttpserver.h"

#include <QTcpSocket>
#include <QTimer>

QBTestHttpServer::QBTestHttpServer(QObject *parent)
    : QObject(parent)
{
    m_server.listen(QHostAddress::LocalHost);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequest(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

QString QBTestHttpServer::url() const
{
    if (!m_server.isListening())
        return QString();
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void QBTestHttpServer::setRoute(const QString &path, const QByteArray &body, Mode mode)
{
    m_routes.insert(path, {body, mode});
}

void QBTestHttpServer::release()
{
    const auto held = std::exchange(m_held, {});
    for (const auto &[socket, path] : held) {
        if (socket)
            answer(socket, path);
    }
}

// Only the request line matters; the rest of the head is read and dropped.
void QBTestHttpServer::readRequest(QTcpSocket *socket)
{
    QByteArray head = socket->property("head").toByteArray() + socket->readAll();
    socket->setProperty("head", head);
    if (!head.contains("\r\n\r\n") || socket->property("answered").toBool())
        return;
    socket->setProperty("answered", true);
    const QList<QByteArray> requestLine = head.left(head.indexOf("\r\n")).split(' ');
    const QString path = requestLine.size() >= 2 ? QString::fromUtf8(requestLine.at(1)) : QString();
    m_requests << path;
    if (m_routes.value(path).mode == Mode::Held)
        m_held.append({socket, path});
    else if (m_answerDelay > 0)
        QTimer::singleShot(m_answerDelay, socket, [this, socket, path] { answer(socket, path); });
    else
        answer(socket, path);
}

void QBTestHttpServer::answer(QTcpSocket *socket, const QString &path)
{
    const auto found = m_routes.constFind(path);
    Route route = found == m_routes.cend() ? Route{QByteArray(), Mode::NotFound} : *found;
    if (route.mode == Mode::NotFound) {
        route.body = "<html><body>Not here</body></html>";
        socket->write("HTTP/1.1 404 Not Found\r\nContent-Type: text/html\r\nConnection: close\r\nContent-Length: "
                      + QByteArray::number(route.body.size()) + "\r\n\r\n" + route.body);
        socket->disconnectFromHost();
        return;
    }
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n"
                  "Content-Length: " + QByteArray::number(route.body.size()) + "\r\n\r\n");
    switch (route.mode) {
    case Mode::CloseMidBody:
        socket->write(route.body.left(route.body.size() / 2));
        socket->flush();
        socket->abort();
        return;
    case Mode::Slow:
        sendSlowly(socket, route.body, 0);
        return;
    default:
        socket->write(route.body);
        socket->disconnectFromHost();
        return;
    }
}

void QBTestHttpServer::sendSlowly(QTcpSocket *socket, const QByteArray &body, qsizetype offset)
{
    const qsizetype piece = qMax<qsizetype>(1, body.size() / 8);
    socket->write(body.mid(offset, piece));
    if (offset + piece >= body.size()) {
        socket->disconnectFromHost();
        return;
    }
    QTimer::singleShot(20, socket, [this, socket, body, offset, piece] { sendSlowly(socket, body, offset + piece); });
}
