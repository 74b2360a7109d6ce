// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "panels/qbconversionlayout.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// What a USB loader reads from its drive besides the games: the covers it
// shows and USB Loader GX's copy of the title database, at fixed places
// below the drive's root.
namespace QBLoaderDrive {

// apps/usbloader_gx/images/ID.png and wiiflow/boxcovers/ID.png for the
// USB Loader GX / WiiFlow layout; none for the others.
QStringList coverPaths(QBConversionLayout::Layout layout, const QString &id);
// apps/usbloader_gx/wiitdb.xml
QString databasePath();

enum class Put { Written, Exists, Failed };

// Writes data at relativePath below root, making the folders on the way,
// under a private name first and then under its own in one step. A name on
// the way that is a link or not a folder, or a link or a folder at the
// file's name, is refused (Failed, with why): nothing is written outside
// the drive's folders. A file already there is left alone (Exists) unless
// replace is set.
Put put(const QString &root, const QString &relativePath, const QByteArray &data, bool replace,
        QString *why = nullptr);

// Copies the installed title database to databasePath() below root. A
// file already there is replaced only when the user says so; a failure is
// told. False when nothing was written.
bool copyDatabase(const QString &root);

// Copies the game's cached cover, if there is one, to the layout's cover
// places on the drive; a cover already there stays as it is.
void copyCover(const QString &root, QBConversionLayout::Layout layout, const QString &id);

}
