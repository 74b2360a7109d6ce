// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentwindow.h"

#include "base/qbalertpresenter.h"
#include "document/qbdragdata.h"
#include "gamedata/qbgamecenter.h"
#include "qbdragimage.h"

#include <QAbstractItemView>
#include <QDrag>
#include <QMimeData>
#include <QTimer>

// Games dragged out of the window, and games dropped on it.

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
