// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QList>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QString>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

// What the benchmarks share: timing, the figures they report, and a run
// that fails instead of hanging.
namespace QBBench {

// Timed runs in milliseconds.
struct Figures
{
    QList<double> ms;

    double quantile(double q) const
    {
        QList<double> sorted = ms;
        std::sort(sorted.begin(), sorted.end());
        return sorted.isEmpty() ? 0 : sorted.at(qMin(sorted.size() - 1, qsizetype(q * double(sorted.size()))));
    }
    double median() const { return quantile(0.5); }
    double worst() const { return ms.isEmpty() ? 0 : *std::max_element(ms.begin(), ms.end()); }
};

inline double elapsedMs(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

[[noreturn]] inline void fail(const QString &message)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(message));
    std::exit(1);
}

[[noreturn]] inline void fail(const char *message)
{
    fail(QString::fromUtf8(message));
}

// Runs the loop unless done already, failing the run when what it waits
// for takes longer than timeoutMs.
inline void waitFor(QEventLoop &loop, const bool &done, const char *what, int timeoutMs)
{
    if (done)
        return;
    QTimer watchdog;
    watchdog.setSingleShot(true);
    QObject::connect(&watchdog, &QTimer::timeout, &loop, [what, timeoutMs] {
        fail(QStringLiteral("%1 did not happen within %2 ms").arg(QLatin1String(what)).arg(timeoutMs));
    });
    watchdog.start(timeoutMs);
    loop.exec();
}

// Windows without a display, unless one is asked for; call before the
// application object.
inline void preferOffscreen()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

// The user's settings and caches left alone, the program's per-event
// logging off: call after the application object.
inline void enterTestMode()
{
    QStandardPaths::setTestModeEnabled(true);
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));
}

}
