// SPDX-License-Identifier: GPL-3.0-or-later
#include "conversion/qbfreedesktopintegration.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusUnixFileDescriptor>
#include <QGuiApplication>
#include <QIcon>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <poll.h>
#include <unistd.h>

namespace {

// What a notification daemon receives.
class FakeNotifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList summaries;
    QStringList bodies;

public slots:
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &, int)
    {
        summaries << summary;
        bodies << body;
        return uint(summaries.size());
    }
};

// logind's manager: each inhibitor is a pipe whose read end stays here,
// so that the test sees when the program closes its end.
class FakeLogin : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    ~FakeLogin() override
    {
        for (const int fd : std::as_const(readEnds))
            ::close(fd);
    }
    QList<int> readEnds;
    QStringList whats;

    bool released(int index) const
    {
        pollfd end{readEnds.at(index), POLLIN, 0};
        return ::poll(&end, 1, 0) == 1 && (end.revents & POLLHUP);
    }

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString &what, const QString &, const QString &, const QString &mode)
    {
        whats << what + u':' + mode;
        int fds[2];
        if (::pipe(fds) != 0)
            return {};
        readEnds << fds[0];
        const QDBusUnixFileDescriptor answer(fds[1]);
        ::close(fds[1]);
        return answer;
    }
};

class LauncherListener : public QObject
{
    Q_OBJECT

public:
    QList<QPair<QString, QVariantMap>> updates;

public slots:
    void update(const QString &uri, const QVariantMap &properties) { updates.append({uri, properties}); }
};

}

class tst_QBFreedesktopIntegration : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void notificationReachesTheDaemon();
    void iconAndLauncherProgress();
    void sleepInhibitorIsHeldWhileConverting();

private:
    QProcess m_daemon;
    QString m_address;
    FakeNotifications m_notifications;
    FakeLogin m_login;
    LauncherListener m_launcher;
};

void tst_QBFreedesktopIntegration::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QGuiApplication::setDesktopFileName(u"palomet"_qs);
    // A private bus of our own plays both the session and the system bus.
    const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_qs);
    if (daemon.isEmpty())
        QSKIP("dbus-daemon is not installed");
    m_daemon.start(daemon, {u"--session"_qs, u"--nofork"_qs, u"--print-address=1"_qs});
    QVERIFY(m_daemon.waitForStarted());
    QTRY_VERIFY(m_daemon.canReadLine());
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();

    QDBusConnection services = QDBusConnection::connectToBus(m_address, u"services"_qs);
    QVERIFY(services.isConnected());
    QVERIFY(services.registerService(u"org.freedesktop.Notifications"_qs));
    QVERIFY(services.registerObject(u"/org/freedesktop/Notifications"_qs, &m_notifications,
                                    QDBusConnection::ExportAllSlots));
    QVERIFY(services.registerService(u"org.freedesktop.login1"_qs));
    QVERIFY(services.registerObject(u"/org/freedesktop/login1"_qs, &m_login, QDBusConnection::ExportAllSlots));
    QVERIFY(services.connect(QString(), QString(), u"com.canonical.Unity.LauncherEntry"_qs, u"Update"_qs,
                             &m_launcher, SLOT(update(QString, QVariantMap))));
}

void tst_QBFreedesktopIntegration::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(u"services"_qs);
    QDBusConnection::disconnectFromBus(u"client"_qs);
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        m_daemon.waitForFinished(3000);
    }
}

void tst_QBFreedesktopIntegration::notificationReachesTheDaemon()
{
    const QDBusConnection bus = QDBusConnection::connectToBus(m_address, u"client"_qs);
    QBFreedesktopIntegration desktop(bus, bus);
    desktop.deliverNotification(u"Conversion  completed."_qs, u"Alpha [RQAE01].wbfs"_qs);
    QTRY_COMPARE(m_notifications.summaries, QStringList{u"Conversion  completed."_qs});
    QCOMPARE(m_notifications.bodies, QStringList{u"Alpha [RQAE01].wbfs"_qs});
}

void tst_QBFreedesktopIntegration::iconAndLauncherProgress()
{
    const QIcon standard(u":/palomet/icons/palomet.svg"_qs);
    QGuiApplication::setWindowIcon(standard);
    const QDBusConnection bus = QDBusConnection::connectToBus(m_address, u"client"_qs);
    QBFreedesktopIntegration desktop(bus, bus);
    QCOMPARE(desktop.applicationIconImage().size(), QSize(128, 128));

    QImage drawn(128, 128, QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::blue);
    desktop.setApplicationIconImage(drawn, 42);
    QCOMPARE(desktop.applicationIconImage(), drawn);
    QCOMPARE(QGuiApplication::windowIcon().pixmap(128, 128).toImage().pixelColor(64, 64), QColor(Qt::blue));
    QTRY_COMPARE(m_launcher.updates.size(), 1);
    QCOMPARE(m_launcher.updates.last().first, u"application://palomet.desktop"_qs);
    QCOMPARE(m_launcher.updates.last().second.value(u"progress"_qs).toDouble(), 0.42);
    QCOMPARE(m_launcher.updates.last().second.value(u"progress-visible"_qs).toBool(), true);

    desktop.restoreApplicationIcon();
    QCOMPARE(QGuiApplication::windowIcon().cacheKey(), standard.cacheKey());
    QVERIFY(desktop.applicationIconImage() != drawn);
    QTRY_COMPARE(m_launcher.updates.size(), 2);
    QCOMPARE(m_launcher.updates.last().second.value(u"progress-visible"_qs).toBool(), false);
}

void tst_QBFreedesktopIntegration::sleepInhibitorIsHeldWhileConverting()
{
    const QDBusConnection bus = QDBusConnection::connectToBus(m_address, u"client"_qs);
    if (!(bus.connectionCapabilities() & QDBusConnection::UnixFileDescriptorPassing))
        QSKIP("this bus cannot pass file descriptors");
    QBFreedesktopIntegration desktop(bus, bus);
    desktop.setSleepInhibited(true);
    desktop.setSleepInhibited(true);
    QTRY_VERIFY(desktop.holdsSleepInhibitor());
    QCOMPARE(m_login.whats, QStringList{u"sleep:block"_qs});
    QVERIFY(!m_login.released(0));
    desktop.setSleepInhibited(false);
    QVERIFY(!desktop.holdsSleepInhibitor());
    QTRY_VERIFY(m_login.released(0));

    // Conversions that end before logind answers leave nothing held.
    desktop.setSleepInhibited(true);
    desktop.setSleepInhibited(false);
    QTRY_COMPARE(m_login.readEnds.size(), 2);
    QTRY_VERIFY(m_login.released(1));
    QVERIFY(!desktop.holdsSleepInhibitor());
}

QTEST_MAIN(tst_QBFreedesktopIntegration)
#include "tst_qbfreedesktopintegration.moc"
