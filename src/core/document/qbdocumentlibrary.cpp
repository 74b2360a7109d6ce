// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "qbdocument.h"
#include "qbfilesystem.h"
#include "qblibrarycache.h"
#include "qbsourcewatcher.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qboperationqueue.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QThreadPool>
#include <QtConcurrent>

#include <algorithm>

// A source's games from the cache at once, reconciled by the browse that
// follows; and the files that other programs add, change or remove while
// the source is open.

namespace {

// Reads and writes of cache files, one at a time and in order, so that a
// listing's file never replaces a later one's. The pool goes with the
// application, once its work is done.
QThreadPool *libraryThread()
{
    static QThreadPool *pool = [] {
        auto *threads = new QThreadPool(QCoreApplication::instance());
        threads->setMaxThreadCount(1);
        return threads;
    }();
    return pool;
}

// A game of a source is its file and its ID: a WBFS container in a folder
// holds several games under one filename.
QString gameKey(const QVariantMap &game)
{
    return game.value(GameKey::filename).toString() + u'\n' + game.value(GameKey::id).toString();
}

QBLibraryCache::Source librarySource(const QString &filename, int type)
{
    return {filename, type, type == QBDocument::Folder && QBSettings::browseRecursively()};
}

}

void QBDocument::openLibrary()
{
    startWatching();
    const QString folder = QBLibraryCache::folder();
    const QBLibraryCache::Source source = librarySource(m_filename, m_documentType);
    if (folder.isEmpty() || !QFileInfo::exists(folder + u'/' + QBLibraryCache::fileName(source)))
        return;
    m_readingLibrary = true;
    // A stat per game, on a disk that may be slow: off the event loop. The
    // watcher, and the news of the reading, go with the document.
    using Games = std::optional<QList<QVariantMap>>;
    auto *reading = new QFutureWatcher<Games>(this);
    connect(reading, &QFutureWatcherBase::finished, this, [this, reading] {
        reading->deleteLater();
        if (!std::exchange(m_readingLibrary, false))
            return;
        if (const Games games = reading->result())
            listCachedGames(*games);
        // What the listing reported meanwhile, in order. The alert of its
        // end runs an event loop, in which the document may go.
        const QPointer<QBDocument> guard(this);
        for (const QVariantMap &report : std::exchange(m_heldReports, {})) {
            if (!guard)
                return;
            browseDidReport(report);
        }
    });
    reading->setFuture(QtConcurrent::run(libraryThread(), [folder, source] { return QBLibraryCache::read(folder, source); }));
}

void QBDocument::listCachedGames(const QList<QVariantMap> &games)
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    std::vector<std::pair<std::unique_ptr<QBGameBundle>, QVariantMap>> rows;
    rows.reserve(size_t(games.size()));
    for (const QVariantMap &game : games) {
        auto bundle = std::make_unique<QBGameBundle>(game);
        if (center && center->getImageForGame(bundle->infosDictionary()))
            center->setFinderImageForGame(bundle->infosDictionary());
        m_unconfirmed.insert(gameKey(game), bundle.get());
        rows.emplace_back(std::move(bundle), game);
    }
    m_reconciling = true;
    m_gameList->addGames(std::move(rows));
}

void QBDocument::browseDidReport(const QVariantMap &userInfo)
{
    if (m_readingLibrary) {
        m_heldReports << userInfo;
        return;
    }
    if (!userInfo.contains(UserInfoKey::terminationStatus)) {
        m_listedGames << userInfo.value(UserInfoKey::game).toMap();
        browsingDidFinish(userInfo);
        return;
    }
    // What the tool did not list again is no longer there, failure or not:
    // the list shows what the tool found.
    finishReconciling(true);
    m_ownFiles.clear();
    const QList<QVariantMap> games = std::exchange(m_listedGames, {});
    if (userInfo.value(UserInfoKey::terminationStatus).toInt() == 0) {
        const QString folder = QBLibraryCache::folder();
        const QBLibraryCache::Source source = librarySource(m_filename, m_documentType);
        if (!folder.isEmpty())
            libraryThread()->start([folder, source, games] { QBLibraryCache::write(folder, source, games); });
    }
    // The alert of a failed browse runs its own event loop, in which the
    // document may go.
    const QPointer<QBDocument> guard(this);
    browsingDidFinish(userInfo);
    if (guard && std::exchange(m_browseAgain, false))
        browseInPlace();
}

void QBDocument::browseInPlace()
{
    if (m_isBrowsing) {
        m_browseAgain = true;
        return;
    }
    m_unconfirmed.clear();
    for (int row = 0; row < m_gameList->rowCount(); ++row) {
        if (QBGameBundle *bundle = m_gameList->bundle(row))
            m_unconfirmed.insert(gameKey(bundle->infosDictionary()), bundle);
    }
    m_reconciling = true;
    browse();
}

bool QBDocument::reconcileGame(const QVariantMap &game)
{
    const QString key = gameKey(game);
    for (auto it = m_unconfirmed.find(key); it != m_unconfirmed.end() && it.key() == key;) {
        const QPointer<QBGameBundle> bundle = *it;
        it = m_unconfirmed.erase(it);
        if (const int row = bundle ? m_gameList->rowOf(bundle) : -1; row >= 0) {
            if (m_gameList->updateListedRecord(row, game) && ownsDetailsView())
                QBGameCenter::sharedGameCenter()->updateDetailsView();
            return true;
        }
    }
    return false;
}

void QBDocument::finishReconciling(bool removeUnlisted)
{
    // A reading of the cache under way is dropped, with what it held.
    m_readingLibrary = false;
    m_heldReports.clear();
    QList<int> rows;
    if (removeUnlisted) {
        for (const QPointer<QBGameBundle> &bundle : std::as_const(m_unconfirmed)) {
            if (const int row = bundle ? m_gameList->rowOf(bundle) : -1; row >= 0)
                rows << row;
        }
    }
    m_unconfirmed.clear();
    m_reconciling = false;
    m_gameList->removeGamesInPlace(rows);
}

// --- Live sources ---------------------------------------------------------

void QBDocument::startWatching()
{
    auto *watcher = new QBSourceWatcher(m_filename, m_documentType == Folder && QBSettings::browseRecursively(), this);
    if (!watcher->isWatching()) {
        delete watcher;
        return;
    }
    connect(watcher, &QBSourceWatcher::filesDidSettle, this, [this](const QStringList &files) {
        m_settledFiles.unite(QSet<QString>(files.cbegin(), files.cend()));
        takeSourceChanges();
    });
    connect(watcher, &QBSourceWatcher::filesDidVanish, this, [this](const QStringList &files) {
        m_vanishedFiles.unite(QSet<QString>(files.cbegin(), files.cend()));
        takeSourceChanges();
    });
    connect(watcher, &QBSourceWatcher::sourceDidVanish, this, &QBDocument::sourceDidVanish);
    connect(m_blockingQueue, &QBOperationQueue::operationCountChanged, this, [this](int count) {
        if (count != 0)
            return;
        // The WBFS file as this document's own work left it.
        if (m_documentType == Partition && !isConvertingInto())
            m_sourceStamp = QBLibraryCache::fileStamp(m_filename);
        takeSourceChanges();
    });
}

bool QBDocument::isConvertingInto() const
{
    const QBConversionController *controller = QBConversionController::sharedController();
    if (!controller)
        return false;
    const QSet<QString> destinations = controller->reservedDestinationPaths();
    return std::any_of(destinations.cbegin(), destinations.cend(),
                       [this](const QString &path) { return path.startsWith(m_filename + u'/'); });
}

void QBDocument::takeSourceChanges()
{
    // The document's own tasks (a listing, a removal, a renaming) and a
    // conversion into its WBFS file change the source: what they do is
    // theirs to show, so changes wait until they are done.
    if (m_blockingQueue->operationCount() > 0 || (m_documentType == Partition && isConvertingInto()))
        return;
    const QSet<QString> vanished = std::exchange(m_vanishedFiles, {});
    const QSet<QString> settled = std::exchange(m_settledFiles, {});
    if (m_documentType == Partition) {
        // A WBFS file is a partition: listed again whole, in place.
        if (!settled.isEmpty() && QBLibraryCache::fileStamp(m_filename) != m_sourceStamp)
            browseInPlace();
        return;
    }
    if (!vanished.isEmpty()) {
        QSet<QString> gone;
        for (const QString &file : vanished)
            gone.insert(QDir::cleanPath(file));
        QList<int> rows;
        for (int row = 0; row < m_gameList->rowCount(); ++row) {
            if (gone.contains(QDir::cleanPath(m_gameList->value(row, GameKey::filename).toString())))
                rows << row;
        }
        if (!rows.isEmpty()) {
            m_gameList->removeGamesInPlace(rows);
            postSpace();
        }
    }
    // Files that this document's conversions write are listed by them.
    const QSet<QString> writing = QBConversionController::sharedController()
            ? QBConversionController::sharedController()->reservedDestinationPaths()
            : QSet<QString>();
    QStringList files;
    for (const QString &file : settled) {
        if (!m_ownFiles.remove(file) && !writing.contains(file))
            files << file;
    }
    files.sort();
    // wit lists several sources in one run; groups keep the command line
    // short when many files come at once.
    constexpr qsizetype group = 64;
    for (qsizetype first = 0; first < files.size(); first += group) {
        const QStringList some = files.mid(first, group);
        QStringList arguments{QStringLiteral("list")};
        for (const QString &file : some)
            arguments << QStringLiteral("--source") << file;
        arguments << QStringLiteral("--scan-progress") << QStringLiteral("--sections");
        auto *task = new QBBrowsingTask(arguments, 0, this);
        auto listed = std::make_shared<QSet<const QBGameBundle *>>();
        connect(task, &QBBrowsingTask::browsingDidFinish, this,
                [this, some, listed](const QVariantMap &userInfo) { fileListingDidReport(userInfo, some, *listed); });
        m_blockingQueue->addOperation(task);
    }
}

void QBDocument::fileListingDidReport(const QVariantMap &userInfo, const QStringList &files,
                                      QSet<const QBGameBundle *> &listed)
{
    if (!userInfo.contains(UserInfoKey::terminationStatus)) {
        const QVariantMap game = userInfo.value(UserInfoKey::game).toMap();
        const QString key = gameKey(game);
        for (int row = 0; row < m_gameList->rowCount(); ++row) {
            QBGameBundle *bundle = m_gameList->bundle(row);
            if (bundle && !listed.contains(bundle) && gameKey(bundle->infosDictionary()) == key) {
                listed.insert(bundle);
                if (m_gameList->updateListedRecord(row, game) && ownsDetailsView())
                    QBGameCenter::sharedGameCenter()->updateDetailsView();
                return;
            }
        }
        auto bundle = std::make_unique<QBGameBundle>(game);
        QBGameCenter *center = QBGameCenter::sharedGameCenter();
        if (center && center->getImageForGame(bundle->infosDictionary()))
            center->setFinderImageForGame(bundle->infosDictionary());
        listed.insert(bundle.get());
        m_gameList->addGame(std::move(bundle), game);
        return;
    }
    // Games of these files that the tool no longer finds (the file holds
    // another game now, or none) leave. Errors are not told: a file that
    // is not an image is no news.
    const QSet<QString> names(files.cbegin(), files.cend());
    QList<int> rows;
    for (int row = 0; row < m_gameList->rowCount(); ++row) {
        QBGameBundle *bundle = m_gameList->bundle(row);
        if (bundle && !listed.contains(bundle) && names.contains(bundle->value(GameKey::filename).toString()))
            rows << row;
    }
    m_gameList->removeGamesInPlace(rows);
    postSpace();
}

void QBDocument::sourceDidVanish()
{
    // The tool finds it missing, says so as for any source it cannot
    // open, and the games leave the list.
    browseInPlace();
}

void QBDocument::postSpace()
{
    if (m_documentType != Folder)
        return;
    const QBFilesystemCenter::Space space = QBFilesystemCenter::spaceForPath(m_filename);
    m_freeSpace = space.freeSpace;
    m_totalSpace = space.totalSpace;
    QBFilesystemCenter::shared()->postFilesystemDidChange(m_filesystem, m_freeSpace);
}
