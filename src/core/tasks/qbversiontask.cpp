// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbversiontask.h"

#include <QProcess>

namespace {
// The longest version kept; the tools print a handful of characters.
constexpr qsizetype maxVersionLength = 32;
}

// Selector 2 runs wwt without the permission step.
QBVersionTask::QBVersionTask(const QString &tool, QObject *parent)
    : QBTask({QStringLiteral("version"), QStringLiteral("--sections")}, tool == QLatin1String("wit") ? 0 : 2,
             nullptr, parent)
{
}

//   [version]  prog=wit  name=Wiimms ISO Tool  version=3.01a  revision=0 ...
bool QBVersionTask::shouldStartSectionWithHeader(const QString &header)
{
    return header == QLatin1String("version");
}

void QBVersionTask::readKey(QStringView key, QStringView value, const QString &)
{
    if (key != QLatin1String("version") || value.size() > maxVersionLength)
        return;
    // Only what a version is made of: a hostile tool prints no markup or
    // line into an alert.
    for (const QChar c : value) {
        if (!c.isLetterOrNumber() && c != u'.' && c != u'-' && c != u'_')
            return;
    }
    m_version = value.toString();
}

void QBVersionTask::processDidStop()
{
    emit versionDidFinish(m_version);
}

void QBVersionTask::cancel()
{
    QBTask::cancel();
    if (process()->state() != QProcess::NotRunning)
        process()->kill();
}
