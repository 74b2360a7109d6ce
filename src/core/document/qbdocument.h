// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbdocumentviews.h"
#include "qbgamelistmodel.h"

#include <QMultiHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QVariantMap>

#include <optional>

class QBGameFilterModel;
class QBNamingPanel;
class QBOperationQueue;

// The commands of a document window whose state the document decides.
enum class QBDocumentCommand {
    Reload,
    RecoverRemovedGames,
    RemoveGame,
    RenameGame,
    OpenInFinder,
    ToggleDetailsView,
    UpdateContext,
    SetTableViewColumn,
    Other,
};

// Whether a command's item is enabled and, for column and search items,
// whether it is marked on.
struct QBItemValidation
{
    bool enabled = true;
    std::optional<bool> state;
};

// One open source of games, without its window: a folder or a single image
// (type 0, listed by wit), a WBFS partition or WBFS file (type 1, wwt), or
// the title database (type 2, no tool). It lists the source on its own
// serial queue, keeps the games in a model behind a sort and filter proxy,
// writes the status line, shares free space with the other documents on its
// file system, and decides which of its commands are enabled.
//
// Games come in from other documents (addGames, as conversions on the
// program's conversion queue) and go out by removal and renaming, whose
// tools run on the document's own queue.
//
// Creation is split between this object and its window: create() does the
// file-system query and makes the queue; the window then sets up its views
// and calls registerObservers() and browse(), in that order.
//
// The first browse of a folder or a partition starts from the games that
// the last complete listing of the same source found (QBLibraryCache),
// listed at once; the browse then updates, adds and, at its end, removes
// rows in place. A folder, an image or a WBFS file is watched meanwhile
// (QBSourceWatcher): files that other programs add, change or remove are
// listed alone or leave the list, and a WBFS file that changes is listed
// again in place.
class QBDocument : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
    Q_PROPERTY(bool isBrowsing READ isBrowsing NOTIFY isBrowsingChanged)
    Q_PROPERTY(int displayMode READ displayMode NOTIFY displayModeChanged)
    Q_PROPERTY(QString searchContext READ searchContext NOTIFY searchContextChanged)
    Q_PROPERTY(int completedRenomations READ completedRenomations NOTIFY renomationsChanged)
    Q_PROPERTY(int totalRenomations READ totalRenomations NOTIFY renomationsChanged)

public:
    enum DocumentType { Folder = 0, Partition = 1, Database = 2 };

    // Nothing when the file system of a folder's or partition's path cannot
    // be queried. The database document names no file and always opens.
    static QBDocument *create(const QString &filename, int type, int displayMode, QObject *parent = nullptr);
    ~QBDocument() override;

    QString filename() const { return m_filename; }
    int documentType() const { return m_documentType; }
    quint64 filesystem() const { return m_filesystem; }
    float freeSpace() const { return m_freeSpace; }
    float totalSpace() const { return m_totalSpace; }
    bool isBrowsing() const { return m_isBrowsing; }
    QString statusText() const { return m_statusText; }
    QBOperationQueue *blockingQueue() const { return m_blockingQueue; }

    QBGameListModel *gameList() const { return m_gameList; }
    QBGameFilterModel *gameListController() const { return m_gameListController; }
    void setViews(QBDocumentViews *views) { m_views = views; }

    // The arranged games: filtered and sorted.
    QList<QBListedGame> games() const;
    QBListedGame arrangedGame(int index) const;
    // The clicked index alone when it is set and not selected (a menu
    // opened on an unselected row acts on that row only), else the
    // selection.
    static QList<int> selectedIndexes(int clickedIndex, const QList<int> &selection);
    QList<int> selectedIndexes() const;
    std::optional<QBListedGame> selectedGame() const;
    // Nothing, rather than an empty list, when no game is selected.
    std::optional<QList<QBListedGame>> selectedGames() const;
    // "'NAME'" with the last component of the one game's filename, or
    // "N files".
    static QString displayStringForGames(const QList<QBListedGame> &games);
    static QString displayStringForGames(const QList<QVariantMap> &games);

    // 0 is the cover grid, any other value the table.
    int displayMode() const { return m_displayMode; }
    // The user's choice: kept, remembered as the displayMode setting, and
    // the details view closed.
    void setDisplayMode(int mode);
    int imageBrowserClickedIndex() const { return m_imageBrowserClickedIndex; }
    void setImageBrowserClickedIndex(int index) { m_imageBrowserClickedIndex = index; }

    QString searchContext() const { return m_searchContext; }
    // Sets the search key (the very string of the search item) and filters
    // again with the current text.
    void updateContext(const QString &key);
    void updateFilter(const QString &text);

    // Listens to the file-system broadcast, the database and the covers;
    // the database document listens to none of them.
    void registerObservers();
    // Listing (qbdocumentlisting.cpp), down to imageDidDownload.
    void browse();
    // Removes the arranged games (games hidden by the filter stay, and are
    // listed a second time by the new browse), then browses again.
    void reload();
    // Lists the source anew with every game removed first, the hidden ones
    // included: what follows a failed edit, when the list must be what is
    // on the disk.
    void relist();
    void recoverDidFinish() { reload(); }

    void browsingDidFinish(const QVariantMap &userInfo);
    void filesystemDidChange(quint64 filesystem, float freeSpace);
    void databaseDidLoad();
    void imageDidDownload(const QVariantMap &game);

    // Adding (qbdocumentadding.cpp). Screens the games against this
    // document's games and the running conversions, asks the user about
    // duplicates and, for a folder, for a name pattern in the panel, then
    // hands one conversion per game to the conversion controller.
    void addGames(const QList<QVariantMap> &games, QBNamingPanel *convertPanel);
    // A conversion of this document's has ended well: the new file is
    // listed alone, replacing a row of the same filename.
    void conversionDidFinish(const QVariantMap &userInfo);

    // Removing and recovering (qbdocumentremoving.cpp). removeGame acts on
    // selectedGames, after the busy check and the user's confirmation.
    void removeGame();
    void removeGames(const QList<QBListedGame> &games);
    // games are the listed games the task was given, in its order; those
    // gone from the list meanwhile are null.
    void removeDidFinish(const QVariantMap &userInfo, const QList<QPointer<QBGameBundle>> &games);
    void recoverRemovedGames();

    // Renaming (qbdocumentrenaming.cpp): selectedGames, named by the panel.
    void renameGame(QBNamingPanel *renamePanel);
    void renomationDidFinish(const QVariantMap &userInfo, QBGameBundle *game);
    int completedRenomations() const { return m_completedRenomations; }
    int totalRenomations() const { return m_totalRenomations; }

    // The arranged indexes of the games whose IDs other does not list (its
    // games hidden by its filter count as listed).
    QList<int> indexesOfGamesMissingFrom(const QBDocument &other) const;

    bool ownsDetailsView() const;
    // Shows the selected game's file in the file manager.
    void openInFinder();

    QBItemValidation validateUserInterfaceItem(QBDocumentCommand action,
                                               const QVariant &representedObject = {}) const;

    void windowDidBecomeKey();
    // Closes the details view when this document shows it, then announces
    // the close.
    void windowWillClose();

signals:
    void statusTextChanged(const QString &text);
    void isBrowsingChanged(bool browsing);
    void displayModeChanged(int mode);
    void searchContextChanged(const QString &key);
    // Every cover of the grid is to be drawn again.
    void coverGridReloadRequested();
    void documentDidBecomeCurrent(QBDocument *document);
    void documentWillClose(QBDocument *document);
    void renomationsChanged();

private:
    QBDocument(const QString &filename, int type, quint64 filesystem, int displayMode, QObject *parent);

    void setStatusText(const QString &text);
    void setBrowsing(bool browsing);
    void queueBrowsingTask();

    // The library cache and live sources (qbdocumentlibrary.cpp).
    // Starts watching and reading the cached games, beside the first
    // listing: its reports wait for the cached games.
    void openLibrary();
    void listCachedGames(const QList<QVariantMap> &games);
    // The browse's own reports: what it lists is kept for the cache.
    void browseDidReport(const QVariantMap &userInfo);
    // A browse that updates the rows it lists again and removes, at its
    // end, those it did not list.
    void browseInPlace();
    // Updates the row of the same game waiting to be listed again; false
    // when there is none.
    bool reconcileGame(const QVariantMap &game);
    void finishReconciling(bool removeUnlisted);
    void startWatching();
    bool isConvertingInto() const;
    // Lists the files that settled and removes the games of those that
    // vanished, once the document's own work is done.
    void takeSourceChanges();
    void sourceDidVanish();
    void fileListingDidReport(const QVariantMap &userInfo, const QStringList &files,
                              QSet<const QBGameBundle *> &listed);
    void postSpace();
    int arrangedCount() const;
    void setRenomations(int completed, int total);
    // The rows of every game listed with that file, filtered out or not.
    QList<int> rowsOfFile(const QString &filename) const;
    void removeFolderMadeForGame(const QString &filename) const;
    // Lists files, a run of wit at a time, for those that end a listing
    // (found so far: found); then the alert that the source could not be
    // opened, naming them.
    void findUnreadableFiles(const QStringList &files, const QStringList &found);
    void showOpenError(const QStringList &files);

    QString m_filename;
    int m_documentType;
    int m_displayMode;
    bool m_isBrowsing = false;
    int m_imageBrowserClickedIndex = -1;
    float m_totalSpace = 0;
    float m_freeSpace = 0;
    QBOperationQueue *m_blockingQueue;
    QString m_searchContext;
    QString m_filterText;
    quint64 m_filesystem;
    // The volume that holds a WBFS file, for its neighbours' free space.
    std::optional<quint64> m_hostFilesystem;
    QString m_statusText;
    QBGameListModel *m_gameList;
    QBGameFilterModel *m_gameListController;
    QBDocumentViews *m_views = nullptr;
    int m_completedRenomations = 0;
    int m_totalRenomations = 0;
    bool m_renomationFailed = false;

    bool m_libraryOpened = false;
    bool m_reconciling = false;
    bool m_readingLibrary = false;
    QList<QVariantMap> m_heldReports;
    bool m_browseAgain = false;
    // Rows to be listed again, by filename and ID.
    QMultiHash<QString, QPointer<QBGameBundle>> m_unconfirmed;
    // What the browse under way has listed, for the cache.
    QList<QVariantMap> m_listedGames;
    // Changes of the source not yet taken, and files that this document's
    // conversions and renamings made (listed by them).
    QSet<QString> m_settledFiles;
    QSet<QString> m_vanishedFiles;
    QSet<QString> m_ownFiles;
    // A WBFS file's size and time after this document's last work on it.
    std::pair<qint64, qint64> m_sourceStamp{-1, -1};
};
