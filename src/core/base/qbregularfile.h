// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

class QFile;

// Reading a file whose name anyone could have put something else at: a FIFO
// blocks the first open until a writer comes, a device never ends, a folder
// cannot be read. Such names are treated as if nothing were there.
namespace QBRegularFile {

// Opens file for reading when path names (through links) a regular file of
// at most maximumSize bytes; never blocks. The check is made on the opened
// file, so nothing put at the name in between gets past it. why (when
// given) tells what stood in the way.
bool open(QFile &file, const QString &path, qint64 maximumSize, QString *why = nullptr);

// The whole file, on the same terms; a file that grows meanwhile is read
// up to maximumSize.
std::optional<QByteArray> read(const QString &path, qint64 maximumSize, QString *why = nullptr);

// Whether path names, through links, something other than a regular file
// or a folder: a FIFO, a socket or a device. Nothing at path is not one.
bool isSpecial(const QString &path);

}
