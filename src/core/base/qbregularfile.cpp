// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbregularfile.h"

#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace QBRegularFile {

namespace {

bool fail(QString *why, const QString &reason)
{
    if (why)
        *why = reason;
    return false;
}

}

#ifdef Q_OS_UNIX

bool open(QFile &file, const QString &path, qint64 maximumSize, QString *why)
{
    // Without O_NONBLOCK, opening a FIFO waits for a writer.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return fail(why, QString::fromLocal8Bit(std::strerror(errno)));
    struct stat status = {};
    QString reason;
    if (::fstat(fd, &status) != 0)
        reason = QString::fromLocal8Bit(std::strerror(errno));
    else if (!S_ISREG(status.st_mode))
        reason = QStringLiteral("not a regular file");
    else if (status.st_size > maximumSize)
        reason = QStringLiteral("larger than %1 bytes").arg(maximumSize);
    else if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        reason = file.errorString();
    if (reason.isEmpty())
        return true;
    ::close(fd);
    return fail(why, reason);
}

bool isSpecial(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    return !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

#else

bool open(QFile &file, const QString &path, qint64 maximumSize, QString *why)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return fail(why, QStringLiteral("not a regular file"));
    if (info.size() > maximumSize)
        return fail(why, QStringLiteral("larger than %1 bytes").arg(maximumSize));
    file.setFileName(path);
    return file.open(QIODevice::ReadOnly) || fail(why, file.errorString());
}

bool isSpecial(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() && !info.isFile() && !info.isDir();
}

#endif

std::optional<QByteArray> read(const QString &path, qint64 maximumSize, QString *why)
{
    QFile file;
    if (!open(file, path, maximumSize, why))
        return std::nullopt;
    QByteArray data = file.read(maximumSize);
    if (file.error() != QFileDevice::NoError) {
        fail(why, file.errorString());
        return std::nullopt;
    }
    return data;
}

}
