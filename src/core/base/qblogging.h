// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLoggingCategory>

// One category per subsystem; the tool output itself has its own so that it
// can be silenced without losing the task start lines.
Q_DECLARE_LOGGING_CATEGORY(lcTasks)
Q_DECLARE_LOGGING_CATEGORY(lcToolOutput)
Q_DECLARE_LOGGING_CATEGORY(lcConversion)
Q_DECLARE_LOGGING_CATEGORY(lcGameData)
Q_DECLARE_LOGGING_CATEGORY(lcDocument)
Q_DECLARE_LOGGING_CATEGORY(lcApp)
