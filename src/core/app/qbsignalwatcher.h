// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into a signal on the event loop, for as
// long as it lives (one at a time); for a headless run also SIGPIPE, so that
// a reader of its output that goes away ends it as the other signals do,
// with its tools, instead of killing it with its tools left running. The handler only writes the signal's
// number to a socket pair, which is all a handler may safely do; the rest
// happens on the event loop.
class QBSignalWatcher : public QObject
{
    Q_OBJECT

public:
    enum BrokenPipe { IgnoreBrokenPipe, WatchBrokenPipe };

    explicit QBSignalWatcher(BrokenPipe brokenPipe = IgnoreBrokenPipe, QObject *parent = nullptr);
    ~QBSignalWatcher() override;

signals:
    void signalReceived(int signal);

private:
    void readSignals();

    QSocketNotifier *m_notifier = nullptr;
    int m_signalCount = 0;
};
