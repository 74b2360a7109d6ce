// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QObject>

class QBCoverCache;

// Tells everything that shows one game ID that its cover has arrived, or
// that it has left memory and is read again when next asked for.
class QBCoverEntry : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Names the ID's cover while it is the same picture: it stays across
    // an eviction and the reading that brings the cover back, so that what
    // was made from the cover (a view's thumbnail) can be kept under it.
    // 0 while the ID has no cover.
    qint64 key() const { return m_key; }

signals:
    // A null image: the cover that was evicted could not be read again.
    void coverChanged(const QImage &image);
    void coverEvicted();

private:
    friend class QBCoverCache;
    qint64 m_key = 0;
};
