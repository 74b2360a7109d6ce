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
    if (m_images.contains(id))
        return true;
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
    m_imagesReading.insert(game.value(GameKey::id).toString());
    m_coverReaders.start([this, game, downloaded] {
        // The path made from the ID, not one a record carries; nothing but
        // a regular file is read, so a FIFO put there cannot block.
        const std::optional<QByteArray> data = QBRegularFile::read(
                QBSupportFolder::coverPath(game.value(GameKey::id).toString()), QBImageDownload::maximumSize);
        const QImage image = data ? QImage::fromData(*data) : QImage();
        QMetaObject::invokeMethod(this, [this, game, image, downloaded] { coverRead(game, image, downloaded); },
                                  Qt::QueuedConnection);
    });
}

void QBCoverCache::coverRead(const QVariantMap &game, const QImage &image, bool downloaded)
{
    const QString id = game.value(GameKey::id).toString();
    m_imagesReading.remove(id);
    if (!image.isNull())
        setImage(id, image);
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
    m_images.insert(id, image);
    if (QBCoverEntry *entry = m_coverEntries.value(id))
        emit entry->coverChanged(image);
}

QBCoverEntry *QBCoverCache::coverEntry(const QString &id)
{
    QBCoverEntry *&entry = m_coverEntries[id];
    if (!entry)
        entry = new QBCoverEntry(this);
    return entry;
}
