// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbfilereveal.h"

#include "base/qblogging.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

void QBFileReveal::reveal(const QString &path, const QDBusConnection &bus)
{
    const QUrl file = QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath());
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
    auto openFolder = [folder] { QDesktopServices::openUrl(folder); };
    if (!bus.isConnected()) {
        openFolder();
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    // No startup ID: the file manager picks its own window.
    call << QStringList{file.toString()} << QString();
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [openFolder](QDBusPendingCallWatcher *finished) {
                         finished->deleteLater();
                         if (finished->isError()) {
                             qCInfo(lcDocument).noquote()
                                     << "No file manager shows items:" << finished->error().message();
                             openFolder();
                         }
                     });
}
