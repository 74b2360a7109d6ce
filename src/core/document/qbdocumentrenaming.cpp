// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "panels/qbnamingpanel.h"
#include "qbdocument.h"
#include "qbdocumentediting.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbrenametask.h"

namespace QBEditing {

QString renamedPath(const QString &path, const QString &name)
{
    const QString file = lastPathComponent(path);
    const qsizetype dot = file.lastIndexOf(u'.');
    const QString folder = deletingLastPathComponent(path);
    const QString renamed = (folder == QLatin1String("/") ? QString() : folder) + u'/' + name;
    return dot > 0 ? renamed + file.mid(dot) : renamed;
}

QStringList moveArguments(const QString &path, const QString &newPath)
{
    return {QStringLiteral("move"), QStringLiteral("--source"), path, QStringLiteral("--dest"), newPath,
            QStringLiteral("--sections")};
}

}

void QBDocument::renameGame(QBNamingPanel *renamePanel)
{
    const std::optional<QList<QBListedGame>> games = selectedGames();
    // Files on a partition have no names of their own.
    if (!games || !renamePanel || m_documentType != Folder)
        return;
    QList<QVariantMap> records;
    for (const QBListedGame &game : *games)
        records << game.values();
    const QPointer<QBDocument> guard(this);
    if (!renamePanel->runModalWithTitle(QStringLiteral("Rename ") + displayStringForGames(*games), records) || !guard)
        return;

    setRenomations(0, int(games->size()));
    m_renomationFailed = false;
    // No check that a name is free: wit refuses to move onto a file that
    // exists, and that rename then fails alone.
    for (qsizetype i = 0; i < games->size(); ++i) {
        const QVariantMap &game = records.at(i);
        const QString path = game.value(GameKey::filename).toString();
        const QString newPath = QBEditing::renamedPath(path, renamePanel->stringForGame(game));
        auto *task = new QBRenameTask(game, QBEditing::moveArguments(path, newPath), this);
        connect(task, &QBRenameTask::renomationDidFinish, this,
                [this, bundle = games->at(i).bundle](const QVariantMap &userInfo) {
                    renomationDidFinish(userInfo, bundle);
                });
        m_blockingQueue->addOperation(task);
    }
}

void QBDocument::renomationDidFinish(const QVariantMap &userInfo, QBGameBundle *game)
{
    // The name the tool reports, which is what the file is now called.
    const QVariant renamed = userInfo.value(UserInfoKey::destinationPath);
    const int status = userInfo.value(UserInfoKey::terminationStatus).toInt();
    if (game && status == 0 && renamed.isValid()) {
        game->setDetail(GameKey::filename, renamed);
        m_ownFiles.insert(renamed.toString());
    }
    m_renomationFailed = m_renomationFailed || status == QBTask::ToolError;
    setRenomations(m_completedRenomations + 1, m_totalRenomations);
    // A failed move may have left its file under either name, or moved it
    // half: once the batch is done, the list is made anew from the folder.
    if (m_renomationFailed && m_completedRenomations >= m_totalRenomations) {
        m_renomationFailed = false;
        relist();
    }
}
