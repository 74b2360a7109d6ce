// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbrecovertask.h"

void QBRecoverTask::processDidStop()
{
    emit recoverDidFinish();
}
