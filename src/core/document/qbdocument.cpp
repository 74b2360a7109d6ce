// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocument.h"

#include "base/qbalertpresenter.h"
#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "qbfilereveal.h"
#include "qbfilesystem.h"
#include "qbgamefiltermodel.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qboperationqueue.h"

#include <QFileInfo>

#include <algorithm>
#include <numeric>

namespace {

// Database records name no file, so these columns stay empty there.
const QStringList &fileColumnKeys()
{
    static const QStringList keys{u"cover"_qs, u"filename"_qs, u"filetype"_qs, u"size"_qs};
    return keys;
}

const char *plural(int count)
{
    return count == 1 ? "" : "s";
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
    const bool partition = m_documentType == Partition;
    const QStringList arguments = partition
            ? QBBrowsingTask::partitionArguments(m_filename)
            : QBBrowsingTask::folderArguments(m_filename, QBSettings::browseRecursively());
    auto *task = new QBBrowsingTask(arguments, partition ? 1 : 0, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, &QBDocument::browsingDidFinish);
    m_blockingQueue->addOperation(task);
}

void QBDocument::reload()
{
    if (ownsDetailsView())
        QBGameCenter::sharedGameCenter()->hideDetailsView();
    m_gameList->removeGames(m_gameListController->arrangedSourceRows());
    browse();
}

void QBDocument::relist()
{
    // Unlike reload, games that the filter hides go too, or the new listing
    // would show them twice.
    if (ownsDetailsView())
        QBGameCenter::sharedGameCenter()->hideDetailsView();
    QList<int> rows(m_gameList->rowCount());
    std::iota(rows.begin(), rows.end(), 0);
    m_gameList->removeGames(rows);
    browse();
}

void QBDocument::browsingDidFinish(const QVariantMap &userInfo)
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!userInfo.contains(UserInfoKey::terminationStatus)) {
        auto bundle = std::make_unique<QBGameBundle>(userInfo.value(UserInfoKey::game).toMap());
        if (center && center->getImageForGame(bundle->infosDictionary()))
            center->setFinderImageForGame(bundle->infosDictionary());
        m_gameList->addGame(std::move(bundle));
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

    if (userInfo.value(UserInfoKey::terminationStatus).toInt() == 1) {
        QBAlert alert;
        alert.message = QStringLiteral("'%1' could not be opened correctly.").arg(m_filename);
        if (m_documentType != Partition)
            alert.informativeText = QStringLiteral(
                    "If you have 'Deep search' checked on the Open panel, try to disable it. If the problem "
                    "persists, make sure you have the privileges to read this file and that you are not "
                    "following a broken link.");
        QBAlertPresenter::run(alert);
    }
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
