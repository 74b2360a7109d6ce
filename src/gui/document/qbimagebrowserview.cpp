// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbimagebrowserview.h"

QBImageBrowserView::QBImageBrowserView(QBDocumentWindow *document, QWidget *parent)
    : QBGameView(document, parent)
{
    // Covers stay where the layout puts them. Fixing the movement turns
    // the list view's own dragging off, so it comes first.
    setViewMode(QListView::IconMode);
    setMovement(QListView::Static);
    QBGameViewDragging::setUp(this);
}
