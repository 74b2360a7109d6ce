// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QString>

// Shows a file selected in the desktop's file manager: the freedesktop
// org.freedesktop.FileManager1.ShowItems call on the session bus, or, when
// no file manager answers it, the file's folder opened as a URL.
namespace QBFileReveal {

// Asynchronous; the answer is awaited on the event loop.
void reveal(const QString &path, const QDBusConnection &bus = QDBusConnection::sessionBus());

}
