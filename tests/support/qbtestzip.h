// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Writes zip archives for tests, entry names taken as given (so "../x" and
// "/x" can be made), made on Unix: regular files with mode 0644 unless an
// entry says otherwise.
namespace QBTestZip {

struct Entry
{
    QString name;
    // For a symbolic link, the path it points to.
    QByteArray data;
    // The Unix st_mode: 0120777 a symbolic link, 040755 a folder.
    quint32 mode = 0100644;
    // Compressed with deflate rather than stored.
    bool deflated = false;
    // A hard link to this path, in a PKWARE Unix extra field.
    QByteArray hardLinkTarget = QByteArray();
};

QByteArray make(const QList<Entry> &entries);

}
