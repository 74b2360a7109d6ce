// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbprogressdrawing.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace {

// The artwork's colours: plain grey, light grey and blue.
const QColor grey = QColor::fromRgbF(0.5f, 0.5f, 0.5f);
const QColor lightGrey = QColor::fromRgbF(2.0f / 3.0f, 2.0f / 3.0f, 2.0f / 3.0f);
const QColor blue = QColor::fromRgbF(0.0f, 0.0f, 1.0f);

QPainterPath roundedRect(const QRectF &rect, qreal radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

// A painter whose y axis points up from the image's bottom edge.
void flip(QPainter &painter, const QImage &image)
{
    painter.translate(0, image.height());
    painter.scale(1, -1);
}

QImage paintable(const QImage &image)
{
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

}

int QBProgressDrawing::barWidth(int percent, int width)
{
    return int(std::trunc(double(percent) * width / 100.0));
}

QImage QBProgressDrawing::progressImage(const QImage &base, int percent)
{
    QImage image = paintable(base);
    if (image.isNull())
        return image;
    const int w = image.width();
    QPainter painter(&image);
    flip(painter, image);
    painter.setClipPath(roundedRect(QRectF(0, 0, w, 5), 2.5));
    painter.fillRect(QRectF(0, 0, w, 5), grey);
    painter.fillRect(QRectF(0, 0, barWidth(percent, w), 5), blue);
    return image;
}

QImage QBProgressDrawing::iconBar(const QImage &icon, int percent)
{
    QImage image = paintable(icon);
    if (image.isNull())
        return image;
    const int w = image.width();
    QPainter painter(&image);
    painter.save();
    flip(painter, image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(roundedRect(QRectF(0, 30, w, 20), 10), Qt::black);
    painter.setClipPath(roundedRect(QRectF(3, 33, w - 6, 14), 10));
    painter.fillRect(QRectF(3, 33, w - 6, 14), lightGrey);
    for (int x = 0; x < w; x += 40) {
        QPainterPath stripe;
        stripe.moveTo(x, 30);
        stripe.lineTo(x + 20, 50);
        stripe.lineTo(x + 40, 50);
        stripe.lineTo(x + 20, 30);
        stripe.closeSubpath();
        painter.fillPath(stripe, Qt::white);
    }
    // The bar's edge falls on whole pixels; keep it sharp.
    painter.setRenderHint(QPainter::Antialiasing, false);
    QColor bar = blue;
    bar.setAlphaF(0.85f);
    painter.fillRect(QRectF(0, 30, barWidth(percent, w), 20), bar);
    painter.restore();
    return image;
}

qreal QBProgressDrawing::popoverHeight(int rows, qreal rowHeight)
{
    const qreal shown = rows <= 0 ? 1.0 : rows <= 5 ? qreal(rows) : 5.5;
    return shown * rowHeight + 56;
}
