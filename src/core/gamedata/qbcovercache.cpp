// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbcovercache.h"

#include "base/qbgameid.h"
#include "base/qbkeys.h"
#include "base/qbregularfile.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "qbimagedownload.h"
#include "tasks/qboperationqueue.h"

#include <QThread>

QBCoverCache::QBCoverCache(const QString &supportFolder, QBOperationQueue *queue, QNetworkAccessManager *network,
                           QObject *parent)
    : QObject(parent)
    , m_supportFolder(supportFolder)
    , m_operationQueue(queue)
    , m_network(network)
{
    m_coverReaders.setMaxThreadCount(qMax(2, QThread::idealThreadCount()));
}

QBCoverCache::~QBCoverCache()
{
    m_coverReaders.clear();
    m_coverReaders.waitForDone();
}

bool QBCoverCache::getImageForGame(const QVariantMap &game)
{
    const QString id = game.value(GameKey::id).toString();
    // An ID not of a disc's form has no cover file, so nothing to read or
    // fetch.
    if (!QBGameID::isValid(id) || m_imagesDownloading.contains(id) || m_supportFolder.isEmpty())
        return false;
    if (m_images.contains(id)) {
        touchImage(id);
        return true;
    }
    // A list of thousands of games must not wait for thousands of reads:
    // the file is read and decoded off the event loop and the cover shows
    // when it is ready. Whether it is missing (and so fetched) is decided
    // by that read, so a cover on disk is never fetched.
    if (!m_imagesReading.contains(id))
        readCover(game, false);
    return false;
}

void QBCoverCache::readCover(const QVariantMap &game, bool downloaded)
{
    const QString id = game.value(GameKey::id).toString();
    m_imagesReading.insert(id);
    // An evicted cover is read again because it is on screen now: before
    // the first readings of a long list, and the latest asked first, so that
    // a grid scrolled fast fills the cells it stops on before those it
    // passed.
    const int priority = m_evicted.contains(id) ? ++m_rereadPriority : 0;
    m_coverReaders.start([this, game, downloaded] {
        // The path made from the ID, not one a record carries; nothing but
        // a regular file is read, so a FIFO put there cannot block.
        const std::optional<QByteArray> data = QBRegularFile::read(
                QBSupportFolder::coverPath(game.value(GameKey::id).toString()), QBImageDownload::maximumSize);
        const QImage image = data ? QImage::fromData(*data) : QImage();
        QMetaObject::invokeMethod(this, [this, game, image, downloaded] { coverRead(game, image, downloaded); },
                                  Qt::QueuedConnection);
    }, priority);
}

void QBCoverCache::coverRead(const QVariantMap &game, const QImage &image, bool downloaded)
{
    const QString id = game.value(GameKey::id).toString();
    m_imagesReading.remove(id);
    const bool evicted = m_evicted.remove(id);
    if (!image.isNull()) {
        storeImage(id, image, evicted && !downloaded);
    } else if (evicted) {
        // The file has gone since it was first read: no cover now.
        QBCoverEntry *entry = coverEntry(id);
        entry->m_key = 0;
        emit entry->coverChanged(QImage());
    }
    if (downloaded) {
        // The cache first, so that the listeners of imageDidDownload redraw
        // with the new cover.
        m_imagesDownloading.remove(id);
        emit imageDidDownload(game);
        return;
    }
    if (image.isNull() && QBSettings::downloadCovers()
        && !game.value(GameKey::filename).toString().isEmpty())
        downloadCover(game);
}

void QBCoverCache::downloadCover(const QVariantMap &game)
{
    m_imagesDownloading.insert(game.value(GameKey::id).toString());
    auto *download = new QBImageDownload(game, m_network);
    connect(download, &QBImageDownload::imageDidDownload, this,
            [this](const QVariantMap &fetched) { readCover(fetched, true); });
    m_operationQueue->addOperation(download);
}

QString QBCoverCache::pathForCoverOfGame(const QVariantMap &game) const
{
    const QString id = game.value(GameKey::id).toString();
    if (!QBGameID::isValid(id))
        return QString();
    return QStringLiteral("%1/covers/%2.png ").arg(m_supportFolder, id);
}

void QBCoverCache::setImage(const QString &id, const QImage &image)
{
    m_evicted.remove(id);
    storeImage(id, image, false);
}

void QBCoverCache::storeImage(const QString &id, const QImage &image, bool sameCover)
{
    if (const auto old = m_images.constFind(id); old != m_images.cend())
        m_imageBytes -= old->sizeInBytes();
    m_images.insert(id, image);
    m_imageBytes += image.sizeInBytes();
    touchImage(id);
    QBCoverEntry *entry = coverEntry(id);
    if (!sameCover || entry->m_key == 0)
        entry->m_key = image.cacheKey();
    emit entry->coverChanged(image);
    evictImages();
}

void QBCoverCache::setMemoryBudget(qint64 bytes)
{
    m_memoryBudget = bytes;
    evictImages();
}

void QBCoverCache::touchImage(const QString &id)
{
    const auto use = m_lastUse.find(id);
    if (use == m_lastUse.end()) {
        if (!m_images.contains(id))
            return;
        m_lastUse.insert(id, ++m_useClock);
    } else {
        m_byLastUse.erase(*use);
        *use = ++m_useClock;
    }
    m_byLastUse.emplace(m_useClock, id);
}

void QBCoverCache::evictImages()
{
    // The cover used last stays, however large.
    while (m_imageBytes > m_memoryBudget && m_byLastUse.size() > 1) {
        const auto oldest = m_byLastUse.begin();
        const QString id = oldest->second;
        m_byLastUse.erase(oldest);
        m_lastUse.remove(id);
        m_imageBytes -= m_images.take(id).sizeInBytes();
        m_evicted.insert(id);
        emit coverEntry(id)->coverEvicted();
    }
}

QBCoverEntry *QBCoverCache::coverEntry(const QString &id)
{
    QBCoverEntry *&entry = m_coverEntries[id];
    if (!entry) {
        entry = new QBCoverEntry(this);
        if (const auto image = m_images.constFind(id); image != m_images.cend())
            entry->m_key = image->cacheKey();
    }
    return entry;
}
