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
        // What the local header and the central directory entry share: UTF-8
        // names, no data descriptor, no time.
        QByteArray common;
        put16(common, 0x0800);
        put16(common, method);
        put32(common, 0);
        put32(common, crc);
        put32(common, quint32(data.size()));
        put32(common, quint32(entry.data.size()));
        put16(common, quint16(fileName.size()));
        put16(common, quint16(extra.size()));
        put32(archive, 0x04034b50);
        put16(archive, 20);
        archive += common + fileName + extra + data;
        // The central entry, made on Unix; no comment, disk 0, no attributes
        // but the mode.
        put32(directory, 0x02014b50);
        put16(directory, (3 << 8) | 20);
        put16(directory, 20);
        directory += common;
        put32(directory, 0);
        put16(directory, 0);
        put32(directory, entry.mode << 16);
        put32(directory, offset);
        directory += fileName + extra;
    }
    const quint32 directoryOffset = quint32(archive.size());
    archive += directory;
    put32(archive, 0x06054b50);
    put32(archive, 0);
    put16(archive, quint16(entries.size()));
    put16(archive, quint16(entries.size()));
    put32(archive, quint32(directory.size()));
    put32(archive, directoryOffset);
    put16(archive, 0);
    return archive;
}

}
