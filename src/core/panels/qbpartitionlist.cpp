// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbpartitionlist.h"

#include "base/qbkeys.h"

#include <QFile>
#include <QFileInfo>
#include <QVariantMap>

namespace QBPartitionList {

QList<MenuItem> menuItems(const QVariantList &partitionList)
{
    QList<MenuItem> items;
    qulonglong n = 0;
    for (const QVariant &entry : partitionList) {
        const QVariantMap partition = entry.toMap();
        const QString path = partition.value(PartitionKey::path).toString();
        // Linux has no display form of a device path: it is shown as it is.
        // One arg() call, so that a "%1" in the path stays as it is.
        const QString title = QStringLiteral("%1. %2 (%3 GB)")
                                      .arg(QString::number(++n), path,
                                           QString::number(partition.value(PartitionKey::size).toLongLong()));
        items.append({title, path});
    }
    return items;
}

QString scanningText()
{
    return QStringLiteral("Scanning WBFS partitions ...");
}

QString foundText(qsizetype count)
{
    if (count == 0)
        return QStringLiteral("No WBFS partitions found.");
    if (count == 1)
        return QStringLiteral("1 partition found.");
    return QStringLiteral("%1 partitions found.").arg(count);
}

bool isWbfsFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(4) == "WBFS";
}

std::optional<QString> wbfsFileRefusal(const QString &path)
{
    const QFileInfo file(path);
    if (!file.isFile() || isWbfsFile(path))
        return std::nullopt;
    return QStringLiteral("“%1” is not a WBFS file.").arg(file.fileName());
}

}
