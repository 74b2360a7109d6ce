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

void put16(QByteArray &out, quint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    out.append(bytes, 2);
}

void put32(QByteArray &out, quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
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
            put16(extra, 0x000d);
            put16(extra, quint16(12 + entry.hardLinkTarget.size()));
            extra += QByteArray(12, '\0') + entry.hardLinkTarget;
        }
        // Local header: no data descriptor, UTF-8 names.
        put32(archive, 0x04034b50);
        put16(archive, 20);
        put16(archive, 0x0800);
        put16(archive, method);
        put32(archive, 0);
        put32(archive, crc);
        put32(archive, quint32(data.size()));
        put32(archive, quint32(entry.data.size()));
        put16(archive, quint16(fileName.size()));
        put16(archive, quint16(extra.size()));
        archive += fileName + extra + data;
        // Its central directory entry, made on Unix.
        put32(directory, 0x02014b50);
        put16(directory, (3 << 8) | 20);
        put16(directory, 20);
        put16(directory, 0x0800);
        put16(directory, method);
        put32(directory, 0);
        put32(directory, crc);
        put32(directory, quint32(data.size()));
        put32(directory, quint32(entry.data.size()));
        put16(directory, quint16(fileName.size()));
        put16(directory, quint16(extra.size()));
        put16(directory, 0);
        put16(directory, 0);
        put16(directory, 0);
        put32(directory, entry.mode << 16);
        put32(directory, offset);
        directory += fileName + extra;
    }
    const quint32 directoryOffset = quint32(archive.size());
    archive += directory;
    put32(archive, 0x06054b50);
    put16(archive, 0);
    put16(archive, 0);
    put16(archive, quint16(entries.size()));
    put16(archive, quint16(entries.size()));
    put32(archive, quint32(directory.size()));
    put32(archive, directoryOffset);
    put16(archive, 0);
    return archive;
}

}
