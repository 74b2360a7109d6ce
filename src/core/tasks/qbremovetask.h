// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

#include <QVariantList>
#include <QVariantMap>

// Removes games: image files (wit remove) or games on a WBFS partition
// (wwt remove). The tool's output confirms nothing per game, so the result
// hands back the games that were asked for and the run's status; the
// receiver decides from the status whether to trust the list.
class QBRemoveTask : public QBTask
{
    Q_OBJECT

public:
    QBRemoveTask(const QStringList &arguments, int launchPath, const QVariantList &games,
                 QObject *sender, QObject *parent = nullptr);

    QVariantList gamesToRemove() const { return m_toRemove; }

signals:
    // {"removedList": the games given, "terminationStatus": int}
    void removeDidFinish(const QVariantMap &userInfo);

protected:
    void processDidStop() override;

private:
    QVariantList m_toRemove;
};
