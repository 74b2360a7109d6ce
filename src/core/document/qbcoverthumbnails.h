// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCache>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QThreadPool>

// Covers scaled down to the size a view draws them, made on worker threads
// and kept in a cache of bounded size, so that scrolling through thousands
// of covers neither scales on the event loop nor holds a scaled copy of
// every cover. A view asks for the thumbnail of each cover it draws; while
// one is being made it draws something else, and thumbnailsReady() tells it
// to draw again.
class QBCoverThumbnails : public QObject
{
    Q_OBJECT

public:
    // box: the largest thumbnail, in device pixels; cacheBytes: what the
    // kept thumbnails may take together.
    QBCoverThumbnails(const QSize &box, qint64 cacheBytes, QObject *parent = nullptr);
    ~QBCoverThumbnails() override;

    QSize box() const { return m_box; }
    // The cover scaled to fit the box, keeping its proportions, kept
    // under key (what names the cover, which outlives the cover itself in
    // memory); a null image while it is being made.
    QImage thumbnail(qint64 key, const QImage &cover);
    QImage thumbnail(const QImage &cover) { return thumbnail(cover.cacheKey(), cover); }
    // The thumbnail kept under key, or a null image; when isPending, one is
    // being made and the cover need not be asked for.
    QImage cachedThumbnail(qint64 key) const;
    bool isPending(qint64 key) const { return m_pending.contains(key); }

    qint64 cachedBytes() const { return qint64(m_cache.totalCost()) * 1024; }
    int pendingCount() const { return int(m_pending.size()); }

signals:
    // Thumbnails asked for have been made (once per turn of the event loop
    // at most).
    void thumbnailsReady();

private:
    void scaled(qint64 key, const QImage &thumbnail);

    QSize m_box;
    // Costs in KiB.
    QCache<qint64, QImage> m_cache;
    QSet<qint64> m_pending;
    bool m_readyPosted = false;
    QThreadPool m_scalers;
};
