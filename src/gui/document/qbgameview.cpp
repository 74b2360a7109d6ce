// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgameview.h"

#include "qbdocumentwindow.h"

namespace QBGameViewDragging {

void setUp(QAbstractItemView *view)
{
    view->setDragEnabled(true);
    view->setAcceptDrops(true);
    view->viewport()->setAcceptDrops(true);
    view->setDragDropMode(QAbstractItemView::DragDrop);
    view->setDefaultDropAction(Qt::CopyAction);
    view->setDropIndicatorShown(false);
}

void startDrag(QBDocumentWindow *document, QAbstractItemView *view)
{
    document->dragGames(view);
}

void offerCopy(QDragMoveEvent *event, bool offer)
{
    if (!offer) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

bool validateDrop(QBDocumentWindow *document, const QDropEvent *event)
{
    return document->validateDrop(event->mimeData());
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
