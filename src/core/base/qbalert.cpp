// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbalert.h"

QString QBAlert::nameLines(const QStringList &names)
{
    // Deliberately 9, not 10, when the list is cut.
    if (names.size() >= 11)
        return (names.mid(0, 9) << QStringLiteral("...")).join(u'\n');
    return names.join(u'\n');
}
