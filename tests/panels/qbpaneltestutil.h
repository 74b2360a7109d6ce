// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "panels/qbtokenfield.h"

#include <QDialog>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include <functional>

// Runs act from inside the dialog's own modal loop, as a user acting on the
// shown dialog. A dialog still open afterwards is rejected, so that a
// failed check never leaves the test blocked.
inline void whenShown(QDialog *dialog, std::function<void()> act)
{
    QTimer::singleShot(0, dialog, [dialog, act] {
        if (dialog->isVisible())
            act();
        if (dialog->isVisible())
            dialog->reject();
    });
}

// The menu's item whose data is key; null when there is none.
inline QAction *item(QMenu *menu, const QString &key)
{
    for (QAction *action : menu->actions()) {
        if (action->data().toString() == key)
            return action;
    }
    return nullptr;
}

// Chooses a token as the user does: a click on "+", then on the item.
// False when the item could not be chosen (the menu is closed then).
inline bool chooseToken(QBTokenField *field, const QString &key)
{
    QTest::mouseClick(field->menuButton(), Qt::LeftButton);
    QMenu *menu = field->menuButton()->tokenMenu();
    if (!QTest::qWaitFor([menu] { return menu->isVisible(); }))
        return false;
    if (QAction *chosen = item(menu, key))
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(chosen).center());
    if (!menu->isVisible())
        return true;
    menu->close();
    return false;
}
