// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtestzip.h"

#include <QtEndian>

namespace {

quint32 crc32(const QByteArray &data)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : data) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

// A 16- or 32-bit field, little end first.
template<typename T>
void put(QByteArray &out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

}

namespace QBTestZip {

QByteArray make(const QList<Entry> &entries)
{
    QByteArray archive;
    QByteArray directory;
    for (const Entry &entry : entries) {
        const QByteArray fileName = entry.name.toUtf8();
        const quint32 crc = crc32(entry.data);
        const quint32 offset = quint32(archive.size());
        // qCompress gives a length and a zlib stream; the zip holds the raw
        // deflate data inside it.
        const QByteArray data = entry.deflated ? qCompress(entry.data).mid(6).chopped(4) : entry.data;
        const quint16 method = entry.deflated ? 8 : 0;
        QByteArray extra;
        if (!entry.hardLinkTarget.isEmpty()) {
            put<quint16>(extra, 0x000d);
            put<quint16>(extra, quint16(12 + entry.hardLinkTarget.size()));
            extra += QByteArray(12, '\0') + entry.hardLinkTarget;
        }
        // What the local header and the central directory entry share: UTF-8
        // names, no data descriptor, no time.
        QByteArray common;
        put<quint16>(common, 0x0800);
        put<quint16>(common, method);
        put<quint32>(common, 0);
        put<quint32>(common, crc);
        put<quint32>(common, quint32(data.size()));
        put<quint32>(common, quint32(entry.data.size()));
        put<quint16>(common, quint16(fileName.size()));
        put<quint16>(common, quint16(extra.size()));
        put<quint32>(archive, 0x04034b50);
        put<quint16>(archive, 20);
        archive += common + fileName + extra + data;
        // The central entry, made on Unix; no comment, disk 0, no attributes
        // but the mode.
        put<quint32>(directory, 0x02014b50);
        put<quint16>(directory, (3 << 8) | 20);
        put<quint16>(directory, 20);
        directory += common;
        put<quint32>(directory, 0);
        put<quint16>(directory, 0);
        put<quint32>(directory, entry.mode << 16);
        put<quint32>(directory, offset);
        directory += fileName + extra;
    }
    const quint32 directoryOffset = quint32(archive.size());
    archive += directory;
    put<quint32>(archive, 0x06054b50);
    put<quint32>(archive, 0);
    put<quint16>(archive, quint16(entries.size()));
    put<quint16>(archive, quint16(entries.size()));
    put<quint32>(archive, quint32(directory.size()));
    put<quint32>(archive, directoryOffset);
    put<quint16>(archive, 0);
    return archive;
}

}
