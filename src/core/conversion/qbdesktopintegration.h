// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>

// What the conversion queue asks of the desktop around it: a notification
// per finished conversion, the progress bar on the application's icon, a
// sleep inhibitor while conversions run, and the sound at the end of a
// batch. The queue draws; an integration only hands the results on. Tests
// install one that records the calls.
class QBDesktopIntegration
{
public:
    virtual ~QBDesktopIntegration();

    virtual void deliverNotification(const QString &title, const QString &text) = 0;

    // The application icon as it is now shown (the one with the last bar
    // drawn on it, or the standard one), to draw the next bar over.
    virtual QImage applicationIconImage() = 0;
    // Shows icon as the application's icon, drawn for percent.
    virtual void setApplicationIconImage(const QImage &icon, int percent) = 0;
    // Back to the standard icon, with no progress shown.
    virtual void restoreApplicationIcon() = 0;

    // Asks the session not to suspend while inhibited is true.
    virtual void setSleepInhibited(bool inhibited) = 0;

    // resource is a path in the program's resources (":/...").
    virtual void playSound(const QString &resource) = 0;
};
