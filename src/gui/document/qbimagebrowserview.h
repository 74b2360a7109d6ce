// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbgameview.h"

#include <QListView>

// The cover grid of a document window.
class QBImageBrowserView : public QBGameView<QListView, true>
{
public:
    explicit QBImageBrowserView(QBDocumentWindow *document, QWidget *parent = nullptr);
};
