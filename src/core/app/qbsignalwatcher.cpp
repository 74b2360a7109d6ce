// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsignalwatcher.h"

#include "base/qblogging.h"

#include <QSocketNotifier>

#include <iterator>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace {

#ifdef Q_OS_UNIX
const int watchedSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGPIPE};
int g_pipe[2] = {-1, -1};
struct sigaction g_previous[std::size(watchedSignals)];

void handleSignal(int signal)
{
    const int savedErrno = errno;
    const unsigned char number = static_cast<unsigned char>(signal);
    // Non-blocking: a flood of signals never stalls the handler.
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[1], &number, 1);
    errno = savedErrno;
}
#endif

}

QBSignalWatcher::QBSignalWatcher(BrokenPipe brokenPipe, QObject *parent)
    : QObject(parent)
{
#ifdef Q_OS_UNIX
    if (g_pipe[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_pipe) != 0) {
        qCWarning(lcApp) << "Signals are not watched";
        return;
    }
    for (const int fd : g_pipe)
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    m_notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &QBSignalWatcher::readSignals);
    struct sigaction action = {};
    action.sa_handler = handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    // SIGPIPE is last in the list.
    m_signalCount = int(std::size(watchedSignals)) - (brokenPipe == WatchBrokenPipe ? 0 : 1);
    for (int i = 0; i < m_signalCount; ++i)
        ::sigaction(watchedSignals[i], &action, &g_previous[i]);
#else
    Q_UNUSED(brokenPipe);
#endif
}

QBSignalWatcher::~QBSignalWatcher()
{
#ifdef Q_OS_UNIX
    if (!m_notifier)
        return;
    for (int i = 0; i < m_signalCount; ++i)
        ::sigaction(watchedSignals[i], &g_previous[i], nullptr);
    delete m_notifier;
    for (int &fd : g_pipe) {
        ::close(fd);
        fd = -1;
    }
#endif
}

void QBSignalWatcher::readSignals()
{
#ifdef Q_OS_UNIX
    unsigned char numbers[16];
    ssize_t count;
    while ((count = ::read(g_pipe[0], numbers, sizeof numbers)) > 0) {
        for (ssize_t i = 0; i < count; ++i) {
            qCInfo(lcApp) << "Ended by signal" << int(numbers[i]);
            emit signalReceived(numbers[i]);
        }
    }
#endif
}
