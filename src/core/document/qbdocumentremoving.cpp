// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbgameid.h"
#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "conversion/qbconversioncontroller.h"
#include "qbdocument.h"
#include "qbdocumentediting.h"
#include "qbfilesystem.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbrecovertask.h"
#include "tasks/qbremovetask.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

#include <algorithm>

namespace {

QString chopTrailingSlashes(QString path)
{
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

}

namespace QBEditing {

QString deletingLastPathComponent(const QString &path)
{
    const QString trimmed = chopTrailingSlashes(path);
    const qsizetype slash = trimmed.lastIndexOf(u'/');
    if (slash < 0)
        return QString();
    return slash == 0 ? QStringLiteral("/") : trimmed.left(slash);
}

QString lastPathComponent(const QString &path)
{
    const QString trimmed = chopTrailingSlashes(path);
    return trimmed.mid(trimmed.lastIndexOf(u'/') + 1);
}

QStringList removeArguments(int documentType, const QString &documentFilename, const QList<QVariantMap> &games)
{
    const bool partition = documentType == QBDocument::Partition;
    QStringList arguments{QStringLiteral("remove")};
    for (const QVariantMap &game : games) {
        // Games of one WBFS file in a folder share the file: it is removed
        // once.
        const QString item = game.value(partition ? GameKey::id : GameKey::filename).toString();
        if (partition || !arguments.contains(item))
            arguments << item;
    }
    if (partition)
        arguments << QStringLiteral("--part") << documentFilename << QStringLiteral("--no-free");
    arguments << QStringLiteral("--sections");
    return arguments;
}

QBAlert removeConfirmation(int documentType, const QString &games, const QList<SharedFile> &sharedFiles)
{
    QBAlert alert;
    alert.message = QStringLiteral("Are you sure you want to remove %1?").arg(games);
    // Removing one game of a WBFS file in a folder removes the file, and
    // with it every game it holds: they are named.
    QString shared;
    for (const SharedFile &file : sharedFiles) {
        shared += QStringLiteral("'%1' holds %2 games, which are all removed with it:\n%3\n\n")
                          .arg(lastPathComponent(file.filename))
                          .arg(file.titles.size())
                          .arg(QBAlert::nameLines(file.titles));
    }
    alert.informativeText = documentType == QBDocument::Folder
            ? shared + QStringLiteral("This operation cannot be undone.")
            : QStringLiteral("You can undo this operation later unless you make any change to the WBFS partition "
                             "in the meantime. To recover removed games, just select 'File > Recover removed "
                             "games'.");
    alert.alternateButton = QStringLiteral("Cancel");
    return alert;
}

QBAlert removeError(qsizetype count)
{
    QBAlert alert;
    alert.message = QStringLiteral("An error occurred.");
    alert.informativeText = QStringLiteral("The selected game%1 couldn't be removed. Please refresh the game list to "
                                           "make sure you are viewing the current one.")
                                    .arg(count == 1 ? QString() : QStringLiteral("s"));
    return alert;
}

QBAlert busyGamesAlert(const QStringList &filenames)
{
    QBAlert alert;
    alert.message = QStringLiteral("There are some games being transferred, please wait before removing them.");
    alert.informativeText = QBAlert::nameLines(filenames);
    return alert;
}

}

void QBDocument::removeGame()
{
    if (const std::optional<QList<QBListedGame>> games = selectedGames())
        removeGames(*games);
}

void QBDocument::removeGames(const QList<QBListedGame> &games)
{
    if (m_documentType == Database || games.isEmpty())
        return;
    // A game that a conversion reads stops the whole removal.
    const QBConversionController *controller = QBConversionController::sharedController();
    QStringList busy;
    for (const QBListedGame &game : games) {
        const QString filename = game.value(GameKey::filename).toString();
        if (controller->sourcePathIsReserved(filename))
            busy << filename;
    }
    if (!busy.isEmpty()) {
        QBAlertPresenter::run(QBEditing::busyGamesAlert(busy));
        return;
    }
    // wwt removes by ID; one that is not a disc's is never given to it.
    if (m_documentType == Partition) {
        const auto unnamed = std::count_if(games.cbegin(), games.cend(), [](const QBListedGame &game) {
            return !QBGameID::isValid(game.value(GameKey::id).toString());
        });
        if (unnamed > 0) {
            QBAlertPresenter::run(QBEditing::removeError(unnamed));
            return;
        }
    }

    // The files of a folder that hold more games than the one listed: all
    // their games go with them, listed or filtered out alike.
    QList<QBEditing::SharedFile> sharedFiles;
    if (m_documentType == Folder) {
        for (const QBListedGame &game : games) {
            const QString filename = game.value(GameKey::filename).toString();
            if (std::any_of(sharedFiles.cbegin(), sharedFiles.cend(),
                            [&](const QBEditing::SharedFile &file) { return file.filename == filename; }))
                continue;
            QStringList titles;
            for (const int row : rowsOfFile(filename)) {
                const QString title = m_gameList->value(row, GameKey::title).toString();
                titles << (title.isEmpty() ? m_gameList->value(row, GameKey::id).toString() : title);
            }
            if (titles.size() > 1)
                sharedFiles.append({filename, titles});
        }
    }

    const QPointer<QBDocument> guard(this);
    const int answer = QBAlertPresenter::run(
            QBEditing::removeConfirmation(m_documentType, displayStringForGames(games), sharedFiles));
    if (!guard || answer != QBAlertAnswer::Default)
        return;

    QList<QVariantMap> records;
    QVariantList removedList;
    QList<QPointer<QBGameBundle>> bundles;
    for (const QBListedGame &game : games) {
        // A game whose file went while the question was open (the folder
        // is watched) has left the list: nothing of it is left to remove.
        if (!game.bundle)
            continue;
        records << game.values();
        removedList << game.values();
        bundles << game.bundle;
    }
    if (records.isEmpty())
        return;
    const bool partition = m_documentType == Partition;
    auto *task = new QBRemoveTask(QBEditing::removeArguments(m_documentType, m_filename, records),
                                  partition ? 1 : 0, removedList, this);
    connect(task, &QBRemoveTask::removeDidFinish, this,
            [this, bundles](const QVariantMap &userInfo) { removeDidFinish(userInfo, bundles); });
    m_blockingQueue->addOperation(task);
}

void QBDocument::removeDidFinish(const QVariantMap &userInfo, const QList<QPointer<QBGameBundle>> &games)
{
    const QVariantList removedList = userInfo.value(UserInfoKey::removedList).toList();
    if (userInfo.value(UserInfoKey::terminationStatus).toInt() == QBTask::ToolError) {
        const QPointer<QBDocument> guard(this);
        QBAlertPresenter::run(QBEditing::removeError(removedList.size()));
        // The tool may have removed some of the games all the same (wwt
        // does, when one ID is unknown): the list is made anew from the
        // source.
        if (guard)
            relist();
        return;
    }
    // wit says it removed a file that it could not delete (its folder is
    // read-only), so a file that is still there stays listed.
    qsizetype stillThere = 0;
    QSet<int> rows;
    for (qsizetype i = 0; i < removedList.size(); ++i) {
        const QVariantMap game = removedList.at(i).toMap();
        const QString filename = game.value(GameKey::filename).toString();
        if (m_documentType == Folder && QFileInfo::exists(filename)) {
            ++stillThere;
            continue;
        }
        if (m_documentType != Folder) {
            const QBGameBundle *bundle = i < games.size() ? games.at(i).data() : nullptr;
            if (const int row = bundle ? m_gameList->rowOf(bundle) : -1; row >= 0)
                rows.insert(row);
            // A partition counts its space in thousands of MiB, a game's
            // size in gigabytes of 10^9 bytes.
            m_freeSpace += game.value(GameKey::size).toFloat() * float(1e6 / 1048576.0);
            continue;
        }
        removeFolderMadeForGame(filename);
        // Every game of the file has gone with it.
        for (const int row : rowsOfFile(filename)) {
            if (!rows.contains(row))
                m_freeSpace += m_gameList->value(row, GameKey::size).toFloat();
            rows.insert(row);
        }
    }
    m_gameList->removeGames(rows.values());
    // Sizes as listed are rounded: the sum never shows more free than there
    // is in all.
    if (m_totalSpace > 0)
        m_freeSpace = std::min(m_freeSpace, m_totalSpace);
    QBFilesystemCenter::shared()->postFilesystemDidChange(m_filesystem, m_freeSpace);
    if (stillThere > 0)
        QBAlertPresenter::run(QBEditing::removeError(stillThere));
}

// A converted game may have a folder of its own, named as its file is
// ("NAME/NAME.wbfs"); once the file has gone, the folder goes too when
// nothing else is in it. Never the document's own folder or one above it.
void QBDocument::removeFolderMadeForGame(const QString &filename) const
{
    const QFileInfo file(filename);
    const QString folder = file.absolutePath();
    const QString own = QFileInfo(m_filename).absoluteFilePath();
    if (QFileInfo(folder).fileName() != file.completeBaseName() || folder == own
        || own.startsWith(folder + u'/'))
        return;
    // rmdir only ever removes an empty folder.
    if (QDir().rmdir(folder))
        qCInfo(lcDocument).noquote() << "Removed the empty folder" << folder;
}

QList<int> QBDocument::rowsOfFile(const QString &filename) const
{
    QList<int> rows;
    for (int row = 0; row < m_gameList->rowCount(); ++row) {
        if (m_gameList->value(row, GameKey::filename).toString() == filename)
            rows << row;
    }
    return rows;
}

void QBDocument::recoverRemovedGames()
{
    if (m_documentType != Partition)
        return;
    auto *task = new QBRecoverTask({QStringLiteral("recover"), m_filename}, 1, this);
    connect(task, &QBRecoverTask::recoverDidFinish, this, &QBDocument::recoverDidFinish);
    m_blockingQueue->addOperation(task);
}
