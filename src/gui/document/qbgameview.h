// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractItemView>
#include <QDropEvent>

class QBDocumentWindow;

// What the game views ask their window. The window decides what is
// written, shown and accepted; where the pointer is never matters, a drop
// is for the whole view.
namespace QBGameViewDragging {
void setUp(QAbstractItemView *view);
void startDrag(QBDocumentWindow *document, QAbstractItemView *view);
// Offers a copy when offer is true, else refuses.
void offerCopy(QDragMoveEvent *event, bool offer);
bool validateDrop(QBDocumentWindow *document, const QDropEvent *event);
void drop(QBDocumentWindow *document, QDropEvent *event);
}

// A view of a document's games: its selected games are dragged to other
// documents, and games are dropped anywhere on it. A drag is judged as it
// comes in; once in, the cover grid offers a copy wherever it moves
// (movesAlwaysCopy) and leaves the refusal to the drop, while the table
// judges it again at each move.
template<typename View, bool movesAlwaysCopy>
class QBGameView : public View
{
public:
    explicit QBGameView(QBDocumentWindow *document, QWidget *parent = nullptr)
        : View(parent)
        , m_document(document)
    {
    }

protected:
    void startDrag(Qt::DropActions) override { QBGameViewDragging::startDrag(m_document, this); }
    void dragEnterEvent(QDragEnterEvent *event) override
    {
        QBGameViewDragging::offerCopy(event, QBGameViewDragging::validateDrop(m_document, event));
    }
    void dragMoveEvent(QDragMoveEvent *event) override
    {
        QBGameViewDragging::offerCopy(event, movesAlwaysCopy || QBGameViewDragging::validateDrop(m_document, event));
    }
    void dropEvent(QDropEvent *event) override { QBGameViewDragging::drop(m_document, event); }

    QBDocumentWindow *m_document;
};
