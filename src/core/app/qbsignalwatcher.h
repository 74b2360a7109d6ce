// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a signal on the event loop, for as
// long as it lives (one at a time). The handler only writes the signal's
// number to a socket pair, which is all a handler may safely do; the rest
// happens on the event loop.
class QBSignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit QBSignalWatcher(QObject *parent = nullptr);
    ~QBSignalWatcher() override;

signals:
    void signalReceived(int signal);

private:
    void readSignals();

    QSocketNotifier *m_notifier = nullptr;
};
