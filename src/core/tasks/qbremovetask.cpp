// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbremovetask.h"

#include "base/qbkeys.h"

QBRemoveTask::QBRemoveTask(const QStringList &arguments, int launchPath, const QVariantList &games,
                           QObject *sender, QObject *parent)
    : QBTask(arguments, launchPath, sender, parent)
    , m_toRemove(games)
{
}

void QBRemoveTask::processDidStop()
{
    emit removeDidFinish({{UserInfoKey::removedList, m_toRemove},
                          {UserInfoKey::terminationStatus, terminationStatus()}});
}
