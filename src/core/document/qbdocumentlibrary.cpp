// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "qbdocument.h"
#include "qblibrarycache.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QThreadPool>
#include <QtConcurrent>

// A source's games from the cache at once, reconciled by the browse that
// follows.

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

bool QBDocument::openLibrary()
{
    const QString folder = QBLibraryCache::folder();
    const QBLibraryCache::Source source = librarySource(m_filename, m_documentType);
    if (folder.isEmpty() || !QFileInfo::exists(folder + u'/' + QBLibraryCache::fileName(source)))
        return false;
    // A stat per game, on a disk that may be slow: off the event loop. The
    // watcher, and the news of the reading, go with the document.
    using Games = std::optional<QList<QVariantMap>>;
    auto *reading = new QFutureWatcher<Games>(this);
    connect(reading, &QFutureWatcherBase::finished, this, [this, reading] {
        reading->deleteLater();
        if (const Games games = reading->result())
            listCachedGames(*games);
        queueBrowsingTask();
    });
    reading->setFuture(QtConcurrent::run(libraryThread(), [folder, source] { return QBLibraryCache::read(folder, source); }));
    return true;
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
    if (!userInfo.contains(UserInfoKey::terminationStatus)) {
        m_listedGames << userInfo.value(UserInfoKey::game).toMap();
        browsingDidFinish(userInfo);
        return;
    }
    // What the tool did not list again is no longer there, failure or not:
    // the list shows what the tool found.
    finishReconciling(true);
    const QList<QVariantMap> games = std::exchange(m_listedGames, {});
    if (userInfo.value(UserInfoKey::terminationStatus).toInt() == 0) {
        const QString folder = QBLibraryCache::folder();
        const QBLibraryCache::Source source = librarySource(m_filename, m_documentType);
        if (!folder.isEmpty())
            libraryThread()->start([folder, source, games] { QBLibraryCache::write(folder, source, games); });
    }
    browsingDidFinish(userInfo);
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
