// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArrayView>
#include <QString>

class QIODevice;

// Judges, from a zip archive's central directory alone, whether the one
// entry that the archive is for may be taken out of it: a regular file,
// present once, not encrypted, of bounded size. Nothing is unpacked here;
// every other entry is of no interest, whatever it is.
namespace QBArchiveScreening {

enum class Verdict {
    Accepted,
    NotAnArchive,    // no readable central directory
    Missing,         // no entry of that name
    Ambiguous,       // the name more than once
    NotARegularFile, // a folder, a link (symbolic or hard), a device or a FIFO
    Encrypted,
    TooLarge,
};

struct Result
{
    Verdict verdict = Verdict::NotAnArchive;
    // The entry's size unpacked, when accepted.
    qint64 size = 0;
};

// name: the entry's name at the archive's top level ("wiitdb.xml").
Result screen(QIODevice &archive, QByteArrayView name, qint64 maximumSize);

// A few words for the log.
QString describe(Verdict verdict);

}
