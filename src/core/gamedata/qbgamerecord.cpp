// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamerecord.h"

#include "base/qbkeys.h"
#include "qbgamebundle.h"
#include "qbgamecenter.h"

QBGameRecord::QBGameRecord(const QVariantMap &values)
    : m_values(values)
{
}

void QBGameRecord::setValue(const QString &key, const QVariant &value)
{
    m_values.insert(key, value);
    emit valueChanged(key);
}

void QBGameRecord::addEntries(const QVariantMap &entries)
{
    for (auto it = entries.cbegin(); it != entries.cend(); ++it)
        setValue(it.key(), it.value());
}

void QBGameRecord::bindCover(QBGameCenter *center)
{
    if (m_coverBound)
        return;
    m_coverBound = true;
    const QString id = value(GameKey::id).toString();
    const QImage cached = center ? center->images().value(id) : QImage();
    setValue(coverKey, cached.isNull() ? QBGameBundle::missingCover() : cached);
    if (center) {
        connect(center->coverEntry(id), &QBCoverEntry::coverChanged, this,
                [this](const QImage &image) { setValue(coverKey, image); });
    }
}
