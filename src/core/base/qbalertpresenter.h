// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbalert.h"

// Shows alerts on behalf of code that must not know about widgets. The
// widgets library installs a presenter that shows message boxes; tests
// install one that answers from a script. While an alert is up, the event
// loop keeps running, so tool output goes on being read behind it.
class QBAlertPresenter
{
public:
    virtual ~QBAlertPresenter();

    // Shows the alert and returns the answer (QBAlertAnswer).
    virtual int runAlert(const QBAlert &alert) = 0;

    static QBAlertPresenter *shared();
    static void setShared(QBAlertPresenter *presenter);

    // Shows the alert through the shared presenter. With none installed (a
    // headless run), the alert is logged and answered with its default
    // button.
    static int run(const QBAlert &alert);
};
