// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbcoverentry.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QVariantMap>

#include <map>

class QBOperationQueue;
class QNetworkAccessManager;

// The game center's covers by game ID: read from the support folder's
// covers off the event loop, fetched when missing, and told to the ID's
// cover entry. The covers in memory stay within a budget: past it, the
// least recently used leave (their entries are told) and are read again
// from their files when next asked for. State is read and changed on the
// main thread only.
class QBCoverCache : public QObject
{
    Q_OBJECT

public:
    // Fetches go on the queue, through the manager; both are shared with
    // the game center's other work. An empty support folder has no covers.
    QBCoverCache(const QString &supportFolder, QBOperationQueue *queue, QNetworkAccessManager *network,
                 QObject *parent = nullptr);
    // Waits for the readers, so that none outlives the cache.
    ~QBCoverCache() override;

    // Whether the cover is cached now; when it is not, the file is read,
    // or fetched when missing, and the cover arrives through coverEntry(id).
    bool getImageForGame(const QVariantMap &game);
    QString pathForCoverOfGame(const QVariantMap &game) const;
    // The covers in memory now.
    const QHash<QString, QImage> &images() const { return m_images; }
    void setImage(const QString &id, const QImage &image);
    const QSet<QString> &imagesDownloading() const { return m_imagesDownloading; }
    QBCoverEntry *coverEntry(const QString &id);

    // Full-size covers take about 170 KiB each: the budget holds a few
    // screens of them, not a library of thousands.
    static constexpr qint64 defaultMemoryBudget = 64 * 1024 * 1024;
    void setMemoryBudget(qint64 bytes);
    qint64 imageBytes() const { return m_imageBytes; }
    // The cover of the ID was used: it leaves memory last.
    void touchImage(const QString &id);
    bool isReading() const { return !m_imagesReading.isEmpty(); }

signals:
    // A cover fetch has ended; the cache already holds the cover if it
    // could be read.
    void imageDidDownload(const QVariantMap &game);

private:
    void readCover(const QVariantMap &game, bool downloaded);
    void coverRead(const QVariantMap &game, const QImage &image, bool downloaded);
    void downloadCover(const QVariantMap &game);
    // sameCover: the picture that the ID had before it was evicted, so
    // its entry keeps its key.
    void storeImage(const QString &id, const QImage &image, bool sameCover);
    void evictImages();

    QString m_supportFolder;
    QBOperationQueue *m_operationQueue;
    QNetworkAccessManager *m_network;
    QHash<QString, QImage> m_images;
    QSet<QString> m_imagesDownloading;
    // IDs whose cover file is being read.
    QSet<QString> m_imagesReading;
    QHash<QString, QBCoverEntry *> m_coverEntries;
    // IDs evicted and not read again since.
    QSet<QString> m_evicted;
    QHash<QString, quint64> m_lastUse;
    std::map<quint64, QString> m_byLastUse;
    quint64 m_useClock = 0;
    int m_rereadPriority = 0;
    qint64 m_imageBytes = 0;
    qint64 m_memoryBudget = defaultMemoryBudget;
    // Cover files are read and decoded here.
    QThreadPool m_coverReaders;
};
