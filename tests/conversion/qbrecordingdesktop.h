// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "conversion/qbdesktopintegration.h"

#include <QList>
#include <QPair>
#include <QStringList>

// Stands in for the desktop: records every notification, icon, inhibitor
// change and sound, and keeps the icon last set as the current one.
class QBRecordingDesktop : public QBDesktopIntegration
{
public:
    QList<QPair<QString, QString>> notifications;
    QList<int> iconPercents;
    QList<bool> inhibitorChanges;
    QStringList sounds;
    QImage icon;

    void deliverNotification(const QString &title, const QString &text) override
    {
        notifications.append({title, text});
    }
    QImage applicationIconImage() override
    {
        if (icon.isNull()) {
            QImage standard(128, 128, QImage::Format_ARGB32_Premultiplied);
            standard.fill(Qt::darkGreen);
            return standard;
        }
        return icon;
    }
    void setApplicationIconImage(const QImage &image, int percent) override
    {
        icon = image;
        iconPercents << percent;
    }
    void restoreApplicationIcon() override { icon = QImage(); }
    void setSleepInhibited(bool inhibited) override { inhibitorChanges << inhibited; }
    void playSound(const QString &resource) override { sounds << resource; }
};
