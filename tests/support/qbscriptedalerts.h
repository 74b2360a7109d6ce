// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"

#include <QList>

#include <functional>

// Answers alerts for tests: installs itself as the shared presenter while
// it lives, records every alert and answers from a queue (the default
// button once the queue is empty). onAlert, when set, runs before the
// answer is returned, while the "alert" is up.
class QBScriptedAlerts : public QBAlertPresenter
{
public:
    QBScriptedAlerts() { setShared(this); }
    ~QBScriptedAlerts() override { setShared(nullptr); }

    QList<QBAlert> alerts;
    QList<int> answers;
    std::function<void(const QBAlert &)> onAlert;

    QStringList messages() const
    {
        QStringList list;
        for (const QBAlert &alert : alerts)
            list << alert.message;
        return list;
    }

    int runAlert(const QBAlert &alert) override
    {
        alerts << alert;
        if (onAlert)
            onAlert(alert);
        return answers.isEmpty() ? QBAlertAnswer::Default : answers.takeFirst();
    }
};
