// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QVariant>
#include <QVariantMap>

class QBCoverEntry;
class QBGameCenter;

// A game record that several bundles can share (a bundle and its copies):
// its values and a signal for each change. While bound, its "cover" value
// follows the game center's cover cache for the record's ID.
class QBGameRecord : public QObject
{
    Q_OBJECT

public:
    // The key of the cover that a bound record holds.
    static inline const QString coverKey = QStringLiteral("cover");

    explicit QBGameRecord(const QVariantMap &values);

    const QVariantMap &values() const { return m_values; }
    QVariant value(const QString &key) const { return m_values.value(key); }
    void setValue(const QString &key, const QVariant &value);
    // Adds every entry, replacing the values of keys already present.
    void addEntries(const QVariantMap &entries);
    // "cover" becomes the cached cover of the record's ID, or the
    // missing-cover picture while there is none, and follows later
    // arrivals. Binding again is a no-op.
    void bindCover(QBGameCenter *center);
    // The "cover" value, except for a cover evicted from the cache's
    // memory: then a null image, and the cover is read again (it arrives
    // as a change of "cover").
    QImage cover() const;
    // Names the cover shown while it is the same picture, across its
    // eviction and reading (QBCoverEntry::key), so that a view can keep
    // what it made of it without the cover itself.
    qint64 coverCacheKey() const;

signals:
    void valueChanged(const QString &key);

private:
    QVariantMap m_values;
    bool m_coverBound = false;
    // "cover" holds the cache's picture, or did until it was evicted.
    bool m_cachedCover = false;
    bool m_coverEvicted = false;
    QPointer<QBGameCenter> m_center;
    QPointer<QBCoverEntry> m_entry;
};
