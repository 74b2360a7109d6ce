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

#ifdef Q_OS_UNIX

std::optional<QByteArray> read(const QString &path, qint64 maximumSize, QString *why)
{
    const auto fail = [why](const QString &reason) -> std::optional<QByteArray> {
        if (why)
            *why = reason;
        return std::nullopt;
    };
    // Without O_NONBLOCK, opening a FIFO waits for a writer.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    struct Closer
    {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat status = {};
    if (::fstat(fd, &status) != 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    if (!S_ISREG(status.st_mode))
        return fail(QStringLiteral("not a regular file"));
    if (status.st_size > maximumSize)
        return fail(QStringLiteral("larger than %1 bytes").arg(maximumSize));
    QByteArray data;
    data.resize(qsizetype(status.st_size));
    qsizetype done = 0;
    // A file that grows while it is read is read up to the size it had.
    while (done < data.size()) {
        const ssize_t got = ::read(fd, data.data() + done, size_t(data.size() - done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return fail(QString::fromLocal8Bit(std::strerror(errno)));
        if (got == 0)
            break;
        done += got;
    }
    data.truncate(done);
    return data;
}

bool isSpecial(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    return !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

#else

std::optional<QByteArray> read(const QString &path, qint64 maximumSize, QString *why)
{
    const QFileInfo info(path);
    QFile file(path);
    QString reason;
    if (!info.isFile())
        reason = QStringLiteral("not a regular file");
    else if (info.size() > maximumSize)
        reason = QStringLiteral("larger than %1 bytes").arg(maximumSize);
    else if (!file.open(QIODevice::ReadOnly))
        reason = file.errorString();
    if (!reason.isEmpty()) {
        if (why)
            *why = reason;
        return std::nullopt;
    }
    return file.read(maximumSize);
}

bool isSpecial(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() && !info.isFile() && !info.isDir();
}

#endif

}
