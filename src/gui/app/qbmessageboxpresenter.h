// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"

// Shows alerts as application-modal message boxes over the active window.
class QBMessageBoxPresenter : public QBAlertPresenter
{
public:
    int runAlert(const QBAlert &alert) override;
};
