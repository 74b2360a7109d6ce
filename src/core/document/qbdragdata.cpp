// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdragdata.h"

#include "base/qbkeys.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborStreamReader>
#include <QCborValue>
#include <QMimeData>

namespace {

const QString formatKey = QStringLiteral("format");
const QString formatName = QStringLiteral("QBDrag");
const QString versionKey = QStringLiteral("version");
const QString gamesKey = QStringLiteral("games");
constexpr qint64 version = 1;

}

namespace QBDragData {

QByteArray encode(const QList<QVariantMap> &games)
{
    QCborArray list;
    for (QVariantMap game : games) {
        // The cover is not carried: it comes back from the cache by ID.
        game.remove(QStringLiteral("cover"));
        list.append(QCborMap::fromVariantMap(game));
    }
    QCborMap root;
    root.insert(formatKey, formatName);
    root.insert(versionKey, version);
    root.insert(gamesKey, list);
    return QCborValue(root).toCbor();
}

std::optional<QList<QVariantMap>> decode(const QByteArray &data)
{
    // One whole value and nothing after it.
    QCborStreamReader reader(data);
    const QCborValue root = QCborValue::fromCbor(reader);
    if (reader.lastError() != QCborError::NoError || reader.currentOffset() != data.size() || !root.isMap())
        return std::nullopt;
    const QCborMap map = root.toMap();
    // An integer, not converted from a floating-point number: a huge one
    // has no integer value at all.
    const QCborValue dataVersion = map.value(versionKey);
    if (map.value(formatKey).toString() != formatName || !dataVersion.isInteger()
        || dataVersion.toInteger() != version || !map.value(gamesKey).isArray())
        return std::nullopt;
    const QCborArray list = map.value(gamesKey).toArray();
    if (list.isEmpty())
        return std::nullopt;
    QList<QVariantMap> games;
    games.reserve(list.size());
    for (const QCborValue &entry : list) {
        if (!entry.isMap())
            return std::nullopt;
        // What adding a game cannot do without, checked on the record that
        // is used: a map may hold a key twice, and only one value survives
        // the conversion.
        QVariantMap game = entry.toMap().toVariantMap();
        const QVariant id = game.value(GameKey::id);
        const QVariant filename = game.value(GameKey::filename);
        if (id.typeId() != QMetaType::QString || id.toString().isEmpty()
            || filename.typeId() != QMetaType::QString || filename.toString().isEmpty())
            return std::nullopt;
        games << std::move(game);
    }
    return games;
}

QMimeData *mimeData(const QList<QVariantMap> &games)
{
    auto *data = new QMimeData;
    data->setData(mimeType, encode(games));
    return data;
}

std::optional<QList<QVariantMap>> games(const QMimeData *data)
{
    if (!data || !data->hasFormat(mimeType))
        return std::nullopt;
    return decode(data->data(mimeType));
}

}
