// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QSize>

// The image that follows the pointer while games are dragged: the first
// game's cover with a red badge in its top left corner counting the games,
// the whole scaled to the size of a small cover.
namespace QBDragImage {

inline constexpr QSize displaySize(100, 141);

// The badge is laid out in the cover's own pixels, before the scaling; a
// null cover stands for the missing-cover picture. The result is
// displaySize in device-independent pixels.
QImage draggedImage(const QImage &cover, qsizetype count, qreal devicePixelRatio = 1);

}
