// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// Writes zip archives for tests, entry names taken as given (so "../x" and
// "/x" can be made), contents stored uncompressed, each entry marked with
// the Unix mode 0644.
namespace QBTestZip {

using Entry = QPair<QString, QByteArray>;
QByteArray make(const QList<Entry> &entries);

}
