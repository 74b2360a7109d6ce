// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentwindow.h"

#include "base/qbalertpresenter.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "conversion/qbconversionsbutton.h"
#include "document/qbcoverthumbnails.h"
#include "document/qbdragdata.h"
#include "document/qbgamefiltermodel.h"
#include "gamedata/qbdetailspopover.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "panels/qbrenamepanel.h"
#include "qbcoverdelegate.h"
#include "qbdragimage.h"
#include "qbgameviews.h"

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QDir>
#include <QDrag>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

#include <algorithm>

namespace {

const char commandProperty[] = "qbDocumentCommand";

// The columns that a new source's table shows, in this order; every other
// key of tableViewKeys is a hidden column after them.
const QStringList &layoutColumns()
{
    static const QStringList keys{u"cover"_qs,     u"title"_qs, u"id"_qs,      u"region"_qs,
                                  u"filetype"_qs, u"size"_qs,  u"filename"_qs};
    return keys;
}

const QStringList &fileColumns()
{
    static const QStringList keys{u"cover"_qs, u"filename"_qs, u"filetype"_qs, u"size"_qs};
    return keys;
}

constexpr int rowHeight = 34;
constexpr QSize tableCoverBox(24, rowHeight - 2);
// What the grid's scaled covers may take, beyond those on screen.
constexpr qint64 gridThumbnailCacheBytes = 48 * 1024 * 1024;
constexpr qint64 tableThumbnailCacheBytes = 8 * 1024 * 1024;

QList<int> sortedUniqueRows(const QModelIndexList &indexes)
{
    QList<int> rows;
    rows.reserve(indexes.size());
    for (const QModelIndex &index : indexes)
        rows << index.row();
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

}

QBDocumentWindow *QBDocumentWindow::create(const QString &filename, int type, int displayMode,
                                           const QBGameDataMenus &menus, QWidget *parent)
{
    QBDocument *document = QBDocument::create(filename, type, displayMode);
    if (!document)
        return nullptr;
    return new QBDocumentWindow(document, menus, parent);
}

QBDocumentWindow::QBDocumentWindow(QBDocument *document, const QBGameDataMenus &menus, QWidget *parent)
    : QMainWindow(parent)
    , m_document(document)
{
    document->setParent(this);
    document->setViews(this);
    setAttribute(Qt::WA_DeleteOnClose);
    buildWidgets();
    buildActions();
    buildMenus(menus);

    setWindowTitle(m_document->documentType() == QBDocument::Database
                           ? m_document->filename()
                           : QDir::toNativeSeparators(QDir::cleanPath(m_document->filename())));

    connect(m_tableView, &QAbstractItemView::doubleClicked, this, &QBDocumentWindow::tableDoubleClicked);
    m_document->setImageBrowserClickedIndex(-1);

    setUpColumns();

    const int mode = m_document->displayMode();
    displayModeSegment(mode == 0 ? 0 : 1)->setChecked(true);
    m_scrollView->setCurrentWidget(mode == 0 ? static_cast<QWidget *>(m_imageBrowserView) : m_tableView);

    m_searchField->setPlaceholderText(QBGameCenter::capitalizedKey(m_document->searchContext()));

    if (m_document->documentType() == QBDocument::Database) {
        displayModeSegment(0)->setEnabled(false);
        m_imageBrowserView->setModel(nullptr);
        for (const QString &key : fileColumns())
            m_tableView->setColumnHidden(QBGameListModel::columnForKey(key), true);
        // No covers to show: rows of text height.
        m_tableView->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    }

    m_document->registerObservers();
    m_document->browse();
    validateActions();
}

QBDocumentWindow::~QBDocumentWindow()
{
    // Hidden while this object is whole: hiding makes the views lay out and
    // signal, and their receivers here must not run half destroyed.
    hide();
    m_tableView->horizontalHeader()->disconnect(this);
    // The document goes with the widget's children, after this part of the
    // window; when it closes the details view, the game center's signal
    // must not come back here.
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        disconnect(center, nullptr, this, nullptr);
    m_document->setViews(nullptr);
}

void QBDocumentWindow::buildWidgets()
{
    QBGameFilterModel *games = m_document->gameListController();
    resize(960, 640);

    m_tableView = new QBTableView(this);
    m_tableView->setObjectName(QStringLiteral("tableView"));
    m_tableView->setModel(games);
    m_tableView->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tableView->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_tableView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_tableView->setShowGrid(false);
    m_tableView->setAlternatingRowColors(true);
    m_tableView->setWordWrap(false);
    m_tableView->setFrameShape(QFrame::NoFrame);
    m_tableView->verticalHeader()->hide();
    m_tableView->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_tableView->verticalHeader()->setDefaultSectionSize(rowHeight);
    QHeaderView *header = m_tableView->horizontalHeader();
    header->setSectionsMovable(true);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // No order until the user asks for one: the games stay as listed.
    header->setSortIndicator(-1, Qt::AscendingOrder);
    m_tableView->setSortingEnabled(true);
    m_tableView->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_tableView, &QWidget::customContextMenuRequested, this,
            [this](const QPoint &position) { showGameMenu(m_tableView, position); });

    const qreal ratio = devicePixelRatioF();
    m_tableThumbnails = new QBCoverThumbnails(tableCoverBox * ratio, tableThumbnailCacheBytes, this);
    m_tableView->setItemDelegateForColumn(
            QBGameListModel::columnForKey(u"cover"_qs),
            new QBCoverDelegate(QBCoverDelegate::Style::TableCell, m_tableThumbnails, m_tableView));
    connect(m_tableThumbnails, &QBCoverThumbnails::thumbnailsReady, m_tableView->viewport(),
            qOverload<>(&QWidget::update));

    m_imageBrowserView = new QBImageBrowserView(this);
    m_imageBrowserView->setObjectName(QStringLiteral("imageBrowserView"));
    m_imageBrowserView->setResizeMode(QListView::Adjust);
    m_imageBrowserView->setUniformItemSizes(true);
    m_imageBrowserView->setGridSize(QBCoverDelegate::gridCellSize());
    m_imageBrowserView->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_imageBrowserView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_imageBrowserView->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_imageBrowserView->setFrameShape(QFrame::NoFrame);
    m_imageBrowserView->setLayoutMode(QListView::Batched);
    m_imageBrowserView->setBatchSize(1000);
    m_gridThumbnails = new QBCoverThumbnails(QBCoverDelegate::gridCoverBox() * ratio, gridThumbnailCacheBytes, this);
    m_imageBrowserView->setItemDelegate(
            new QBCoverDelegate(QBCoverDelegate::Style::GridCell, m_gridThumbnails, m_imageBrowserView));
    m_imageBrowserView->setModel(games);
    m_imageBrowserView->setModelColumn(QBGameListModel::columnForKey(u"cover"_qs));
    m_imageBrowserView->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_imageBrowserView, &QWidget::customContextMenuRequested, this,
            [this](const QPoint &position) { showGameMenu(m_imageBrowserView, position); });
    connect(m_imageBrowserView, &QAbstractItemView::doubleClicked, this, &QBDocumentWindow::toggleDetailsView);
    connect(m_gridThumbnails, &QBCoverThumbnails::thumbnailsReady, m_imageBrowserView->viewport(),
            qOverload<>(&QWidget::update));
    connect(m_document, &QBDocument::coverGridReloadRequested, m_imageBrowserView->viewport(),
            qOverload<>(&QWidget::update));

    m_scrollView = new QStackedWidget;
    m_scrollView->setObjectName(QStringLiteral("scrollView"));
    m_scrollView->addWidget(m_imageBrowserView);
    m_scrollView->addWidget(m_tableView);
    setCentralWidget(m_scrollView);

    // The toolbar: display mode on the left; conversions and search on the
    // right.
    auto *toolbar = addToolBar(QStringLiteral("Document"));
    toolbar->setObjectName(QStringLiteral("documentToolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->toggleViewAction()->setVisible(false);
    m_displayModeControl = new QWidget;
    m_displayModeControl->setObjectName(QStringLiteral("displayModeControl"));
    auto *segments = new QHBoxLayout(m_displayModeControl);
    segments->setContentsMargins(0, 0, 0, 0);
    segments->setSpacing(0);
    m_displayModeGroup = new QButtonGroup(this);
    const std::pair<QString, QString> segmentLooks[] = {
            {QStringLiteral(":/palomet/document/covers.svg"), QStringLiteral("Covers")},
            {QStringLiteral(":/palomet/document/table.svg"), QStringLiteral("List")},
    };
    for (int segment = 0; segment < 2; ++segment) {
        auto *button = new QToolButton;
        button->setCheckable(true);
        button->setIcon(QIcon(segmentLooks[segment].first));
        button->setIconSize(QSize(20, 20));
        button->setToolTip(segmentLooks[segment].second);
        button->setAutoRaise(true);
        segments->addWidget(button);
        m_displayModeGroup->addButton(button, segment);
    }
    connect(m_displayModeGroup, &QButtonGroup::idClicked, this, &QBDocumentWindow::setDisplayMode);
    toolbar->addWidget(m_displayModeControl);
    auto *spacer = new QWidget;
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    m_conversionButton = new QBConversionsButton;
    toolbar->addWidget(m_conversionButton);
    m_searchField = new QLineEdit;
    m_searchField->setObjectName(QStringLiteral("searchField"));
    m_searchField->setClearButtonEnabled(true);
    m_searchField->setFixedWidth(220);
    toolbar->addWidget(m_searchField);
    connect(m_searchField, &QLineEdit::textChanged, m_document, &QBDocument::updateFilter);

    // The status line, with the reload button on its left.
    m_reloadButton = new QToolButton;
    m_reloadButton->setObjectName(QStringLiteral("reloadButton"));
    m_reloadButton->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));
    m_reloadButton->setToolTip(QStringLiteral("Reload"));
    m_reloadButton->setAutoRaise(true);
    connect(m_reloadButton, &QToolButton::clicked, this, &QBDocumentWindow::reload);
    m_statusTextField = new QLabel;
    m_statusTextField->setObjectName(QStringLiteral("statusTextField"));
    m_statusTextField->setAlignment(Qt::AlignCenter);
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addWidget(m_reloadButton);
    statusBar()->addWidget(m_statusTextField, 1);
    connect(m_document, &QBDocument::statusTextChanged, m_statusTextField, &QLabel::setText);
    connect(m_document, &QBDocument::isBrowsingChanged, m_reloadButton,
            [this](bool browsing) { m_reloadButton->setEnabled(!browsing); });
}

void QBDocumentWindow::buildActions()
{
    auto makeAction = [this](const QString &text, QBDocumentCommand command, const QKeySequence &shortcut,
                             void (QBDocumentWindow::*slot)()) {
        auto *action = new QAction(text, this);
        setCommand(action, command);
        action->setShortcut(shortcut);
        connect(action, &QAction::triggered, this, slot);
        addAction(action);
        return action;
    };
    m_reloadAction = makeAction(QStringLiteral("Reload"), QBDocumentCommand::Reload, QKeySequence::Refresh,
                                &QBDocumentWindow::reload);
    m_findAction = makeAction(QStringLiteral("Find"), QBDocumentCommand::Other, QKeySequence::Find,
                              &QBDocumentWindow::performFindPanelAction);
    m_detailsAction = makeAction(QStringLiteral("Show Details"), QBDocumentCommand::ToggleDetailsView,
                                 QKeySequence(Qt::CTRL | Qt::Key_I), &QBDocumentWindow::toggleDetailsView);
    m_revealAction = makeAction(QStringLiteral("Show in File Manager"), QBDocumentCommand::OpenInFinder,
                                QKeySequence(), &QBDocumentWindow::openInFinder);
    m_renameAction = makeAction(QStringLiteral("Rename…"), QBDocumentCommand::RenameGame, QKeySequence(),
                                &QBDocumentWindow::renameGame);
    m_removeAction = makeAction(QStringLiteral("Remove…"), QBDocumentCommand::RemoveGame, QKeySequence::Delete,
                                &QBDocumentWindow::removeGame);
    // The text that the removal's question points to.
    m_recoverAction = makeAction(QStringLiteral("Recover removed games"), QBDocumentCommand::RecoverRemovedGames,
                                 QKeySequence(), &QBDocumentWindow::recoverRemovedGames);

    // Whatever a rule reads may have changed.
    connect(m_document, &QBDocument::isBrowsingChanged, this, &QBDocumentWindow::validateActions);
    connect(m_document, &QBDocument::displayModeChanged, this, &QBDocumentWindow::validateActions);
    connect(m_tableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &QBDocumentWindow::validateActions);
    connect(m_imageBrowserView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &QBDocumentWindow::validateActions);
    connect(m_document->gameListController(), &QAbstractItemModel::modelReset, this,
            &QBDocumentWindow::validateActions);
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        connect(center, &QBGameCenter::detailsViewOwnerChanged, this, &QBDocumentWindow::validateActions);
}

void QBDocumentWindow::buildMenus(const QBGameDataMenus &menus)
{
    m_gameMenu = new QMenu(this);
    m_gameMenu->addAction(m_detailsAction);
    m_gameMenu->addAction(m_revealAction);
    m_gameMenu->addSeparator();
    m_gameMenu->addAction(m_renameAction);
    m_gameMenu->addAction(m_removeAction);
    m_gameMenu->addSeparator();
    m_gameMenu->addAction(m_reloadAction);

    // Each window has its own copy of the search menu, so that its items
    // can show this window's search key. An item's data is the very key
    // string of the template's item.
    m_searchMenu = new QMenu(this);
    for (const QAction *item : menus.searchTemplateMenu()->actions()) {
        QAction *copy = m_searchMenu->addAction(item->text());
        copy->setFont(item->font());
        copy->setData(item->data());
        copy->setCheckable(true);
        setCommand(copy, QBDocumentCommand::UpdateContext);
        connect(copy, &QAction::triggered, this, [this, copy] { updateContext(copy); });
    }
    QAction *searchKeys = m_searchField->addAction(QIcon(QStringLiteral(":/palomet/document/search.svg")),
                                                   QLineEdit::LeadingPosition);
    searchKeys->setToolTip(QStringLiteral("Search in"));
    connect(searchKeys, &QAction::triggered, this, [this] {
        m_searchMenu->popup(m_searchField->mapToGlobal(QPoint(0, m_searchField->height())));
    });

    m_columnMenu = new QMenu(this);
    for (const QAction *item : menus.columnActions()) {
        QAction *copy = m_columnMenu->addAction(item->text());
        copy->setData(item->data());
        copy->setCheckable(true);
        setCommand(copy, QBDocumentCommand::SetTableViewColumn);
        connect(copy, &QAction::triggered, this, [this, copy] { setTableViewColumn(copy); });
    }
    QHeaderView *header = m_tableView->horizontalHeader();
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header, &QWidget::customContextMenuRequested, this,
            [this, header](const QPoint &position) { m_columnMenu->popup(header->mapToGlobal(position)); });

    for (QMenu *menu : {m_gameMenu, m_searchMenu, m_columnMenu}) {
        connect(menu, &QMenu::aboutToShow, this, [this, menu] {
            for (QAction *item : menu->actions())
                validateUserInterfaceItem(item);
        });
    }
}

void QBDocumentWindow::setUpColumns()
{
    QHeaderView *header = m_tableView->horizontalHeader();
    // The layout's columns first, in their order, then the others hidden.
    int visual = 0;
    for (const QString &key : layoutColumns())
        header->moveSection(header->visualIndex(QBGameListModel::columnForKey(key)), visual++);
    const QStringList &keys = QBGameCenter::tableViewKeys();
    for (int column = 0; column < keys.size(); ++column)
        m_tableView->setColumnHidden(column, !layoutColumns().contains(keys.at(column)));
    const QList<std::pair<QString, int>> widths{{u"cover"_qs, 48},   {u"title"_qs, 300}, {u"id"_qs, 80},
                                                 {u"region"_qs, 70}, {u"filetype"_qs, 90}, {u"size"_qs, 80}};
    for (const auto &[key, width] : widths)
        header->resizeSection(QBGameListModel::columnForKey(key), width);

    // Width, order, visibility and sort order are kept per source.
    const QByteArray state = QBSettings::tableState(m_document->filename());
    if (!state.isEmpty() && !header->restoreState(state))
        qCInfo(lcDocument).noquote() << "The saved table layout of" << m_document->filename() << "was not used";

    m_tableStateSaver = new QTimer(this);
    m_tableStateSaver->setSingleShot(true);
    m_tableStateSaver->setInterval(300);
    connect(m_tableStateSaver, &QTimer::timeout, this, &QBDocumentWindow::saveTableState);
    auto scheduleSave = [this] { m_tableStateSaver->start(); };
    connect(header, &QHeaderView::sectionMoved, this, scheduleSave);
    connect(header, &QHeaderView::sectionResized, this, scheduleSave);
    connect(header, &QHeaderView::sortIndicatorChanged, this, scheduleSave);
}

// --- Commands -------------------------------------------------------------

void QBDocumentWindow::setCommand(QAction *action, QBDocumentCommand command)
{
    action->setProperty(commandProperty, int(command));
}

QBDocumentCommand QBDocumentWindow::command(const QAction *action)
{
    const QVariant value = action->property(commandProperty);
    return value.isValid() ? QBDocumentCommand(value.toInt()) : QBDocumentCommand::Other;
}

QAction *QBDocumentWindow::actionForCommand(QBDocumentCommand wanted) const
{
    const QList<QAction *> own = actions();
    for (QAction *action : own) {
        if (command(action) == wanted)
            return action;
    }
    return nullptr;
}

void QBDocumentWindow::validateUserInterfaceItem(QAction *item) const
{
    const QBItemValidation validation = m_document->validateUserInterfaceItem(command(item), item->data());
    item->setEnabled(validation.enabled);
    if (validation.state) {
        item->setCheckable(true);
        item->setChecked(*validation.state);
    }
}

void QBDocumentWindow::validateActions()
{
    for (QAction *action :
         {m_reloadAction, m_detailsAction, m_revealAction, m_renameAction, m_removeAction, m_recoverAction})
        validateUserInterfaceItem(action);
}

void QBDocumentWindow::setDisplayMode(int mode)
{
    const int old = m_document->displayMode();
    const QList<int> selection = old == 0 ? gridSelectionIndexes() : tableSelectedRows();
    m_document->setDisplayMode(mode);
    QAbstractItemView *shown = mode == 0 ? static_cast<QAbstractItemView *>(m_imageBrowserView) : m_tableView;
    m_scrollView->setCurrentWidget(shown);
    displayModeSegment(mode == 0 ? 0 : 1)->setChecked(true);
    if ((old == 0) != (mode == 0) && shown->selectionModel()) {
        // The same arranged indexes, replacing what the view had selected.
        QAbstractItemModel *games = m_document->gameListController();
        const int lastColumn = mode == 0 ? m_imageBrowserView->modelColumn() : games->columnCount() - 1;
        const int firstColumn = mode == 0 ? lastColumn : 0;
        QItemSelection rows;
        for (const int row : selection)
            rows.select(games->index(row, firstColumn), games->index(row, lastColumn));
        shown->selectionModel()->select(rows, QItemSelectionModel::ClearAndSelect);
    }
    shown->setFocus();
    validateActions();
}

void QBDocumentWindow::setTableViewColumn(QAction *item)
{
    const int column = QBGameListModel::columnForKey(item->data().toString());
    if (column < 0)
        return;
    const bool visible = item->isChecked();
    m_tableView->setColumnHidden(column, !visible);
    if (visible && m_tableView->columnWidth(column) < 20)
        m_tableView->horizontalHeader()->resizeSection(column, 120);
    saveTableState();
}

void QBDocumentWindow::updateContext(QAction *item)
{
    m_document->updateContext(item->data().toString());
    m_searchField->setPlaceholderText(QBGameCenter::capitalizedKey(m_document->searchContext()));
}

void QBDocumentWindow::performFindPanelAction()
{
    m_searchField->setFocus(Qt::ShortcutFocusReason);
    m_searchField->selectAll();
}

void QBDocumentWindow::toggleDetailsView()
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!center)
        return;
    if (m_document->ownsDetailsView()) {
        center->hideDetailsView();
        return;
    }
    const QList<int> indexes = m_document->selectedIndexes();
    if (indexes.isEmpty())
        return;
    const int index = indexes.last();
    const QBListedGame game = m_document->arrangedGame(index);
    QWidget *view;
    QRect rect;
    if (m_document->displayMode() == 0) {
        view = m_imageBrowserView->viewport();
        rect = m_imageBrowserView->visualRect(m_document->gameListController()->index(index, 0));
    } else {
        view = m_tableView->viewport();
        rect = QRect(0, m_tableView->rowViewportPosition(index), view->width(), m_tableView->rowHeight(index));
    }
    QBDetailsPopover *popover = QBDetailsPopover::shared();
    if (game.bundle)
        popover->showDetailsViewForGame(game.bundle, rect, view, m_document);
    else
        popover->showDetailsViewForGame(game.record, rect, view, m_document);
}

void QBDocumentWindow::reload()
{
    m_document->reload();
}

void QBDocumentWindow::openInFinder()
{
    m_document->openInFinder();
}

void QBDocumentWindow::removeGame()
{
    m_document->removeGame();
}

void QBDocumentWindow::renameGame()
{
    m_document->renameGame(QBRenamePanel::renamePanel());
}

void QBDocumentWindow::recoverRemovedGames()
{
    m_document->recoverRemovedGames();
}

void QBDocumentWindow::addGames(const QList<QVariantMap> &games)
{
    m_document->addGames(games, QBConvertPanel::convertPanel());
}

// --- Drag and drop --------------------------------------------------------

QMimeData *QBDocumentWindow::writeGames(const QList<int> &indexes) const
{
    if (m_document->documentType() == QBDocument::Database || indexes.isEmpty())
        return nullptr;
    QList<QVariantMap> games;
    games.reserve(indexes.size());
    for (const int index : indexes)
        games << m_document->arrangedGame(index).values();
    return QBDragData::mimeData(games);
}

QImage QBDocumentWindow::draggedImageForGameIndexes(const QList<int> &indexes) const
{
    const QString id = indexes.isEmpty() ? QString()
                                         : m_document->arrangedGame(indexes.first()).value(u"id"_qs).toString();
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    return QBDragImage::draggedImage(center ? center->images().value(id) : QImage(), indexes.size(),
                                     devicePixelRatioF());
}

void QBDocumentWindow::dragGames(QAbstractItemView *view)
{
    const QList<int> indexes = m_document->selectedIndexes();
    QMimeData *data = writeGames(indexes);
    if (!data)
        return;
    auto *drag = new QDrag(view);
    drag->setMimeData(data);
    const QImage image = draggedImageForGameIndexes(indexes);
    drag->setPixmap(QPixmap::fromImage(image));
    drag->setHotSpot(QPoint(QBDragImage::displaySize.width() / 2, QBDragImage::displaySize.height() / 2));
    emit dragWillStart(drag);
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

bool QBDocumentWindow::validateDrop(const QMimeData *data) const
{
    return data && data->hasFormat(QBDragData::mimeType) && m_document->documentType() != QBDocument::Database;
}

bool QBDocumentWindow::acceptDrop(const QMimeData *data)
{
    if (!validateDrop(data))
        return false;
    const std::optional<QList<QVariantMap>> games = QBDragData::games(data);
    // Questions and panels wait until the drop is over: the dragging side
    // may still be in its own event loop.
    if (!games) {
        QTimer::singleShot(0, this, [] {
            QBAlert alert;
            alert.message = QStringLiteral("The dragged games could not be read.");
            alert.informativeText = QStringLiteral("They may come from another version of the program. "
                                                   "Nothing was copied.");
            QBAlertPresenter::run(alert);
        });
        return false;
    }
    QTimer::singleShot(0, this, [this, games = *games] { addGames(games); });
    return true;
}

// --- Views ----------------------------------------------------------------

QTableView *QBDocumentWindow::tableView() const
{
    return m_tableView;
}

QListView *QBDocumentWindow::imageBrowserView() const
{
    return m_imageBrowserView;
}

void QBDocumentWindow::tableDoubleClicked(const QModelIndex &index)
{
    m_tableClickedRow = index.row();
    toggleDetailsView();
    m_tableClickedRow = -1;
}

void QBDocumentWindow::showGameMenu(QWidget *view, const QPoint &viewportPosition)
{
    const QPoint global = static_cast<QAbstractItemView *>(view)->viewport()->mapToGlobal(viewportPosition);
    const int row = static_cast<QAbstractItemView *>(view)->indexAt(viewportPosition).row();
    if (view == m_tableView) {
        m_tableClickedRow = row;
        m_gameMenu->exec(global);
        m_tableClickedRow = -1;
        return;
    }
    // The grid has a menu for its covers only.
    if (row < 0)
        return;
    m_document->setImageBrowserClickedIndex(row);
    m_gameMenu->exec(global);
    m_document->setImageBrowserClickedIndex(-1);
}

// --- Views ----------------------------------------------------------------

QToolButton *QBDocumentWindow::displayModeSegment(int segment) const
{
    return static_cast<QToolButton *>(m_displayModeGroup->button(segment));
}

QList<int> QBDocumentWindow::tableSelectedRows() const
{
    return sortedUniqueRows(m_tableView->selectionModel()->selectedRows());
}

QList<int> QBDocumentWindow::gridSelectionIndexes() const
{
    const QItemSelectionModel *selection = m_imageBrowserView->selectionModel();
    return selection ? sortedUniqueRows(selection->selectedIndexes()) : QList<int>();
}

bool QBDocumentWindow::isColumnVisible(const QString &key) const
{
    const int column = QBGameListModel::columnForKey(key);
    return column >= 0 && !m_tableView->isColumnHidden(column);
}

// --- Window state ---------------------------------------------------------

void QBDocumentWindow::saveTableState() const
{
    QBSettings::setTableState(m_document->filename(), m_tableView->horizontalHeader()->saveState());
}

bool QBDocumentWindow::setFrameUsingName()
{
    const QByteArray frame = QBSettings::windowFrame(m_document->filename());
    return !frame.isEmpty() && restoreGeometry(frame);
}

void QBDocumentWindow::saveFrameUsingName() const
{
    QBSettings::setWindowFrame(m_document->filename(), saveGeometry());
}

void QBDocumentWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        m_document->windowDidBecomeKey();
}

void QBDocumentWindow::closeEvent(QCloseEvent *event)
{
    saveFrameUsingName();
    m_tableStateSaver->stop();
    saveTableState();
    m_document->windowWillClose();
    QMainWindow::closeEvent(event);
}
