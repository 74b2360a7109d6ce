// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// How games converted into a folder are laid out: as the user's pattern
// names folder and file (Custom), or as a USB loader reads them from the
// root of its drive, where the pattern names only the game's folder and
// the loader fixes the file's name and format.
namespace QBConversionLayout {

enum Layout { Custom = 0, UsbLoader = 1, Nintendont = 2 };

// The names kept in the conversionLayout setting and given to --layout, in
// the order of Layout: "custom", "usbloader", "nintendont".
const QStringList &keys();
QString key(Layout layout);
std::optional<Layout> fromKey(const QString &key);
// What the convert panel shows: "Custom", "USB Loader GX / WiiFlow",
// "Nintendont".
QString title(Layout layout);

}
