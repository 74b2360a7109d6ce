// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbcoverthumbnails.h"

#include <QTimer>

QBCoverThumbnails::QBCoverThumbnails(const QSize &box, qint64 cacheBytes, QObject *parent)
    : QObject(parent)
    , m_box(box)
    , m_cache(qsizetype(qMax<qint64>(1, cacheBytes / 1024)))
{
    m_scalers.setMaxThreadCount(qMax(1, QThread::idealThreadCount() - 1));
}

QBCoverThumbnails::~QBCoverThumbnails()
{
    m_scalers.clear();
    m_scalers.waitForDone();
}

QImage QBCoverThumbnails::cachedThumbnail(qint64 key) const
{
    const QImage *cached = m_cache.object(key);
    return cached ? *cached : QImage();
}

QImage QBCoverThumbnails::thumbnail(qint64 key, const QImage &cover)
{
    if (const QImage *cached = m_cache.object(key))
        return *cached;
    if (cover.isNull())
        return {};
    if (m_pending.contains(key))
        return {};
    m_pending.insert(key);
    const QSize box = m_box;
    m_scalers.start([this, key, cover, box] {
        QImage thumbnail = cover.size().width() <= box.width() && cover.size().height() <= box.height()
                ? cover
                : cover.scaled(box, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        thumbnail = thumbnail.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        // The destructor waits for the workers, so this is still there; a
        // result that arrives after it is gone is dropped with its event.
        QMetaObject::invokeMethod(
                this, [this, key, thumbnail] { scaled(key, thumbnail); }, Qt::QueuedConnection);
    });
    return {};
}

void QBCoverThumbnails::scaled(qint64 key, const QImage &thumbnail)
{
    m_pending.remove(key);
    m_cache.insert(key, new QImage(thumbnail), qMax<qsizetype>(1, thumbnail.sizeInBytes() / 1024));
    if (m_readyPosted)
        return;
    m_readyPosted = true;
    QTimer::singleShot(0, this, [this] {
        m_readyPosted = false;
        emit thumbnailsReady();
    });
}
