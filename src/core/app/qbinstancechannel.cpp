// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbinstancechannel.h"

#include "base/qblogging.h"
#include "base/qbsettings.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {

// One line of JSON each way: the paths, then the answer.
const QByteArray taken = "taken\n";
constexpr qsizetype largestMessage = 1024 * 1024;

}

QBInstanceChannel::QBInstanceChannel(const QString &name, QObject *parent)
    : QObject(parent)
    , m_name(name)
{
}

QString QBInstanceChannel::defaultName()
{
    const QByteArray settings = QBSettings::fileName().toUtf8();
    const QString tag = QString::fromLatin1(QCryptographicHash::hash(settings, QCryptographicHash::Sha1).toHex().left(12));
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    const QString name = QStringLiteral("palomet-") + tag;
    return runtime.isEmpty() ? name : runtime + u'/' + name;
}

bool QBInstanceChannel::forward(const QStringList &paths, int timeoutMs) const
{
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(QJsonDocument(QJsonArray::fromStringList(paths)).toJson(QJsonDocument::Compact) + '\n');
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
    }
    return socket.readLine() == taken;
}

bool QBInstanceChannel::listen()
{
    if (m_server)
        return m_server->isListening();
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_name)) {
        // Nobody answered forward(), so what is there is left over.
        QLocalServer::removeServer(m_name);
        if (!m_server->listen(m_name)) {
            qCWarning(lcApp).noquote() << "Later launches cannot reach this one:" << m_server->errorString();
            return false;
        }
    }
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] { read(socket); });
        }
    });
    return true;
}

void QBInstanceChannel::read(QLocalSocket *socket)
{
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > largestMessage)
            socket->abort();
        return;
    }
    const QJsonDocument message = QJsonDocument::fromJson(socket->readLine());
    if (!message.isArray()) {
        socket->abort();
        return;
    }
    QStringList paths;
    for (const QJsonValue &path : message.array())
        paths << path.toString();
    socket->write(taken);
    socket->flush();
    socket->disconnectFromServer();
    emit launched(paths);
}
