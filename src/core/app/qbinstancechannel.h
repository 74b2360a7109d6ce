// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;
class QLocalSocket;

// Lets a later launch of the program hand its paths to the instance that
// already runs, as a desktop hands files to a running application, or
// ask it to come forward (no paths). One channel per user and settings
// file, so that a run with other settings stays apart.
class QBInstanceChannel : public QObject
{
    Q_OBJECT

public:
    explicit QBInstanceChannel(const QString &name = defaultName(), QObject *parent = nullptr);

    static QString defaultName();

    // Gives the paths to the running instance; true when it took them.
    bool forward(const QStringList &paths, int timeoutMs = 2000) const;
    // Takes later launches from now on; false when it cannot. A channel
    // left behind by a crashed instance is replaced.
    bool listen();

signals:
    void launched(const QStringList &paths);

private:
    void read(QLocalSocket *socket);

    QString m_name;
    QLocalServer *m_server = nullptr;
};
