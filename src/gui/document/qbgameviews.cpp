// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgameviews.h"

#include "qbdocumentwindow.h"

#include <QDragEnterEvent>
#include <QDropEvent>

namespace {

void setUpDragAndDrop(QAbstractItemView *view)
{
    view->setDragEnabled(true);
    view->setAcceptDrops(true);
    view->viewport()->setAcceptDrops(true);
    view->setDragDropMode(QAbstractItemView::DragDrop);
    view->setDefaultDropAction(Qt::CopyAction);
    view->setDropIndicatorShown(false);
}

// Where the pointer is never matters: a drop is for the whole view.
void offerCopy(QDragMoveEvent *event, bool copy)
{
    if (!copy) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void drop(QBDocumentWindow *document, QDropEvent *event)
{
    if (!document->acceptDrop(event->mimeData())) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

}

QBTableView::QBTableView(QBDocumentWindow *document, QWidget *parent)
    : QTableView(parent)
    , m_document(document)
{
    setUpDragAndDrop(this);
}

void QBTableView::startDrag(Qt::DropActions)
{
    m_document->dragGames(this);
}

void QBTableView::dragEnterEvent(QDragEnterEvent *event)
{
    offerCopy(event, m_document->validateDrop(event->mimeData()));
}

void QBTableView::dragMoveEvent(QDragMoveEvent *event)
{
    offerCopy(event, m_document->validateDrop(event->mimeData()));
}

void QBTableView::dropEvent(QDropEvent *event)
{
    drop(m_document, event);
}

QBImageBrowserView::QBImageBrowserView(QBDocumentWindow *document, QWidget *parent)
    : QListView(parent)
    , m_document(document)
{
    // Covers stay where the layout puts them. Fixing the movement turns
    // the list view's own dragging off, so it comes first.
    setViewMode(QListView::IconMode);
    setMovement(QListView::Static);
    setUpDragAndDrop(this);
}

void QBImageBrowserView::startDrag(Qt::DropActions)
{
    m_document->dragGames(this);
}

void QBImageBrowserView::dragEnterEvent(QDragEnterEvent *event)
{
    offerCopy(event, m_document->validateDrop(event->mimeData()));
}

void QBImageBrowserView::dragMoveEvent(QDragMoveEvent *event)
{
    offerCopy(event, true);
}

void QBImageBrowserView::dropEvent(QDropEvent *event)
{
    drop(m_document, event);
}
