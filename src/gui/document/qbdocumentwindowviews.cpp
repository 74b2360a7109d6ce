// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentwindow.h"

#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "document/qbcoverthumbnails.h"
#include "document/qbgamefiltermodel.h"
#include "gamedata/qbgamecenter.h"
#include "qbcoverdelegate.h"
#include "qbimagebrowserview.h"
#include "qbtableview.h"

#include <QHeaderView>
#include <QMenu>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>

#include <algorithm>

// The table and the cover grid: how they are built, their columns, the
// display mode that switches between them and what they have selected.

namespace {

// The columns that a new source's table shows, in this order; every other
// key of tableViewKeys is a hidden column after them.
const QStringList &layoutColumns()
{
    static const QStringList keys{u"cover"_qs,     u"title"_qs, u"id"_qs,      u"region"_qs,
                                  u"filetype"_qs, u"size"_qs,  u"filename"_qs};
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

void QBDocumentWindow::buildViews()
{
    QBGameFilterModel *games = m_document->gameListController();

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

void QBDocumentWindow::selectGames(const QList<int> &indexes)
{
    QAbstractItemModel *games = m_document->gameListController();
    const std::pair<QAbstractItemView *, std::pair<int, int>> views[] = {
            {m_tableView, {0, games->columnCount() - 1}},
            {m_imageBrowserView, {m_imageBrowserView->modelColumn(), m_imageBrowserView->modelColumn()}},
    };
    for (const auto &[view, columns] : views) {
        QItemSelection rows;
        for (const int row : indexes)
            rows.select(games->index(row, columns.first), games->index(row, columns.second));
        view->selectionModel()->select(rows, QItemSelectionModel::ClearAndSelect);
    }
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

void QBDocumentWindow::saveTableState() const
{
    QBSettings::setTableState(m_document->filename(), m_tableView->horizontalHeader()->saveState());
}
