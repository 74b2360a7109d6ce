// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>
#include <QVariantList>

#include <optional>

// What the partition panel shows of a scan's partition list, and the test
// that a file chosen by hand holds a WBFS partition.
namespace QBPartitionList {

struct MenuItem
{
    // "1. /dev/sdb1 (500 GB)"
    QString title;
    // The device path as the tool printed it.
    QString path;
};

// One item per partition, in the scan's order, numbered from 1. Each entry
// is read only for "path" and "size" (whole gigabytes).
QList<MenuItem> menuItems(const QVariantList &partitionList);

// The status line: while scanning, and once the scan has found count
// partitions.
QString scanningText();
QString foundText(qsizetype count);

// Whether the file starts with the WBFS header's magic, as every WBFS
// partition, and so every WBFS container file, does.
bool isWbfsFile(const QString &path);

// Why a file chosen as a WBFS file is refused: a plain file without the
// WBFS header. A device node is left to wwt, which may need the permission
// step to read it. Nothing when the file may be opened.
std::optional<QString> wbfsFileRefusal(const QString &path);

}
