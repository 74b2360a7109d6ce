// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversiondelegate.h"

#include "conversion/qbconversionlistmodel.h"

#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmapCache>

#include <algorithm>
#include <cmath>

namespace {

constexpr int margin = 4;
constexpr int stopSize = 20;

// A row repaints at every progress line of its conversion; the cover is
// scaled once, not each time.
QPixmap scaledCover(const QImage &cover, const QSize &size)
{
    const QString key = QStringLiteral("palomet-cover-%1-%2x%3")
                                .arg(cover.cacheKey())
                                .arg(size.width())
                                .arg(size.height());
    QPixmap scaled;
    if (!QPixmapCache::find(key, &scaled)) {
        scaled = QPixmap::fromImage(cover.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        QPixmapCache::insert(key, scaled);
    }
    return scaled;
}

// The style's progress bar, drawn once per width and whole percent: a
// conversion prints many progress lines for each percent it gains.
QPixmap progressBar(const QSize &size, int progress, const QStyleOptionViewItem &option, qreal ratio)
{
    const bool enabled = option.state & QStyle::State_Enabled;
    const QString key = QStringLiteral("palomet-progress-%1x%2-%3-%4-%5")
                                .arg(size.width())
                                .arg(size.height())
                                .arg(progress)
                                .arg(enabled)
                                .arg(ratio);
    QPixmap bar;
    if (QPixmapCache::find(key, &bar))
        return bar;
    bar = QPixmap(size * ratio);
    bar.setDevicePixelRatio(ratio);
    bar.fill(Qt::transparent);
    QStyleOptionProgressBar style;
    style.initFrom(option.widget);
    style.state = (enabled ? QStyle::State_Enabled : QStyle::State_None) | QStyle::State_Horizontal;
    style.rect = QRect(QPoint(0, 0), size);
    style.minimum = 0;
    style.maximum = 100;
    style.progress = progress;
    style.textVisible = false;
    QPainter painter(&bar);
    const QWidget *widget = option.widget;
    (widget ? widget->style() : QApplication::style())->drawControl(QStyle::CE_ProgressBar, &style, &painter, widget);
    painter.end();
    QPixmapCache::insert(key, bar);
    return bar;
}

QIcon givenStopIcon(const QVariant &stopImage)
{
    if (stopImage.canConvert<QIcon>()) {
        const QIcon icon = stopImage.value<QIcon>();
        if (!icon.isNull())
            return icon;
    }
    if (stopImage.canConvert<QImage>()) {
        const QImage image = stopImage.value<QImage>();
        if (!image.isNull())
            return QIcon(QPixmap::fromImage(image));
    }
    return QIcon();
}

}

QRect QBConversionDelegate::coverRect(const QRect &row)
{
    // Covers are portrait, about 7 wide for 10 high.
    const int height = row.height() - 2 * margin;
    return QRect(row.left() + margin, row.top() + margin, height * 7 / 10, height);
}

QRect QBConversionDelegate::stopButtonRect(const QRect &row)
{
    return QRect(row.right() - margin - stopSize + 1, row.center().y() - stopSize / 2, stopSize, stopSize);
}

QString QBConversionDelegate::elidedLabel(const QString &label, const QString &fileName,
                                          const QFontMetrics &metrics, int width)
{
    if (metrics.horizontalAdvance(label) <= width)
        return label;
    const qsizetype at = fileName.isEmpty() ? -1 : label.indexOf(fileName);
    if (at < 0)
        return metrics.elidedText(label, Qt::ElideMiddle, width);
    const int nameWidth = metrics.horizontalAdvance(fileName);
    if (nameWidth >= width)
        return metrics.elidedText(fileName, Qt::ElideRight, width);
    const QString head = label.left(at);
    const QString tail = label.mid(at + fileName.size());
    // What is left goes to the text before the name (the verb and the end
    // of the folder), the text after it taking two fifths at most.
    const int rest = width - nameWidth;
    int tailWidth = qMin(metrics.horizontalAdvance(tail), rest * 2 / 5);
    int headWidth = rest - tailWidth;
    if (metrics.horizontalAdvance(head) < headWidth) {
        headWidth = metrics.horizontalAdvance(head);
        tailWidth = rest - headWidth;
    }
    return metrics.elidedText(head, Qt::ElideMiddle, headWidth) + fileName
            + metrics.elidedText(tail, Qt::ElideRight, tailWidth);
}

QSize QBConversionDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    return QSize(option.rect.width() > 0 ? option.rect.width() : 360, rowHeight);
}

void QBConversionDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const
{
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    background.icon = QIcon();
    background.features &= ~QStyleOptionViewItem::HasDecoration;
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);

    painter->save();
    const QRect row = option.rect;
    const QRect cover = coverRect(row);
    const QImage image = index.data(QBConversionListModel::CoverRole).value<QImage>();
    if (!image.isNull()) {
        const QPixmap scaled = scaledCover(image, cover.size());
        const QPoint at(cover.left() + (cover.width() - scaled.width()) / 2,
                        cover.top() + (cover.height() - scaled.height()) / 2);
        painter->drawPixmap(at, scaled);
    }

    const QRect stopRect = stopButtonRect(row);
    const int textLeft = cover.right() + 1 + 2 * margin;
    const QRect text(textLeft, row.top() + margin, stopRect.left() - 2 * margin - textLeft,
                     row.height() - 2 * margin);
    const bool selected = option.state & QStyle::State_Selected;
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));

    QFont titleFont = option.font;
    titleFont.setBold(true);
    const QFontMetrics titleMetrics(titleFont);
    const QRect title(text.left(), text.top(), text.width(), titleMetrics.height());
    painter->setFont(titleFont);
    const QString fileName = QFileInfo(index.data(QBConversionListModel::DestinationRole).toString()).fileName();
    painter->drawText(title, Qt::AlignLeft | Qt::AlignVCenter,
                      elidedLabel(index.data(QBConversionListModel::DisplayRole).toString(), fileName,
                                  titleMetrics, title.width()));

    QFont infoFont = option.font;
    infoFont.setPointSizeF(std::max(6.0, infoFont.pointSizeF() * 0.85));
    const QFontMetrics infoMetrics(infoFont);
    const QRect infos(text.left(), text.bottom() + 1 - infoMetrics.height(), text.width(), infoMetrics.height());
    painter->setFont(infoFont);
    painter->drawText(infos, Qt::AlignLeft | Qt::AlignVCenter,
                      infoMetrics.elidedText(index.data(QBConversionListModel::InfosRole).toString(),
                                             Qt::ElideRight, infos.width()));

    const int barTop = title.bottom() + 1 + (infos.top() - title.bottom() - 1 - 10) / 2;
    // A tool may print a percentage outside 0 to 100; the bar stays whole.
    const double percent = index.data(QBConversionListModel::PercentRole).toDouble();
    const int progress = std::isfinite(percent) ? int(std::clamp(percent, 0.0, 100.0)) : 0;
    painter->drawPixmap(text.left(), barTop,
                        progressBar(QSize(text.width(), 10), progress, option, painter->device()->devicePixelRatioF()));

    QIcon stop;
    if (!index.data(QBConversionListModel::HasTaskRole).toBool()) {
        // Nothing left to cancel: the button only takes the row off the
        // list, and says so by its look.
        if (m_removeIcon.isNull())
            m_removeIcon = QIcon::fromTheme(QStringLiteral("edit-clear"),
                                            style->standardIcon(QStyle::SP_LineEditClearButton));
        stop = m_removeIcon;
    } else {
        stop = givenStopIcon(index.data(QBConversionListModel::StopImageRole));
    }
    if (stop.isNull()) {
        // Looked up and decoded once; the rows repaint often.
        if (m_standardStopIcon.isNull())
            m_standardStopIcon = QIcon::fromTheme(QStringLiteral("process-stop"),
                                                  style->standardIcon(QStyle::SP_BrowserStop));
        stop = m_standardStopIcon;
    }
    stop.paint(painter, stopRect, Qt::AlignCenter,
                   option.state & QStyle::State_Enabled ? QIcon::Normal : QIcon::Disabled);
    painter->restore();
}

bool QBConversionDelegate::editorEvent(QEvent *event, QAbstractItemModel *model,
                                       const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (event->type() == QEvent::MouseButtonRelease) {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton && stopButtonRect(option.rect).contains(mouse->position().toPoint())) {
            emit stopClicked(index.row());
            return true;
        }
    }
    return QStyledItemDelegate::editorEvent(event, model, option, index);
}
