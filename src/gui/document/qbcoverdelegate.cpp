// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbcoverdelegate.h"

#include "document/qbcoverthumbnails.h"
#include "document/qbgamelistmodel.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr QSize cellSize(156, 222);
constexpr QSize coverBox(116, 164);
constexpr int margin = 6;

}

QBCoverDelegate::QBCoverDelegate(Style style, QBCoverThumbnails *thumbnails, QObject *parent)
    : QStyledItemDelegate(parent)
    , m_style(style)
    , m_thumbnails(thumbnails)
{
}

QSize QBCoverDelegate::gridCellSize()
{
    return cellSize;
}

QSize QBCoverDelegate::gridCoverBox()
{
    return coverBox;
}

QSize QBCoverDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (m_style == Style::GridCell)
        return cellSize;
    return QStyledItemDelegate::sizeHint(option, index);
}

void QBCoverDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (m_style == Style::GridCell) {
        paintGridCell(painter, option, index);
        return;
    }
    // The table's cell: the usual background (selection, alternate rows),
    // then the cover in the middle.
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);
    paintCover(painter, option.rect.adjusted(1, 1, -1, -1), index, Qt::AlignCenter);
}

void QBCoverDelegate::paintGridCell(QPainter *painter, const QStyleOptionViewItem &option,
                                    const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect cell = option.rect.adjusted(margin / 2, margin / 2, -margin / 2, -margin / 2);
    const bool selected = option.state & QStyle::State_Selected;
    const QPalette &palette = option.palette;
    if (selected) {
        QColor highlight = palette.color(QPalette::Highlight);
        highlight.setAlpha(option.state & QStyle::State_Active ? 90 : 50);
        QPainterPath path;
        path.addRoundedRect(QRectF(cell), 8, 8);
        painter->fillPath(path, highlight);
    }

    const QRect box(cell.left() + (cell.width() - coverBox.width()) / 2, cell.top() + margin, coverBox.width(),
                    coverBox.height());
    paintCover(painter, box, index, Qt::AlignHCenter | Qt::AlignBottom);

    const QFontMetrics metrics(option.font);
    const int textWidth = cell.width() - 2 * margin;
    QRect line(cell.left() + margin, box.bottom() + 1 + margin, textWidth, metrics.height());
    QFont titleFont = option.font;
    titleFont.setBold(true);
    painter->setFont(titleFont);
    painter->setPen(palette.color(QPalette::Text));
    const QString title = index.data(QBGameListModel::TitleRole).toString();
    painter->drawText(line, Qt::AlignHCenter | Qt::AlignTop, QFontMetrics(titleFont).elidedText(title, Qt::ElideRight, textWidth));

    QFont subtitleFont = option.font;
    subtitleFont.setPointSizeF(subtitleFont.pointSizeF() * 0.85);
    painter->setFont(subtitleFont);
    painter->setPen(palette.color(QPalette::PlaceholderText));
    line.translate(0, metrics.height() + 1);
    const QString subtitle = index.data(QBGameListModel::SubtitleRole).toString();
    painter->drawText(line, Qt::AlignHCenter | Qt::AlignTop,
                      QFontMetrics(subtitleFont).elidedText(subtitle, Qt::ElideRight, textWidth));
    painter->restore();
}

void QBCoverDelegate::paintCover(QPainter *painter, const QRect &box, const QModelIndex &index,
                                 Qt::Alignment alignment) const
{
    // The thumbnail is kept under the cover's key, so that a cover that
    // has left memory is not read again while its thumbnail is kept.
    const qint64 key = index.data(QBGameListModel::CoverKeyRole).toLongLong();
    QImage thumbnail = m_thumbnails->cachedThumbnail(key);
    if (thumbnail.isNull() && !m_thumbnails->isPending(key))
        thumbnail = m_thumbnails->thumbnail(key, index.data(QBGameListModel::CoverRole).value<QImage>());
    const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
    if (thumbnail.isNull()) {
        // Not made yet: a frame where the cover will be.
        const QSize placeholder = QSize(box.height() * 5 / 7, box.height()).boundedTo(box.size());
        painter->fillRect(QStyle::alignedRect(Qt::LeftToRight, alignment, placeholder, box),
                          QColor(128, 128, 128, 40));
        return;
    }
    // Thumbnails are made for the box; one made for another screen's pixel
    // ratio is fitted to it.
    QSize drawn = (QSizeF(thumbnail.size()) / ratio).toSize();
    if (drawn.width() > box.width() || drawn.height() > box.height())
        drawn.scale(box.size(), Qt::KeepAspectRatio);
    const QRect target = QStyle::alignedRect(Qt::LeftToRight, alignment, drawn, box);
    painter->drawImage(target, thumbnail);
}
