// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbgameview.h"

#include <QTableView>

// The game table of a document window.
class QBTableView : public QBGameView<QTableView, false>
{
public:
    explicit QBTableView(QBDocumentWindow *document, QWidget *parent = nullptr);
};
