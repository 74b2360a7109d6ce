// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtesthttpserver.h"
#include "qbtestfiles.h"

#include <QProcess>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTimer>

namespace {

// One key and certificate per test process, trusted by its TLS default.
QSslConfiguration serverConfiguration()
{
    static const QSslConfiguration configuration = [] {
        QSslConfiguration server = QSslConfiguration::defaultConfiguration();
        QTemporaryDir dir;
        QProcess openssl;
        const QString args = QStringLiteral("req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
                                            "-subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 -keyout %1 -out %2");
        openssl.start(QStringLiteral("openssl"),
                      args.split(u' ').replaceInStrings(QStringLiteral("%1"), dir.filePath(QStringLiteral("key.pem")))
                              .replaceInStrings(QStringLiteral("%2"), dir.filePath(QStringLiteral("cert.pem"))));
        if (!openssl.waitForFinished(30000) || openssl.exitCode() != 0) {
            qWarning("openssl could not make a certificate: %s", openssl.readAllStandardError().constData());
            return server;
        }
        server.setPrivateKey(QSslKey(QBTestFiles::read(dir.filePath(QStringLiteral("key.pem"))), QSsl::Ec));
        server.setLocalCertificate(QSslCertificate(QBTestFiles::read(dir.filePath(QStringLiteral("cert.pem")))));
        QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
        trusting.addCaCertificate(server.localCertificate());
        QSslConfiguration::setDefaultConfiguration(trusting);
        return server;
    }();
    return configuration;
}

}

QBTestHttpServer::QBTestHttpServer(Scheme scheme, QObject *parent)
    : QObject(parent)
    , m_scheme(scheme)
{
    if (scheme == Scheme::Https) {
        auto *server = new QSslServer;
        server->setSslConfiguration(serverConfiguration());
        m_server.reset(server);
    } else {
        m_server = std::make_unique<QTcpServer>();
    }
    m_server->listen(QHostAddress::LocalHost);
    // Over TLS, a connection is pending once its handshake is done.
    connect(m_server.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *socket = m_server->nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequest(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            if (socket->bytesAvailable() > 0)
                readRequest(socket);
        }
    });
}

QString QBTestHttpServer::url() const
{
    if (!m_server->isListening())
        return QString();
    return QStringLiteral("%1://127.0.0.1:%2")
            .arg(m_scheme == Scheme::Https ? QStringLiteral("https") : QStringLiteral("http"))
            .arg(m_server->serverPort());
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
    if (route.mode == Mode::Endless || route.mode == Mode::Oversized) {
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n"
                      + QByteArray(route.mode == Mode::Oversized ? "Content-Length: 1073741824\r\n" : "")
                      + "\r\n");
        sendEndlessly(socket);
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

// A new piece whenever the last has gone out to the system, until the
// client leaves.
void QBTestHttpServer::sendEndlessly(QTcpSocket *socket)
{
    static const QByteArray piece(256 << 10, '\0');
    const auto flushed = [socket] {
        const auto *tls = qobject_cast<QSslSocket *>(socket);
        return socket->bytesToWrite() == 0 && (!tls || tls->encryptedBytesToWrite() == 0);
    };
    const auto next = [socket, flushed] {
        if (flushed())
            socket->write(piece);
    };
    connect(socket, &QTcpSocket::bytesWritten, socket, next);
    if (auto *tls = qobject_cast<QSslSocket *>(socket))
        connect(tls, &QSslSocket::encryptedBytesWritten, socket, next);
    socket->write(piece);
}
