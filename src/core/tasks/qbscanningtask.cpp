// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbscanningtask.h"

#include "base/qbkeys.h"
#include "base/qbtextnumber.h"

QBScanningTask::QBScanningTask(QObject *parent)
    : QBTask({QStringLiteral("find"), QStringLiteral("--auto"), QStringLiteral("--all"),
              QStringLiteral("--sections")},
             1, nullptr, parent)
{
}

// One "part-N" section per partition found:
//   path=/dev/sdb1  real-path=...  is-wbfs=1  size=<bytes>  ...
bool QBScanningTask::shouldStartSectionWithHeader(const QString &header)
{
    if (!header.startsWith(QLatin1String("part-")))
        return false;
    m_parsedInfos = QVariantMap();
    return true;
}

void QBScanningTask::readKey(QStringView key, QStringView value, const QString &)
{
    if (const QString *known = QBKeySets::find(QBKeySets::partitionKeys(), key))
        m_parsedInfos.insert(*known, value.toString());
}

void QBScanningTask::endSection(const QString &)
{
    const qint64 bytes = QBTextNumber::toInteger(m_parsedInfos.value(PartitionKey::size).toString());
    m_parsedInfos.insert(PartitionKey::size, bytes / 1000000000);
    m_partitionList.append(m_parsedInfos);
}

void QBScanningTask::processDidStop()
{
    emit scanningDidFinish({{UserInfoKey::partitionList, m_partitionList}});
}
