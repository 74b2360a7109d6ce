// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QListView>
#include <QTableView>

class QBDocumentWindow;

// The game table of a document window. Its selected games are dragged to
// other documents, and games are dropped anywhere on it; the window decides
// what is written, shown and accepted.
class QBTableView : public QTableView
{
public:
    explicit QBTableView(QBDocumentWindow *document, QWidget *parent = nullptr);

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QBDocumentWindow *m_document;
};

// The cover grid, the same for drags and drops, except that once a drag is
// in, moving over the grid always offers a copy: data it cannot take is
// refused by the drop itself.
class QBImageBrowserView : public QListView
{
public:
    explicit QBImageBrowserView(QBDocumentWindow *document, QWidget *parent = nullptr);

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QBDocumentWindow *m_document;
};
