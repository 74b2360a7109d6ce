// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbrenametask.h"

#include "base/qbkeys.h"

QBRenameTask::QBRenameTask(const QVariantMap &game, const QStringList &arguments, QObject *sender,
                           QObject *parent)
    : QBTask(arguments, 0, sender, parent)
    , m_game(game)
{
}

// [MOVE]  source-path=...  dest-path=<the new path>
bool QBRenameTask::shouldStartSectionWithHeader(const QString &header)
{
    return header == QLatin1String("MOVE");
}

void QBRenameTask::readKey(QStringView key, QStringView value, const QString &)
{
    if (key == ProgressKey::destPath) {
        m_renamed = value.toString();
        m_hasRenamed = true;
    }
}

void QBRenameTask::processDidStop()
{
    QVariantMap userInfo{{UserInfoKey::game, m_game},
                         {UserInfoKey::terminationStatus, terminationStatus()}};
    if (m_hasRenamed)
        userInfo.insert(UserInfoKey::destinationPath, m_renamed);
    emit renomationDidFinish(userInfo);
}
