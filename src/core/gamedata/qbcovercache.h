// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbcoverentry.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QVariantMap>

class QBOperationQueue;
class QNetworkAccessManager;

// The game center's covers by game ID: read from the support folder's
// covers off the event loop, fetched when missing, and told to the ID's
// cover entry. State is read and changed on the main thread only.
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
    const QHash<QString, QImage> &images() const { return m_images; }
    void setImage(const QString &id, const QImage &image);
    const QSet<QString> &imagesDownloading() const { return m_imagesDownloading; }
    QBCoverEntry *coverEntry(const QString &id);

signals:
    // A cover fetch has ended; the cache already holds the cover if it
    // could be read.
    void imageDidDownload(const QVariantMap &game);

private:
    void readCover(const QVariantMap &game, bool downloaded);
    void coverRead(const QVariantMap &game, const QImage &image, bool downloaded);
    void downloadCover(const QVariantMap &game);

    QString m_supportFolder;
    QBOperationQueue *m_operationQueue;
    QNetworkAccessManager *m_network;
    QHash<QString, QImage> m_images;
    QSet<QString> m_imagesDownloading;
    // IDs whose cover file is being read.
    QSet<QString> m_imagesReading;
    QHash<QString, QBCoverEntry *> m_coverEntries;
    // Cover files are read and decoded here.
    QThreadPool m_coverReaders;
};
