// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tasks/qbbrowsingtask.h"

#include <QSignalSpy>
#include <QVariantMap>

// What one listing posted: its games in order, then its final payload.
struct Listing
{
    QList<QVariantMap> games;
    QVariantMap final;
    int finalPosts = 0;

    QStringList ids() const
    {
        QStringList list;
        for (const QVariantMap &game : games)
            list << game.value(QStringLiteral("id")).toString();
        return list;
    }
    QVariantMap game(const QString &id) const
    {
        for (const QVariantMap &game : games) {
            if (game.value(QStringLiteral("id")).toString() == id)
                return game;
        }
        return {};
    }
};

// Runs a browsing task to its end (or the time-out) and collects its posts.
inline Listing browse(const QStringList &arguments, int launchPath, int timeoutMs = 30000)
{
    Listing listing;
    QBBrowsingTask task(arguments, launchPath, nullptr);
    QObject::connect(&task, &QBBrowsingTask::browsingDidFinish, [&listing](const QVariantMap &info) {
        if (info.contains(QStringLiteral("terminationStatus"))) {
            listing.final = info;
            ++listing.finalPosts;
        } else {
            listing.games << info.value(QStringLiteral("game")).toMap();
        }
    });
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    if (!task.isFinished())
        finished.wait(timeoutMs);
    return listing;
}
