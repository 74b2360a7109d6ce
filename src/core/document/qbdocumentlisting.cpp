// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbalertpresenter.h"
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "qbdocument.h"
#include "qbfilesystem.h"
#include "qbgamefiltermodel.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qboperationqueue.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <algorithm>
#include <numeric>

// Listing the source, and keeping the listed games and the status line up
// to date as space, the database and the covers change.

namespace {

// The files of a folder given to wit at most when looking for those it
// cannot read: well within a command line's length.
constexpr qsizetype maximumCheckedFiles = 2000;

const char *plural(int count)
{
    return count == 1 ? "" : "s";
}

}

// --- Listing --------------------------------------------------------------

void QBDocument::browse()
{
    if (m_documentType == Database) {
        QBGameCenter *center = QBGameCenter::sharedGameCenter();
        if (center) {
            // In ID order rather than the hash's, so that an unsorted list
            // reads the same from one run to the next.
            const QBDatabase &database = center->database();
            QList<QString> ids = database.keys();
            std::sort(ids.begin(), ids.end());
            QList<QVariantMap> records;
            records.reserve(ids.size());
            for (const QString &id : std::as_const(ids))
                records << database.value(id);
            m_gameList->addRecords(records);
        }
        setStatusText(QString::asprintf("%lu games", ulong(arrangedCount())));
        return;
    }
    setBrowsing(true);
    setStatusText(QStringLiteral("Loading ..."));
    // The first listing starts from the cached games (qbdocumentlibrary.cpp).
    if (!std::exchange(m_libraryOpened, true))
        openLibrary();
    queueBrowsingTask();
}

void QBDocument::queueBrowsingTask()
{
    const bool partition = m_documentType == Partition;
    const QStringList arguments = partition
            ? QBBrowsingTask::partitionArguments(m_filename)
            : QBBrowsingTask::folderArguments(m_filename, QBSettings::browseRecursively());
    auto *task = new QBBrowsingTask(arguments, partition ? 1 : 0, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, &QBDocument::browseDidReport);
    m_blockingQueue->addOperation(task);
}

void QBDocument::reload()
{
    if (ownsDetailsView())
        QBGameCenter::sharedGameCenter()->hideDetailsView();
    finishReconciling(false);
    m_gameList->removeGames(m_gameListController->arrangedSourceRows());
    browse();
}

void QBDocument::relist()
{
    // Unlike reload, games that the filter hides go too, or the new listing
    // would show them twice.
    if (ownsDetailsView())
        QBGameCenter::sharedGameCenter()->hideDetailsView();
    finishReconciling(false);
    QList<int> rows(m_gameList->rowCount());
    std::iota(rows.begin(), rows.end(), 0);
    m_gameList->removeGames(rows);
    browse();
}

void QBDocument::browsingDidFinish(const QVariantMap &userInfo)
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!userInfo.contains(UserInfoKey::terminationStatus)) {
        const QVariantMap game = userInfo.value(UserInfoKey::game).toMap();
        // A game listed before (from the cache) is updated in its row.
        if (!m_reconciling || !reconcileGame(game)) {
            auto bundle = std::make_unique<QBGameBundle>(game);
            if (center && center->getImageForGame(bundle->infosDictionary()))
                center->setFinderImageForGame(bundle->infosDictionary());
            m_gameList->addGame(std::move(bundle), game);
        }
        const int count = arrangedCount();
        setStatusText(QString::asprintf("%lu game%s found, please wait ...", ulong(count), plural(count)));
        return;
    }

    setBrowsing(false);
    if (m_documentType == Folder) {
        const QBFilesystemCenter::Space space = QBFilesystemCenter::spaceForPath(m_filename);
        m_freeSpace = space.freeSpace;
        m_totalSpace = space.totalSpace;
    } else {
        // The partition's own figures, already in GB.
        const QVariantMap infos = userInfo.value(UserInfoKey::partitionInfos).toMap();
        m_freeSpace = infos.value(PartitionKey::freeSize).toFloat();
        m_totalSpace = infos.value(PartitionKey::totalSize).toFloat();
    }
    QBFilesystemCenter::shared()->postFilesystemDidChange(m_filesystem, m_freeSpace);
    if (m_hostFilesystem) {
        QBFilesystemCenter::shared()->postFilesystemDidChange(
                *m_hostFilesystem, QBFilesystemCenter::spaceForPath(m_filename).freeSpace);
    }

    if (userInfo.value(UserInfoKey::terminationStatus).toInt() != 1)
        return;
    // In a folder, wit ends the listing at a file it cannot open without
    // naming it; given the folder's files, it names each one that stops it.
    if (m_documentType == Folder && QFileInfo(m_filename).isDir()) {
        QStringList files;
        QDirIterator it(m_filename, QDir::Files | QDir::System,
                        QBSettings::browseRecursively() ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
        while (it.hasNext() && files.size() < maximumCheckedFiles)
            files << it.next();
        files.sort();
        findUnreadableFiles(files, {});
        return;
    }
    const QString failed = userInfo.value(UserInfoKey::failedFile).toString();
    showOpenError(failed.isEmpty() || failed == m_filename ? QStringList() : QStringList{failed});
}

void QBDocument::findUnreadableFiles(const QStringList &files, const QStringList &found)
{
    if (files.isEmpty() || found.size() >= 11) {
        showOpenError(found);
        return;
    }
    auto *task = new QBBrowsingTask(QStringList{QStringLiteral("list")} + files + QStringList{QStringLiteral("--sections")}, 0, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, [this, files, found](const QVariantMap &userInfo) {
        if (!userInfo.contains(UserInfoKey::terminationStatus))
            return;
        const QString failed = userInfo.value(UserInfoKey::failedFile).toString();
        const auto stopped = std::find_if(files.cbegin(), files.cend(), [&failed](const QString &file) {
            return failed == file || failed.startsWith(file + u'/');
        });
        if (stopped == files.cend()) {
            showOpenError(found);
            return;
        }
        findUnreadableFiles(files.mid(stopped - files.cbegin() + 1), found + QStringList{failed});
    });
    m_blockingQueue->addOperation(task);
}

void QBDocument::showOpenError(const QStringList &files)
{
    QBAlert alert;
    alert.message = QStringLiteral("'%1' could not be opened correctly.").arg(m_filename);
    if (m_documentType != Partition) {
        QStringList names;
        const QDir folder(m_filename);
        for (const QString &file : files)
            names << (file.startsWith(m_filename + u'/') ? folder.relativeFilePath(file) : file);
        if (!names.isEmpty())
            alert.informativeText = (names.size() == 1 ? QStringLiteral("This file could not be read:\n%1\n\n")
                                                       : QStringLiteral("These files could not be read:\n%1\n\n"))
                                            .arg(QBAlert::nameLines(names));
        alert.informativeText += QStringLiteral(
                "If you have 'Deep search' checked on the Open panel, try to disable it. If the problem "
                "persists, make sure you have the privileges to read this file and that you are not "
                "following a broken link.");
    }
    QBAlertPresenter::run(alert);
}

void QBDocument::filesystemDidChange(quint64 filesystem, float freeSpace)
{
    if (filesystem != m_filesystem || m_isBrowsing)
        return;
    m_freeSpace = freeSpace;
    const int count = arrangedCount();
    setStatusText(QString::asprintf("%lu game%s, %.1f of %.1f GB available", ulong(count), plural(count),
                                    double(m_freeSpace), double(m_totalSpace)));
}
// --- Database and covers --------------------------------------------------

void QBDocument::databaseDidLoad()
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!center)
        return;
    // Only the games shown now take the new records; games hidden by the
    // filter keep what they had until the next load or browse.
    QList<std::pair<int, QVariantMap>> merges;
    const QBDatabase &database = center->database();
    for (const int row : m_gameListController->arrangedSourceRows()) {
        const auto record = database.constFind(m_gameList->value(row, GameKey::id).toString());
        if (record != database.cend())
            merges.append({row, QBGameBundle::databaseEntries(*record)});
    }
    m_gameList->mergeEntries(merges);
    emit coverGridReloadRequested();
    if (ownsDetailsView())
        center->updateDetailsView();
}

void QBDocument::imageDidDownload(const QVariantMap &game)
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    const QString id = game.value(GameKey::id).toString();
    // The same game may be listed twice (two formats): all are redrawn.
    for (int index = 0; index < arrangedCount(); ++index) {
        QBGameBundle *bundle = arrangedGame(index).bundle;
        if (!bundle || bundle->value(GameKey::id).toString() != id)
            continue;
        bundle->setImageVersion(bundle->imageVersion().toInt() + 1);
        if (center)
            center->setFinderImageForGame(bundle->infosDictionary());
    }
    emit coverGridReloadRequested();
}
