// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStyledItemDelegate>

class QBCoverThumbnails;

// Draws a game's cover from its thumbnail: in the cover grid, as a cell
// with the title and the "FILETYPE, SIZE GB" line beneath; in the table, as
// the content of the cover column. A cover whose thumbnail is still being
// made is drawn as an empty frame until the thumbnails are ready.
class QBCoverDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    enum class Style { GridCell, TableCell };

    QBCoverDelegate(Style style, QBCoverThumbnails *thumbnails, QObject *parent = nullptr);

    // The grid's cell, margins included.
    static QSize gridCellSize();
    // The cover's box in a grid cell, in device-independent pixels.
    static QSize gridCoverBox();

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    void paintGridCell(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const;
    void paintCover(QPainter *painter, const QRect &box, const QModelIndex &index, Qt::Alignment alignment) const;

    Style m_style;
    QBCoverThumbnails *m_thumbnails;
};
