// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbfreedesktopintegration.h"

#include "base/qblogging.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QImageReader>
#include <QPixmap>
#include <QSoundEffect>
#include <QUrl>

namespace {

const QString standardIconPath = QStringLiteral(":/palomet/icons/palomet.svg");
// The size the bar's geometry was laid out for.
constexpr int iconSize = 128;

QString applicationDisplayName()
{
    return qGuiApp ? QGuiApplication::applicationDisplayName() : QCoreApplication::applicationName();
}

// Reports a failed call in the log only: a desktop without the service is
// normal and not worth telling the user about.
void logFailures(const QDBusPendingCall &call, QObject *context, const char *what)
{
    auto *watcher = new QDBusPendingCallWatcher(call, context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [what](QDBusPendingCallWatcher *w) {
        if (w->isError())
            qCDebug(lcConversion).noquote() << what << "skipped:" << w->error().message();
        w->deleteLater();
    });
}

}

QBFreedesktopIntegration::QBFreedesktopIntegration(QObject *parent)
    : QBFreedesktopIntegration(QDBusConnection::sessionBus(), QDBusConnection::systemBus(), parent)
{
}

QBFreedesktopIntegration::QBFreedesktopIntegration(const QDBusConnection &sessionBus,
                                                   const QDBusConnection &systemBus, QObject *parent)
    : QObject(parent)
    , m_sessionBus(sessionBus)
    , m_systemBus(systemBus)
{
}

QBFreedesktopIntegration::~QBFreedesktopIntegration() = default;

QString QBFreedesktopIntegration::launcherUri()
{
    QString name = qGuiApp ? QGuiApplication::desktopFileName() : QString();
    if (name.isEmpty())
        name = QCoreApplication::applicationName();
    if (!name.endsWith(QLatin1String(".desktop")))
        name += QLatin1String(".desktop");
    return QStringLiteral("application://") + name;
}

// Notify(app_name, replaces_id, app_icon, summary, body, actions, hints,
// expire_timeout); the answer (the notification's id) is not needed.
void QBFreedesktopIntegration::deliverNotification(const QString &title, const QString &text)
{
    if (!m_sessionBus.isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    QString desktopEntry = launcherUri().mid(int(qstrlen("application://")));
    desktopEntry.chop(int(qstrlen(".desktop")));
    call << applicationDisplayName() << uint(0) << desktopEntry << title << text << QStringList()
         << QVariantMap{{QStringLiteral("desktop-entry"), desktopEntry}} << int(-1);
    logFailures(m_sessionBus.asyncCall(call), this, "Notification");
}

QImage QBFreedesktopIntegration::applicationIconImage()
{
    if (!m_icon.isNull())
        return m_icon;
    QImageReader reader(standardIconPath);
    reader.setScaledSize(QSize(iconSize, iconSize));
    const QImage standard = reader.read();
    if (!standard.isNull())
        return standard;
    QImage blank(iconSize, iconSize, QImage::Format_ARGB32_Premultiplied);
    blank.fill(Qt::transparent);
    return blank;
}

void QBFreedesktopIntegration::setApplicationIconImage(const QImage &icon, int percent)
{
    m_icon = icon;
    if (qGuiApp) {
        if (!m_iconReplaced) {
            m_standardIcon = QGuiApplication::windowIcon();
            m_iconReplaced = true;
        }
        QGuiApplication::setWindowIcon(QIcon(QPixmap::fromImage(icon)));
    }
    sendLauncherProgress(percent / 100.0, true);
}

void QBFreedesktopIntegration::restoreApplicationIcon()
{
    m_icon = QImage();
    if (m_iconReplaced && qGuiApp)
        QGuiApplication::setWindowIcon(m_standardIcon);
    m_iconReplaced = false;
    if (m_progressShown)
        sendLauncherProgress(0, false);
}

// Update(app_uri, properties) from any object path; whoever shows the
// launcher picks it up, and without one the signal goes nowhere.
void QBFreedesktopIntegration::sendLauncherProgress(double progress, bool visible)
{
    m_progressShown = visible;
    if (!m_sessionBus.isConnected())
        return;
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/palomet/LauncherEntry"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    signal << launcherUri()
           << QVariantMap{{QStringLiteral("progress"), progress},
                          {QStringLiteral("progress-visible"), visible}};
    m_sessionBus.send(signal);
}

// logind's Inhibit(what, who, why, mode) answers with a file descriptor;
// the inhibitor lasts as long as that descriptor stays open.
void QBFreedesktopIntegration::setSleepInhibited(bool inhibited)
{
    m_wantsInhibitor = inhibited;
    if (!inhibited) {
        m_inhibitor = QDBusUnixFileDescriptor();
        return;
    }
    if (m_inhibitor.isValid() || m_inhibitorAsked || !m_systemBus.isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep") << applicationDisplayName()
         << QStringLiteral("Converting games") << QStringLiteral("block");
    m_inhibitorAsked = true;
    auto *watcher = new QDBusPendingCallWatcher(m_systemBus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        m_inhibitorAsked = false;
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *w;
        if (reply.isError()) {
            qCDebug(lcConversion).noquote() << "Sleep inhibitor skipped:" << reply.error().message();
            return;
        }
        // The conversions may have ended while the question was out; the
        // descriptor is then dropped, which releases the inhibitor.
        if (m_wantsInhibitor)
            m_inhibitor = reply.value();
    });
}

void QBFreedesktopIntegration::playSound(const QString &resource)
{
    if (!m_sound)
        m_sound = new QSoundEffect(this);
    const QUrl source(QStringLiteral("qrc") + resource);
    if (m_sound->source() != source)
        m_sound->setSource(source);
    m_sound->play();
}
