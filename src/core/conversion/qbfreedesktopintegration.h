// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbdesktopintegration.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QIcon>
#include <QObject>

class QSoundEffect;

// The desktop as freedesktop.org systems offer it, over D-Bus: desktop
// notifications (org.freedesktop.Notifications), the launcher progress
// (the com.canonical.Unity.LauncherEntry signal, which docks and task
// managers listen to) and logind's sleep inhibitor on the system bus. The
// icon with its bar also becomes the application's window icon, and the
// sound plays through Qt Multimedia. Every call is asynchronous, and
// whatever finds no bus or no service is skipped without a word to the
// user.
class QBFreedesktopIntegration : public QObject, public QBDesktopIntegration
{
    Q_OBJECT

public:
    explicit QBFreedesktopIntegration(QObject *parent = nullptr);
    // With other buses than the user's session bus and the system bus.
    QBFreedesktopIntegration(const QDBusConnection &sessionBus, const QDBusConnection &systemBus,
                             QObject *parent = nullptr);
    ~QBFreedesktopIntegration() override;

    void deliverNotification(const QString &title, const QString &text) override;
    QImage applicationIconImage() override;
    void setApplicationIconImage(const QImage &icon, int percent) override;
    void restoreApplicationIcon() override;
    void setSleepInhibited(bool inhibited) override;
    void playSound(const QString &resource) override;

    // Whether logind's answer (the file descriptor that holds the
    // inhibitor open) is held right now.
    bool holdsSleepInhibitor() const { return m_inhibitor.isValid(); }

    // The launcher entry's application URI: "application://" and the
    // desktop file's name.
    static QString launcherUri();

private:
    void sendLauncherProgress(double progress, bool visible);

    QDBusConnection m_sessionBus;
    QDBusConnection m_systemBus;
    QImage m_icon;
    QIcon m_standardIcon;
    bool m_iconReplaced = false;
    bool m_progressShown = false;
    bool m_wantsInhibitor = false;
    bool m_inhibitorAsked = false;
    QDBusUnixFileDescriptor m_inhibitor;
    QSoundEffect *m_sound = nullptr;
};
