// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdesktopintegration.h"

QBDesktopIntegration::~QBDesktopIntegration() = default;
