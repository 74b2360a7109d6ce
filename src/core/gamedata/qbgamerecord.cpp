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
    m_center = center;
    const QString id = value(GameKey::id).toString();
    const QImage cached = center ? center->images().value(id) : QImage();
    m_cachedCover = !cached.isNull();
    setValue(coverKey, cached.isNull() ? QBGameBundle::missingCover() : cached);
    if (!center)
        return;
    m_entry = center->coverEntry(id);
    connect(m_entry, &QBCoverEntry::coverChanged, this, [this](const QImage &image) {
        m_coverEvicted = false;
        m_cachedCover = !image.isNull();
        setValue(coverKey, image.isNull() ? QBGameBundle::missingCover() : image);
    });
    connect(m_entry, &QBCoverEntry::coverEvicted, this, [this] {
        // Only the reference goes, so that the memory does; nothing shown
        // changes, and no change is announced.
        m_coverEvicted = true;
        m_values.insert(coverKey, QImage());
    });
}

QImage QBGameRecord::cover() const
{
    if (m_coverEvicted) {
        if (m_center)
            m_center->getImageForGame(m_values);
        return QImage();
    }
    if (m_cachedCover && m_center)
        m_center->touchImage(value(GameKey::id).toString());
    return value(coverKey).value<QImage>();
}

qint64 QBGameRecord::coverCacheKey() const
{
    if ((m_cachedCover || m_coverEvicted) && m_entry && m_entry->key() != 0) {
        // Drawn, so used: what is on screen leaves memory last.
        if (!m_coverEvicted && m_center)
            m_center->touchImage(value(GameKey::id).toString());
        return m_entry->key();
    }
    return value(coverKey).value<QImage>().cacheKey();
}
