// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

// Keys of the records that tasks produce and share. Keys that come from the
// tools keep the tools' spelling.

// A game record, as posted by the browsing task.
namespace GameKey {
inline const QString id = QStringLiteral("id");
inline const QString name = QStringLiteral("name");
inline const QString title = QStringLiteral("title");
inline const QString size = QStringLiteral("size");
inline const QString filename = QStringLiteral("filename");
inline const QString region = QStringLiteral("region");
inline const QString filetype = QStringLiteral("filetype");
inline const QString coverPath = QStringLiteral("coverPath");
inline const QString isOnWBFS = QStringLiteral("isOnWBFS");
}

// A WBFS partition's figures, from a listing or a scan.
namespace PartitionKey {
inline const QString path = QStringLiteral("path");
inline const QString size = QStringLiteral("size");
inline const QString freeMib = QStringLiteral("free_mib");
inline const QString totalMib = QStringLiteral("total_mib");
// Named like the file-system attributes of a mounted volume, so that a
// partition's space and a folder's space are shown by the same code.
inline const QString freeSize = QStringLiteral("NSFileSystemFreeSize");
inline const QString totalSize = QStringLiteral("NSFileSystemSize");
}

// A conversion's progress section.
namespace ProgressKey {
inline const QString percent = QStringLiteral("percent");
inline const QString mibPerSec = QStringLiteral("mib-per-sec");
inline const QString etaText = QStringLiteral("eta-text");
inline const QString destPath = QStringLiteral("dest-path");
}

// The conversion bundle shared by a conversion's creator, its task, the
// conversion queue and the conversions list.
namespace BundleKey {
inline const QString game = QStringLiteral("game");
inline const QString sourcePath = QStringLiteral("sourcePath");
inline const QString destinationPath = QStringLiteral("destinationPath");
inline const QString display = QStringLiteral("display");
inline const QString percent = QStringLiteral("percent");
inline const QString isWaiting = QStringLiteral("isWaiting");
inline const QString infos = QStringLiteral("infos");
inline const QString stopImage = QStringLiteral("stopImage");
inline const QString cover = QStringLiteral("cover");
inline const QString terminationStatus = QStringLiteral("terminationStatus");
inline const QString task = QStringLiteral("task");
}

// Payload keys of the tasks' result signals.
namespace UserInfoKey {
inline const QString game = QStringLiteral("game");
inline const QString terminationStatus = QStringLiteral("terminationStatus");
inline const QString partitionInfos = QStringLiteral("partitionInfos");
inline const QString partitionList = QStringLiteral("partitionList");
inline const QString filename = QStringLiteral("filename");
inline const QString task = QStringLiteral("task");
inline const QString removedList = QStringLiteral("removedList");
inline const QString destinationPath = QStringLiteral("destinationPath");
inline const QString failedFile = QStringLiteral("failedFile");
}

// The fixed key sets with which the tasks filter the tools' keys.
namespace QBKeySets {
const QStringList &gameKeys();      // filename, id, name, size, region, filetype
const QStringList &partitionKeys(); // path, size, free_mib, total_mib
const QStringList &progressKeys();  // percent, mib-per-sec, eta-text

// The set's own string equal to key, or null. The sets are a handful of
// short strings, so a scan beats hashing a view into a temporary string on
// the reader's hot path, and storing under the returned string shares its
// data instead of allocating a new key.
inline const QString *find(const QStringList &set, QStringView key)
{
    for (const QString &k : set) {
        if (k == key)
            return &k;
    }
    return nullptr;
}
}
