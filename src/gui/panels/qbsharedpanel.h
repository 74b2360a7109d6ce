// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QPointer>

// The one instance of a panel class, made on first use and deleted with
// the application (before its widgets are torn down). Each class gets its
// own instance: the convert panel is never the rename panel.
template<typename Panel>
Panel *sharedPanel()
{
    static QPointer<Panel> panel;
    if (!panel) {
        panel = new Panel;
        qAddPostRoutine([] { delete panel.data(); });
    }
    return panel;
}
