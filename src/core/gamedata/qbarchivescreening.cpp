// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbarchivescreening.h"

#include <QIODevice>
#include <QtEndian>

#include <optional>

namespace {

// The zip format's records, as far as screening reads them. All numbers
// are little-endian.
//
// End of central directory (22 bytes and a comment, the archive's last
// record): signature, disk, directory's disk, entries on the disk, entries,
// directory size, directory offset, comment length.
// Zip64 end locator (20 bytes, right before it): signature, disk, offset of
// the zip64 end record (56 bytes: signature, size, versions, disk, disk,
// entries on the disk, entries, directory size, directory offset).
// Central directory entry (46 bytes, then name, extra fields, comment):
// signature, version made by (its high byte the host system), version
// needed, flags, method, time, date, CRC, compressed size, size, name
// length, extra length, comment length, disk, internal attributes,
// external attributes (a Unix host keeps st_mode in the high half),
// offset of the local header.
constexpr quint32 endSignature = 0x06054b50;
constexpr quint32 zip64LocatorSignature = 0x07064b50;
constexpr quint32 zip64EndSignature = 0x06064b50;
constexpr quint32 entrySignature = 0x02014b50;
constexpr qint64 endSize = 22;
constexpr qint64 zip64LocatorSize = 20;
constexpr qint64 zip64EndSize = 56;
constexpr qint64 entrySize = 46;
constexpr qint64 maximumComment = 0xffff;

// Extra fields: zip64 sizes, and the PKWARE Unix field, whose data after
// its 12 fixed bytes names the file that a link (hard or symbolic) points to.
constexpr quint16 zip64Field = 0x0001;
constexpr quint16 unixField = 0x000d;
constexpr quint16 unixFieldFixedSize = 12;

constexpr quint16 encryptedFlags = 0x0001 | 0x0040;
constexpr quint32 dosDirectory = 0x10;
constexpr quint32 fileTypeMask = 0170000;
constexpr quint32 regularFile = 0100000;

quint16 u16(const char *p)
{
    return qFromLittleEndian<quint16>(p);
}

quint32 u32(const char *p)
{
    return qFromLittleEndian<quint32>(p);
}

quint64 u64(const char *p)
{
    return qFromLittleEndian<quint64>(p);
}

std::optional<QByteArray> readAt(QIODevice &device, quint64 offset, quint64 length)
{
    const quint64 size = quint64(device.size());
    if (offset > size || length > size - offset || !device.seek(qint64(offset)))
        return std::nullopt;
    QByteArray data = device.read(qint64(length));
    if (quint64(data.size()) != length)
        return std::nullopt;
    return data;
}

struct Directory
{
    quint64 offset = 0;
    quint64 size = 0;
    quint64 entries = 0;
};

// The central directory is found from the end. It is read where it ends,
// right before the end records, so that data put in front of the archive
// (as self-extracting archives have) does not move it.
std::optional<Directory> findDirectory(QIODevice &archive)
{
    const qint64 size = archive.size();
    if (size < endSize)
        return std::nullopt;
    const qint64 tailStart = qMax<qint64>(0, size - endSize - maximumComment);
    const std::optional<QByteArray> tail = readAt(archive, quint64(tailStart), quint64(size - tailStart));
    if (!tail)
        return std::nullopt;
    for (qint64 at = tail->size() - endSize; at >= 0; --at) {
        const char *end = tail->constData() + at;
        if (u32(end) != endSignature || at + endSize + u16(end + 20) > tail->size())
            continue;
        if (u16(end + 4) != 0 || u16(end + 6) != 0)
            return std::nullopt; // spread over several disks
        Directory directory{0, u32(end + 12), u16(end + 10)};
        quint64 directoryEnd = quint64(tailStart + at);
        const bool zip64 = u16(end + 10) == 0xffff || u32(end + 12) == 0xffffffff || u32(end + 16) == 0xffffffff;
        const std::optional<QByteArray> locator =
                zip64 && directoryEnd >= zip64LocatorSize
                ? readAt(archive, directoryEnd - zip64LocatorSize, zip64LocatorSize)
                : std::nullopt;
        if (locator && u32(locator->constData()) == zip64LocatorSignature) {
            const quint64 recordOffset = u64(locator->constData() + 8);
            const std::optional<QByteArray> record = readAt(archive, recordOffset, zip64EndSize);
            if (!record || u32(record->constData()) != zip64EndSignature || u32(record->constData() + 16) != 0
                || u32(record->constData() + 20) != 0)
                return std::nullopt;
            directory.entries = u64(record->constData() + 32);
            directory.size = u64(record->constData() + 40);
            directoryEnd = recordOffset;
        }
        if (directory.size > directoryEnd)
            return std::nullopt;
        directory.offset = directoryEnd - directory.size;
        return directory;
    }
    return std::nullopt;
}

using QBArchiveScreening::Result;
using QBArchiveScreening::Verdict;

// One entry of the wanted name.
Result judge(const char *entry, QByteArrayView extra, bool namedAsFolder, qint64 maximumSize)
{
    const quint16 flags = u16(entry + 8);
    const int host = u16(entry + 4) >> 8;
    const quint32 external = u32(entry + 38);
    quint64 size = u32(entry + 24);
    if (flags & encryptedFlags)
        return {Verdict::Encrypted};
    if (namedAsFolder || (external & dosDirectory))
        return {Verdict::NotARegularFile};
    // Unix and macOS keep the file type; a host without one has none to
    // tell, and its entries unpack as regular files.
    const quint32 type = (external >> 16) & fileTypeMask;
    if ((host == 3 || host == 19) && type != 0 && type != regularFile)
        return {Verdict::NotARegularFile};
    while (!extra.isEmpty()) {
        if (extra.size() < 4)
            return {Verdict::NotAnArchive};
        const quint16 id = u16(extra.data());
        const quint16 length = u16(extra.data() + 2);
        if (length > extra.size() - 4)
            return {Verdict::NotAnArchive};
        if (id == unixField && length > unixFieldFixedSize)
            return {Verdict::NotARegularFile};
        // The size comes first in the zip64 field, present when the entry's
        // own field is full.
        if (id == zip64Field && size == 0xffffffff) {
            if (length < 8)
                return {Verdict::NotAnArchive};
            size = u64(extra.data() + 4);
        }
        extra = extra.sliced(4 + length);
    }
    if (size > quint64(maximumSize))
        return {Verdict::TooLarge};
    return {Verdict::Accepted, qint64(size)};
}

}

namespace QBArchiveScreening {

Result screen(QIODevice &archive, QByteArrayView name, qint64 maximumSize)
{
    const std::optional<Directory> directory = findDirectory(archive);
    if (!directory)
        return {Verdict::NotAnArchive};
    const std::optional<QByteArray> bytes = readAt(archive, directory->offset, directory->size);
    if (!bytes)
        return {Verdict::NotAnArchive};
    Result result{Verdict::Missing};
    bool found = false;
    quint64 count = 0;
    for (qint64 at = 0; at < bytes->size(); ++count) {
        const char *entry = bytes->constData() + at;
        if (bytes->size() - at < entrySize || u32(entry) != entrySignature)
            return {Verdict::NotAnArchive};
        const qint64 nameLength = u16(entry + 28);
        const qint64 extraLength = u16(entry + 30);
        const qint64 length = entrySize + nameLength + extraLength + u16(entry + 32);
        if (length > bytes->size() - at)
            return {Verdict::NotAnArchive};
        at += length;
        // unzip reads names as C strings, so a name is what comes before a
        // NUL; a trailing slash marks a folder.
        QByteArrayView entryName(entry + entrySize, nameLength);
        if (const qsizetype nul = entryName.indexOf('\0'); nul >= 0)
            entryName = entryName.first(nul);
        const bool namedAsFolder = entryName.endsWith('/');
        if ((namedAsFolder ? entryName.chopped(1) : entryName) != name)
            continue;
        if (found)
            return {Verdict::Ambiguous};
        found = true;
        result = judge(entry, QByteArrayView(entry + entrySize + nameLength, extraLength), namedAsFolder,
                       maximumSize);
    }
    if (count != directory->entries)
        return {Verdict::NotAnArchive};
    return result;
}

QString describe(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Accepted:
        return QStringLiteral("accepted");
    case Verdict::NotAnArchive:
        return QStringLiteral("not a readable zip archive");
    case Verdict::Missing:
        return QStringLiteral("the file is not in it");
    case Verdict::Ambiguous:
        return QStringLiteral("the file is in it more than once");
    case Verdict::NotARegularFile:
        return QStringLiteral("the entry is not a regular file");
    case Verdict::Encrypted:
        return QStringLiteral("the entry is encrypted");
    case Verdict::TooLarge:
        return QStringLiteral("the entry is too large");
    }
    return QString();
}

}
