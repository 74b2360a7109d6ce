// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdragimage.h"

#include "gamedata/qbgamebundle.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace QBDragImage {

QImage draggedImage(const QImage &cover, qsizetype count, qreal devicePixelRatio)
{
    const QImage picture = cover.isNull() ? QBGameBundle::missingCover() : cover;
    QImage image(picture.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawImage(0, 0, picture);

    // The badge: at least 30 wide, 2 pixels from the left and top edges,
    // ringed in white; the count centred in the narrowest badge, else 5
    // pixels in from its left edge.
    QFont font = QGuiApplication::font();
    font.setPixelSize(26);
    const QFontMetricsF metrics(font);
    const QString text = QString::number(count);
    const qreal textWidth = metrics.horizontalAdvance(text);
    const qreal textHeight = metrics.height();
    const qreal width = textWidth + 10 > 30 ? std::trunc(textWidth + 10) : 30;
    const QRectF badge(2, 2, width, textHeight + 10);
    QPainterPath ring;
    ring.addRoundedRect(badge.adjusted(-2, -2, 2, 2), 5, 5);
    painter.fillPath(ring, Qt::white);
    QPainterPath fill;
    fill.addRoundedRect(badge, 5, 5);
    painter.fillPath(fill, Qt::red);
    const qreal x = 30 - textWidth > 5 ? (30 - textWidth) / 2 + 2 : 7;
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(QPointF(x, 7 + metrics.ascent()), text);
    painter.end();

    QImage scaled = image.scaled(displaySize * devicePixelRatio, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(devicePixelRatio);
    return scaled;
}

}
