// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbfilesystem.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QStorageInfo>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

QBFilesystemCenter *QBFilesystemCenter::shared()
{
    static QPointer<QBFilesystemCenter> center;
    if (!center)
        center = new QBFilesystemCenter(QCoreApplication::instance());
    return center;
}

std::optional<quint64> QBFilesystemCenter::filesystemNumber(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
#ifdef Q_OS_UNIX
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return quint64(status.st_dev);
#else
    // Elsewhere the volume's device name stands for the number.
    const QStorageInfo volume(path);
    if (!QFileInfo::exists(path) || !volume.isValid())
        return std::nullopt;
    return quint64(qHash(volume.device()));
#endif
}

std::optional<quint64> QBFilesystemCenter::partitionNumber(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    // Set on every WBFS file's number; device numbers never reach it.
    constexpr quint64 fileMark = quint64(1) << 63;
#ifdef Q_OS_UNIX
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    if (S_ISBLK(status.st_mode))
        return quint64(status.st_rdev);
    return fileMark | (qHashMulti(0, quint64(status.st_dev), quint64(status.st_ino)) & ~fileMark);
#else
    const QFileInfo file(path);
    if (!file.exists())
        return std::nullopt;
    return fileMark | (qHash(file.canonicalFilePath()) & ~fileMark);
#endif
}

QBFilesystemCenter::Space QBFilesystemCenter::spaceForPath(const QString &path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return {};
    const QStorageInfo volume(path);
    if (!volume.isValid())
        return {};
    return {float(volume.bytesAvailable()) / 1000000000.0f, float(volume.bytesTotal()) / 1000000000.0f};
}

bool QBFilesystemCenter::isFat(const QString &path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return false;
    const QStorageInfo volume(path);
    return volume.isValid() && isFatType(volume.fileSystemType());
}

bool QBFilesystemCenter::isFatType(const QByteArray &type)
{
    // A FUSE mount is named after its driver: "fuse.fusefat", "fuse.vfat".
    QByteArray name = type.toLower();
    for (const QByteArray &prefix : {QByteArrayLiteral("fuseblk."), QByteArrayLiteral("fuse.")}) {
        if (name.startsWith(prefix)) {
            name = name.mid(prefix.size());
            break;
        }
    }
    static const QByteArrayList fat{"vfat", "msdos", "fat", "fat32", "umsdos", "fusefat"};
    return fat.contains(name);
}

void QBFilesystemCenter::postFilesystemDidChange(quint64 filesystem, float freeSpace)
{
    emit filesystemDidChange(filesystem, freeSpace);
}
