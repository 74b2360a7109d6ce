// SPDX-License-Identifier: GPL-3.0-or-later
#include "conversion/qbconversioncontroller.h"
#include "qbdocument.h"
#include "qbdocumentediting.h"
#include "qbfilesystem.h"
#include "tasks/qbgameid.h"
#include "tasks/qbkeys.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbrecovertask.h"
#include "tasks/qbremovetask.h"

#include <QFileInfo>

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
    for (const QVariantMap &game : games)
        arguments << game.value(partition ? GameKey::id : GameKey::filename).toString();
    if (partition)
        arguments << QStringLiteral("--part") << documentFilename << QStringLiteral("--no-free");
    arguments << QStringLiteral("--sections");
    return arguments;
}

QBAlert removeConfirmation(int documentType, const QString &games)
{
    QBAlert alert;
    alert.message = QStringLiteral("Are you sure you want to remove %1?").arg(games);
    alert.informativeText = documentType == QBDocument::Folder
            ? QStringLiteral("This operation cannot be undone.")
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
    alert.informativeText = filenames.join(u'\n');
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

    const QPointer<QBDocument> guard(this);
    const int answer = QBAlertPresenter::run(QBEditing::removeConfirmation(m_documentType, displayStringForGames(games)));
    if (!guard || answer != QBAlertAnswer::Default)
        return;

    QList<QVariantMap> records;
    QVariantList removedList;
    QList<QPointer<QBGameBundle>> bundles;
    for (const QBListedGame &game : games) {
        records << game.values();
        removedList << game.values();
        bundles << game.bundle;
    }
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
        QBAlertPresenter::run(QBEditing::removeError(removedList.size()));
        return;
    }
    // wit says it removed a file that it could not delete (its folder is
    // read-only), so a file that is still there stays listed.
    qsizetype stillThere = 0;
    QList<int> rows;
    for (qsizetype i = 0; i < removedList.size(); ++i) {
        const QVariantMap game = removedList.at(i).toMap();
        if (m_documentType == Folder && QFileInfo::exists(game.value(GameKey::filename).toString())) {
            ++stillThere;
            continue;
        }
        const QBGameBundle *bundle = i < games.size() ? games.at(i).data() : nullptr;
        if (const int row = bundle ? m_gameList->rowOf(bundle) : -1; row >= 0)
            rows << row;
        m_freeSpace += game.value(GameKey::size).toFloat();
    }
    m_gameList->removeGames(rows);
    QBFilesystemCenter::shared()->postFilesystemDidChange(m_filesystem, m_freeSpace);
    if (stillThere > 0)
        QBAlertPresenter::run(QBEditing::removeError(stillThere));
}

void QBDocument::recoverRemovedGames()
{
    if (m_documentType != Partition)
        return;
    auto *task = new QBRecoverTask({QStringLiteral("recover"), m_filename}, 1, this);
    connect(task, &QBRecoverTask::recoverDidFinish, this, &QBDocument::recoverDidFinish);
    m_blockingQueue->addOperation(task);
}
