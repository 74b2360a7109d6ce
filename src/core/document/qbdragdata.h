// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

class QMimeData;

// The games dragged from one document to another, as the drag carries them:
// a private format (named after "QBDrag", the only one written or read)
// holding the games' records in CBOR, with a format name and a version so
// that data of another kind or another version is told apart.
namespace QBDragData {

inline const QString mimeType = QStringLiteral("application/x-qbdrag");

QByteArray encode(const QList<QVariantMap> &games);
// The games, in their order; nothing when the data is not ours, is of
// another version, is damaged, or holds a game without an ID or a file.
std::optional<QList<QVariantMap>> decode(const QByteArray &data);

// Data holding exactly the private format.
QMimeData *mimeData(const QList<QVariantMap> &games);
std::optional<QList<QVariantMap>> games(const QMimeData *data);

}
