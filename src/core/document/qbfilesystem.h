// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

#include <optional>

// The one sender of filesystemDidChange that every document listens to:
// whoever learns a file system's free space (a browse that ends, a removal)
// posts it here, and each document on that file system shows it.
//
// A file system is named by the device number of the file that lives on it
// (stat's st_dev), so two paths on one mounted volume share a number. A WBFS
// partition is a file system of its own: neither the devices' file system
// that holds its /dev path nor the volume that holds a WBFS file shares its
// free space.
class QBFilesystemCenter : public QObject
{
    Q_OBJECT

public:
    struct Space
    {
        // Decimal gigabytes (10^9 bytes), in single precision.
        float freeSpace = 0;
        float totalSpace = 0;
    };

    // Made on first use; lives as long as the application.
    static QBFilesystemCenter *shared();

    // The number of the file system that holds path; nothing when the path
    // cannot be queried (it does not exist, or may not be looked at).
    static std::optional<quint64> filesystemNumber(const QString &path);
    // The number of the WBFS partition at path: a block device's own device
    // number, or for a WBFS file a number of that file which no mounted
    // volume has. Nothing when the path cannot be queried.
    static std::optional<quint64> partitionNumber(const QString &path);
    // The space that the user can write on the file system of path, and its
    // size; both 0 when the path cannot be queried.
    static Space spaceForPath(const QString &path);
    // Whether the file system of path, as the mount table names it, is FAT:
    // "vfat", "msdos", or a FUSE mount of a FAT driver ("fuse.fusefat").
    // exFAT is not FAT: it holds files of any size.
    static bool isFat(const QString &path);
    static bool isFatType(const QByteArray &type);

    void postFilesystemDidChange(quint64 filesystem, float freeSpace);

signals:
    void filesystemDidChange(quint64 filesystem, float freeSpace);

private:
    using QObject::QObject;
};
