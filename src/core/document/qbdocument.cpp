// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocument.h"

#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "qbfilereveal.h"
#include "qbfilesystem.h"
#include "qbgamefiltermodel.h"
#include "tasks/qboperationqueue.h"

#include <QFileInfo>
#include <QSet>

namespace {

// Database records name no file, so these columns stay empty there.
const QStringList &fileColumnKeys()
{
    static const QStringList keys{u"cover"_qs, u"filename"_qs, u"filetype"_qs, u"size"_qs};
    return keys;
}

QString displayString(qsizetype count, const QVariant &firstFilename)
{
    if (count == 1) {
        QString path = firstFilename.toString();
        while (path.size() > 1 && path.endsWith(u'/'))
            path.chop(1);
        return u'\'' + path.mid(path.lastIndexOf(u'/') + 1) + u'\'';
    }
    return QString::asprintf("%lu files", ulong(count));
}

// The same string object, not an equal one: the search item whose key is
// the very key held as the context.
bool isSameString(const QString &a, const QString &b)
{
    return a.size() == b.size() && a.constData() == b.constData();
}

}

QBDocumentViews::~QBDocumentViews() = default;

QBDocument *QBDocument::create(const QString &filename, int type, int displayMode, QObject *parent)
{
    quint64 filesystem = 0;
    if (type != Database) {
        const std::optional<quint64> number = type == Partition ? QBFilesystemCenter::partitionNumber(filename)
                                                                : QBFilesystemCenter::filesystemNumber(filename);
        if (!number)
            return nullptr;
        filesystem = *number;
    }
    auto *document = new QBDocument(filename, type, filesystem, displayMode, parent);
    // A WBFS file grows on the volume that holds it as games go in.
    if (type == Partition && QFileInfo(filename).isFile())
        document->m_hostFilesystem = QBFilesystemCenter::filesystemNumber(filename);
    return document;
}

QBDocument::QBDocument(const QString &filename, int type, quint64 filesystem, int displayMode, QObject *parent)
    : QObject(parent)
    , m_filename(filename)
    , m_documentType(type)
    , m_displayMode(displayMode)
    , m_blockingQueue(new QBOperationQueue(1, this))
    , m_searchContext(QBGameCenter::searchMenuKeys().last())
    , m_filesystem(filesystem)
    , m_gameList(new QBGameListModel(this))
    , m_gameListController(new QBGameFilterModel(m_gameList, this))
{
}

QBDocument::~QBDocument()
{
    disconnect();
    m_blockingQueue->cancelAllOperations();
    // Its games go with it.
    if (ownsDetailsView())
        QBGameCenter::sharedGameCenter()->hideDetailsView();
}

void QBDocument::registerObservers()
{
    if (m_documentType == Database)
        return;
    connect(QBFilesystemCenter::shared(), &QBFilesystemCenter::filesystemDidChange, this,
            &QBDocument::filesystemDidChange);
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter()) {
        connect(center, &QBGameCenter::databaseDidLoad, this, &QBDocument::databaseDidLoad);
        connect(center, &QBGameCenter::imageDidDownload, this, &QBDocument::imageDidDownload);
    }
}

// --- Games and selection --------------------------------------------------

int QBDocument::arrangedCount() const
{
    return m_gameListController->rowCount();
}

QBListedGame QBDocument::arrangedGame(int index) const
{
    if (index < 0 || index >= arrangedCount())
        return {};
    return m_gameList->game(m_gameListController->mapToSource(m_gameListController->index(index, 0)).row());
}

QList<QBListedGame> QBDocument::games() const
{
    QList<QBListedGame> list;
    const QList<int> rows = m_gameListController->arrangedSourceRows();
    list.reserve(rows.size());
    for (const int row : rows)
        list << m_gameList->game(row);
    return list;
}

QList<int> QBDocument::selectedIndexes(int clickedIndex, const QList<int> &selection)
{
    if (clickedIndex != -1 && !selection.contains(clickedIndex))
        return {clickedIndex};
    return selection;
}

QList<int> QBDocument::selectedIndexes() const
{
    if (!m_views)
        return {};
    if (m_displayMode == 0)
        return selectedIndexes(m_imageBrowserClickedIndex, m_views->gridSelectionIndexes());
    return selectedIndexes(m_views->tableClickedRow(), m_views->tableSelectedRows());
}

std::optional<QBListedGame> QBDocument::selectedGame() const
{
    const QList<int> indexes = selectedIndexes();
    if (indexes.isEmpty())
        return std::nullopt;
    return arrangedGame(indexes.last());
}

std::optional<QList<QBListedGame>> QBDocument::selectedGames() const
{
    const QList<int> indexes = selectedIndexes();
    if (indexes.isEmpty())
        return std::nullopt;
    QList<QBListedGame> list;
    for (const int index : indexes)
        list << arrangedGame(index);
    return list;
}

QString QBDocument::displayStringForGames(const QList<QBListedGame> &games)
{
    return displayString(games.size(), games.isEmpty() ? QVariant() : games.first().value(GameKey::filename));
}

QString QBDocument::displayStringForGames(const QList<QVariantMap> &games)
{
    return displayString(games.size(), games.isEmpty() ? QVariant() : games.first().value(GameKey::filename));
}

// --- Display mode and filter ----------------------------------------------

void QBDocument::setDisplayMode(int mode)
{
    QBSettings::setDisplayMode(mode);
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        center->hideDetailsView();
    if (m_displayMode == mode)
        return;
    m_displayMode = mode;
    emit displayModeChanged(mode);
}

void QBDocument::updateContext(const QString &key)
{
    m_searchContext = key;
    emit searchContextChanged(key);
    updateFilter(m_filterText);
}

void QBDocument::updateFilter(const QString &text)
{
    m_filterText = text;
    m_gameListController->setFilter(m_searchContext, text);
}
// --- Commands -------------------------------------------------------------

bool QBDocument::ownsDetailsView() const
{
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    return center && center->detailsViewOwner() == this;
}

void QBDocument::openInFinder()
{
    const std::optional<QBListedGame> game = selectedGame();
    if (!game)
        return;
    const QString path = game->value(GameKey::filename).toString();
    if (!path.isEmpty())
        QBFileReveal::reveal(path);
}

QBItemValidation QBDocument::validateUserInterfaceItem(QBDocumentCommand action,
                                                       const QVariant &representedObject) const
{
    switch (action) {
    case QBDocumentCommand::Reload:
        return {!m_isBrowsing, std::nullopt};
    case QBDocumentCommand::RecoverRemovedGames:
        return {m_documentType == Partition, std::nullopt};
    case QBDocumentCommand::RemoveGame:
        return {selectedGame().has_value() && m_documentType != Database, std::nullopt};
    case QBDocumentCommand::RenameGame:
    case QBDocumentCommand::OpenInFinder:
        return {selectedGame().has_value() && m_documentType == Folder, std::nullopt};
    case QBDocumentCommand::ToggleDetailsView:
        return {selectedGame().has_value() || ownsDetailsView(), std::nullopt};
    case QBDocumentCommand::UpdateContext:
        return {true, isSameString(representedObject.toString(), m_searchContext)};
    case QBDocumentCommand::SetTableViewColumn: {
        const QString key = representedObject.toString();
        return {!(m_documentType == Database && fileColumnKeys().contains(key)),
                m_views && m_views->isColumnVisible(key)};
    }
    case QBDocumentCommand::Other:
        break;
    }
    return {};
}

// --- Window events --------------------------------------------------------

void QBDocument::windowDidBecomeKey()
{
    emit documentDidBecomeCurrent(this);
}

void QBDocument::windowWillClose()
{
    if (ownsDetailsView())
        QBGameCenter::sharedGameCenter()->hideDetailsView();
    emit documentWillClose(this);
}

void QBDocument::setStatusText(const QString &text)
{
    if (m_statusText == text)
        return;
    m_statusText = text;
    emit statusTextChanged(text);
}

void QBDocument::setRenomations(int completed, int total)
{
    if (m_completedRenomations == completed && m_totalRenomations == total)
        return;
    m_completedRenomations = completed;
    m_totalRenomations = total;
    emit renomationsChanged();
}

void QBDocument::setBrowsing(bool browsing)
{
    if (m_isBrowsing == browsing)
        return;
    m_isBrowsing = browsing;
    emit isBrowsingChanged(browsing);
}

QList<int> QBDocument::indexesOfGamesMissingFrom(const QBDocument &other) const
{
    QSet<QString> listed;
    for (int row = 0; row < other.m_gameList->rowCount(); ++row)
        listed.insert(other.m_gameList->value(row, GameKey::id).toString());
    QList<int> indexes;
    const int count = arrangedCount();
    for (int index = 0; index < count; ++index) {
        if (!listed.contains(arrangedGame(index).value(GameKey::id).toString()))
            indexes << index;
    }
    return indexes;
}
