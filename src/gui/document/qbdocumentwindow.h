// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/qbdocument.h"

#include <QMainWindow>

class QAbstractItemView;
class QAction;
class QBConversionsButton;
class QBCoverThumbnails;
class QBGameDataMenus;
class QBImageBrowserView;
class QBTableView;
class QButtonGroup;
class QDrag;
class QLabel;
class QLineEdit;
class QListView;
class QMenu;
class QMimeData;
class QProgressBar;
class QStackedWidget;
class QTableView;
class QTimer;
class QToolButton;

// The window of one document: its games as a table or as a grid of covers
// over the same arranged list, the display-mode control, the conversions
// button, the search field with its menu of keys, the status line and the
// reload button. The table's column layout and sort order and the window's
// frame are remembered per source, under the document's filename.
//
// Commands that act on a document are QActions tagged with their
// QBDocumentCommand (setCommand); validateUserInterfaceItem enables them,
// and marks the column and search items, by the document's rules.
//
// Games are dragged from the table or the grid to another document's
// window, and dropped anywhere on its table or grid; the drop adds them
// to that document (converting them into a folder, or adding them to a
// partition). Only the program's own drag data is taken, and never by the
// title database's window.
class QBDocumentWindow : public QMainWindow, private QBDocumentViews
{
    Q_OBJECT

public:
    // Opens a document and its window and starts listing the source;
    // nothing when the document cannot be created (the file system of its
    // path cannot be queried). The search menu and the column items copy
    // those of menus.
    static QBDocumentWindow *create(const QString &filename, int type, int displayMode, const QBGameDataMenus &menus,
                                    QWidget *parent = nullptr);
    ~QBDocumentWindow() override;

    QBDocument *document() const { return m_document; }

    QTableView *tableView() const;
    QListView *imageBrowserView() const;
    QStackedWidget *scrollView() const { return m_scrollView; }
    QWidget *displayModeControl() const { return m_displayModeControl; }
    QToolButton *displayModeSegment(int segment) const;
    QBConversionsButton *conversionButton() const { return m_conversionButton; }
    QToolButton *reloadButton() const { return m_reloadButton; }
    QLineEdit *searchField() const { return m_searchField; }
    QLabel *statusTextField() const { return m_statusTextField; }
    QProgressBar *browsingIndicator() const { return m_browsingIndicator; }
    // The context menu of the games, in the table and in the grid.
    QMenu *gameMenu() const { return m_gameMenu; }
    QMenu *searchMenu() const { return m_searchMenu; }
    // The column items, also shown on the table header's context menu.
    QMenu *columnMenu() const { return m_columnMenu; }
    QAction *reloadAction() const { return m_reloadAction; }
    QAction *findAction() const { return m_findAction; }
    QAction *detailsAction() const { return m_detailsAction; }
    QAction *revealAction() const { return m_revealAction; }
    QAction *removeAction() const { return m_removeAction; }
    QAction *renameAction() const { return m_renameAction; }
    QAction *recoverAction() const { return m_recoverAction; }

    static void setCommand(QAction *action, QBDocumentCommand command);
    static QBDocumentCommand command(const QAction *action);
    // The window's own action for a command (added with addAction), for
    // menus outside the window that act on the front document; nullptr
    // when the window has none.
    QAction *actionForCommand(QBDocumentCommand command) const;
    // Enables the item, and checks a column or search item, by the rules of
    // its command.
    void validateUserInterfaceItem(QAction *item) const;

    // The commands.
    void setDisplayMode(int mode);
    // The item's check state is the column's visibility wanted: checkable
    // items have flipped when they are triggered.
    void setTableViewColumn(QAction *item);
    void updateContext(QAction *item);
    void performFindPanelAction();
    void toggleDetailsView();
    void reload();
    void openInFinder();
    void removeGame();
    void renameGame();
    void recoverRemovedGames();
    // Selects the games at the arranged indexes, and only them, in the
    // table and in the grid.
    void selectGames(const QList<int> &indexes);
    // Adds dropped games, asking what the document asks.
    void addGames(const QList<QVariantMap> &games);

    // Drag and drop. The games at the arranged indexes as drag data, or
    // nothing from the title database.
    QMimeData *writeGames(const QList<int> &indexes) const;
    // The first game's cover with the badge counting the games.
    QImage draggedImageForGameIndexes(const QList<int> &indexes) const;
    // Drags the selected games out of view.
    void dragGames(QAbstractItemView *view);
    // Whether a drag may be dropped here: only the program's games, and
    // never on the title database.
    bool validateDrop(const QMimeData *data) const;
    // Takes a drop; the games are added once the drop is over. Data that
    // cannot be read is refused, and the user told so.
    bool acceptDrop(const QMimeData *data);

    // The frame saved under the filename, if any; false when there is none.
    bool setFrameUsingName();
    void saveFrameUsingName() const;

signals:
    // A drag of this window's games is about to start.
    void dragWillStart(QDrag *drag);

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    QBDocumentWindow(QBDocument *document, const QBGameDataMenus &menus, QWidget *parent);

    void buildWidgets();
    // The table, the cover grid and the stack that shows one of them.
    void buildViews();
    void buildActions();
    void buildMenus(const QBGameDataMenus &menus);
    void setUpColumns();
    void validateActions();
    void saveTableState() const;
    void showGameMenu(QWidget *view, const QPoint &viewportPosition);
    void tableDoubleClicked(const QModelIndex &index);

    // QBDocumentViews
    int tableClickedRow() const override { return m_tableClickedRow; }
    QList<int> tableSelectedRows() const override;
    QList<int> gridSelectionIndexes() const override;
    bool isColumnVisible(const QString &key) const override;

    QBDocument *m_document;
    QBImageBrowserView *m_imageBrowserView = nullptr;
    QBTableView *m_tableView = nullptr;
    QStackedWidget *m_scrollView = nullptr;
    QBConversionsButton *m_conversionButton = nullptr;
    QToolButton *m_reloadButton = nullptr;
    QLineEdit *m_searchField = nullptr;
    QLabel *m_statusTextField = nullptr;
    QProgressBar *m_browsingIndicator = nullptr;
    QWidget *m_displayModeControl = nullptr;
    QButtonGroup *m_displayModeGroup = nullptr;
    QMenu *m_gameMenu = nullptr;
    QMenu *m_searchMenu = nullptr;
    QMenu *m_columnMenu = nullptr;
    QAction *m_reloadAction = nullptr;
    QAction *m_findAction = nullptr;
    QAction *m_detailsAction = nullptr;
    QAction *m_revealAction = nullptr;
    QAction *m_removeAction = nullptr;
    QAction *m_renameAction = nullptr;
    QAction *m_recoverAction = nullptr;
    QBCoverThumbnails *m_gridThumbnails = nullptr;
    QBCoverThumbnails *m_tableThumbnails = nullptr;
    int m_tableClickedRow = -1;
    QTimer *m_tableStateSaver = nullptr;
};
