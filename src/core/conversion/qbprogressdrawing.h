// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>

// The pictures of the overall conversion progress. Geometry is given from
// the bottom left of each image, as the artwork was laid out; w is the
// image's width in pixels and p the percentage (0 to 100).
namespace QBProgressDrawing {

// Width of the bar for p on an image w wide: trunc(p * w / 100).
int barWidth(int percent, int width);

// The small bar every document shows on its conversions button: base with
// a grey rounded strip 5 high along its bottom, blue up to p.
QImage progressImage(const QImage &base, int percent);

// The application icon with a striped bar 20 high, 30 above its bottom,
// blue up to p. The bar is opaque, so drawing it over an icon that already
// has one leaves nothing of the old percentage.
QImage iconBar(const QImage &icon, int percent);

// Height of the conversions popover's content: one row when the list is
// empty, each row up to five, five and a half past five (the half row
// shows that the list scrolls), plus 56 for the caption and the buttons.
qreal popoverHeight(int rows, qreal rowHeight);

}
