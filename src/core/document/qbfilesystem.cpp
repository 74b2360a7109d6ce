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

QBFilesystemCenter::Space QBFilesystemCenter::spaceForPath(const QString &path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return {};
    const QStorageInfo volume(path);
    if (!volume.isValid())
        return {};
    return {float(volume.bytesAvailable()) / 1000000000.0f, float(volume.bytesTotal()) / 1000000000.0f};
}

void QBFilesystemCenter::postFilesystemDidChange(quint64 filesystem, float freeSpace)
{
    emit filesystemDidChange(filesystem, freeSpace);
}
