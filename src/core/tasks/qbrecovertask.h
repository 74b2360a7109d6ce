// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

// Brings back the removed games of a WBFS partition (wwt recover). The tool
// prints no sections for this command, so the result carries nothing.
class QBRecoverTask : public QBTask
{
    Q_OBJECT

public:
    using QBTask::QBTask;

signals:
    void recoverDidFinish();

protected:
    void processDidStop() override;
};
