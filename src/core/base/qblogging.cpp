// SPDX-License-Identifier: GPL-3.0-or-later
#include "qblogging.h"

Q_LOGGING_CATEGORY(lcTasks, "palomet.tasks", QtInfoMsg)
Q_LOGGING_CATEGORY(lcToolOutput, "palomet.tasks.output", QtInfoMsg)
Q_LOGGING_CATEGORY(lcConversion, "palomet.conversion", QtInfoMsg)
Q_LOGGING_CATEGORY(lcGameData, "palomet.gamedata", QtInfoMsg)
Q_LOGGING_CATEGORY(lcDocument, "palomet.document", QtInfoMsg)
Q_LOGGING_CATEGORY(lcApp, "palomet.app", QtInfoMsg)
