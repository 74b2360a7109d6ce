// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtableview.h"

QBTableView::QBTableView(QBDocumentWindow *document, QWidget *parent)
    : QBGameView(document, parent)
{
    QBGameViewDragging::setUp(this);
}
