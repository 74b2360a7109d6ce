// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbstartwindow.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversiondelegate.h"
#include "conversion/qbconversionlistmodel.h"
#include "conversion/qbconversionsbutton.h"
#include "conversion/qbconversionspopover.h"
#include "conversion/qbfreedesktopintegration.h"
#include "qbconversiontestutil.h"
#include "qbfaketool.h"
#include "qbrecordingdesktop.h"
#include "qbscriptedalerts.h"
#include "tasks/qboperationqueue.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTableView>
#include <QTest>

#include <memory>
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

class tst_QBConversionsPopover : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void rowsAndHeight();
    void stopButtonsCancelOrRemove();
    void clearAndCancelAll();
    void buttonTogglesAndOutsideClickCloses();
    void startWindowOpensTheConversions();
    void cleanupTestCase();
    void desktopServices();

private:
    void addWaiting(int count);
    QPoint stopButton(int row) const;

    std::unique_ptr<QBRecordingDesktop> m_desktop;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBConversionController> m_controller;
    std::unique_ptr<QBConversionsPopover> m_popover;
    int m_added = 0;

    QProcess m_daemon;
    QString m_address;
    FakeNotifications m_notifications;
    FakeLogin m_login;
    LauncherListener m_launcher;
};

void tst_QBConversionsPopover::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::notifyWhenDone, false);
    QGuiApplication::setDesktopFileName(u"palomet"_qs);
    // A private bus of our own plays both the session and the system bus.
    const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_qs);
    QVERIFY2(!daemon.isEmpty(), "dbus-daemon is not installed");
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

void tst_QBConversionsPopover::init()
{
    m_desktop = std::make_unique<QBRecordingDesktop>();
    m_alerts = std::make_unique<QBScriptedAlerts>();
    m_controller = std::make_unique<QBConversionController>(m_desktop.get());
    m_popover = std::make_unique<QBConversionsPopover>(m_controller.get());
}

void tst_QBConversionsPopover::cleanup()
{
    m_popover.reset();
    m_controller.reset();
    m_alerts.reset();
    m_desktop.reset();
}

// Conversions that stay waiting: the queue does not start them.
void tst_QBConversionsPopover::addWaiting(int count)
{
    m_controller->conversionQueue()->setSuspended(true);
    QList<QBConversionTask *> tasks;
    for (int i = 0; i < count; ++i, ++m_added)
        tasks << conversion({u"copy"_qs}, u"src%1"_qs.arg(m_added), u"dst%1"_qs.arg(m_added));
    m_controller->startConversionTasks(tasks);
}

QPoint tst_QBConversionsPopover::stopButton(int row) const
{
    QTableView *table = m_popover->conversionTable();
    return QBConversionDelegate::stopButtonRect(table->visualRect(table->model()->index(row, 0))).center();
}

// The popover sits on its anchor and grows with its rows up to five and a
// half, which says that it scrolls; each row shows its bundle's cover.
void tst_QBConversionsPopover::rowsAndHeight()
{
    constexpr int row = QBConversionDelegate::rowHeight;
    const QRect anchor(300, 500, 40, 30);
    addWaiting(2);
    m_popover->showNextTo(anchor);
    QVERIFY(QTest::qWaitForWindowExposed(m_popover.get()));
    QVERIFY(qAbs(m_popover->frameGeometry().center().x() - anchor.center().x()) <= 1);
    QCOMPARE(m_popover->conversionsTextField()->text(), u"Conversions (0%)"_qs);

    const QBConversionListModel *list = m_controller->conversionList();
    QCOMPARE(list->index(1).data(QBConversionListModel::CoverRole).value<QImage>(),
             QImage(u":/palomet/images/missingcover.png"_qs));
    QImage cover(70, 100, QImage::Format_RGB32);
    cover.fill(Qt::red);
    list->bundleAt(1)->setValue(BundleKey::cover, cover);
    list->bundleAt(1)->setValue(BundleKey::percent, 80.0);
    QCOMPARE(m_popover->conversionsTextField()->text(), u"Conversions (40%)"_qs);
    QTableView *table = m_popover->conversionTable();
    const QRect coverArea = QBConversionDelegate::coverRect(table->visualRect(list->index(1)));
    QTRY_COMPARE(table->viewport()->grab().toImage().pixelColor(coverArea.center()), QColor(Qt::red));
    // A long label keeps the written file's name whole; the row's tool tip
    // is the whole label.
    const QString label = u"Convert '/media/games/wbfs/a long folder name/Golf [GQGE01]/Golf [GQGE01].wbfs' < "
                          "'/home/someone/Downloads/another long folder name/Golf.iso'"_qs;
    const QFontMetrics metrics(table->font());
    const QString shown = QBConversionDelegate::elidedLabel(label, u"Golf [GQGE01].wbfs"_qs, metrics, 300);
    QVERIFY2(shown.contains(u"Golf [GQGE01].wbfs'"_qs) && metrics.horizontalAdvance(shown) <= 300, qPrintable(shown));
    list->bundleAt(1)->setValue(BundleKey::display, label);
    QCOMPARE(list->index(1).data(Qt::ToolTipRole).toString(), label);

    addWaiting(5);
    QCOMPARE(m_popover->height(), row * 11 / 2 + 56);
    QCOMPARE(m_popover->frameGeometry().bottom(), anchor.top() - 1);
    QVERIFY(!m_popover->emptyLabel()->isVisible());
    m_controller->cancelAllConversions();
    // An empty list says so.
    QVERIFY(m_popover->emptyLabel()->isVisible() && !table->isVisible());
}

void tst_QBConversionsPopover::stopButtonsCancelOrRemove()
{
    QBFakeTool tool;
    tool.setScript(progressSection(u"100"_qs));
    m_controller->startConversionTasks({conversion({u"copy"_qs}, u"done"_qs, u"done.wbfs"_qs)});
    QTRY_COMPARE(m_controller->numberOfRunningConversions(), 0u);
    addWaiting(2);
    m_popover->showNextTo(QRect(300, 500, 40, 30));
    QVERIFY(QTest::qWaitForWindowExposed(m_popover.get()));
    QWidget *viewport = m_popover->conversionTable()->viewport();
    QCOMPARE(m_controller->conversionList()->count(), 3);
    // The finished row's button only takes it off the list: not a stop.
    const QImage shot = viewport->grab().toImage();
    const QRect button = QBConversionDelegate::stopButtonRect(QRect(QPoint(), QSize(viewport->width(), 1)));
    QVERIFY(shot.copy(button.translated(stopButton(0) - button.center()))
            != shot.copy(button.translated(stopButton(1) - button.center())));

    // A waiting conversion is cancelled: its row goes at once, and with it
    // its share of the mean.
    m_controller->conversionList()->bundleAt(1)->setValue(BundleKey::percent, 80.0);
    QCOMPARE(m_controller->caption(), u"Conversions (40%)"_qs);
    QTest::mouseClick(viewport, Qt::LeftButton, {}, stopButton(2));
    QCOMPARE(m_controller->conversionList()->count(), 2);
    QCOMPARE(m_controller->caption(), u"Conversions (80%)"_qs);
    QVERIFY(!m_controller->sourcePathIsReserved(u"src1"_qs));
    // A finished one has nothing left to cancel: its row is removed.
    QTest::mouseClick(viewport, Qt::LeftButton, {}, stopButton(0));
    QCOMPARE(m_controller->conversionList()->count(), 1);
    // A click beside the button does nothing.
    QTest::mouseClick(viewport, Qt::LeftButton, {}, stopButton(0) - QPoint(60, 0));
    QCOMPARE(m_controller->conversionList()->count(), 1);
}

void tst_QBConversionsPopover::clearAndCancelAll()
{
    QVERIFY(!m_popover->clearButton()->isEnabled());
    QVERIFY(!m_popover->cancelAllButton()->isEnabled());
    QBFakeTool tool;
    m_controller->startConversionTasks({conversion({u"copy"_qs}, u"done"_qs, u"done.wbfs"_qs)});
    QTRY_COMPARE(m_controller->numberOfRunningConversions(), 0u);
    addWaiting(2);
    QVERIFY(m_popover->clearButton()->isEnabled());
    QVERIFY(m_popover->cancelAllButton()->isEnabled());

    QTest::mouseClick(m_popover->clearButton(), Qt::LeftButton);
    QCOMPARE(m_controller->conversionList()->count(), 2);
    QTest::mouseClick(m_popover->cancelAllButton(), Qt::LeftButton);
    QCOMPARE(m_controller->conversionList()->count(), 0);
    QVERIFY(!m_popover->clearButton()->isEnabled());
    m_controller->conversionQueue()->setSuspended(false);
    QTRY_VERIFY(!m_popover->cancelAllButton()->isEnabled());
}

void tst_QBConversionsPopover::buttonTogglesAndOutsideClickCloses()
{
    QWidget window;
    auto *button = new QBConversionsButton(m_controller.get(), m_popover.get(), &window);
    button->move(200, 400);
    window.resize(500, 500);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QSignalSpy closed(m_popover.get(), &QBConversionsPopover::popoverDidClose);

    QTest::mouseClick(button, Qt::LeftButton);
    QTRY_VERIFY(m_popover->isVisible());
    // The click that lands on the button closes the popover and only that.
    QTest::mouseClick(button, Qt::LeftButton);
    QTRY_VERIFY(!m_popover->isVisible());
    QCOMPARE(closed.size(), 1);

    QTest::mouseClick(button, Qt::LeftButton);
    QTRY_VERIFY(m_popover->isVisible());
    QTest::mouseClick(m_popover.get(), Qt::LeftButton, {}, QPoint(-20, -20));
    QTRY_VERIFY(!m_popover->isVisible());
    QCOMPARE(closed.size(), 2);

    // The button wears the posted progress image.
    addWaiting(1);
    m_controller->conversionList()->bundleAt(0)->setValue(BundleKey::percent, 50.0);
    QCOMPARE(button->toolTip(), u"Conversions (50%)"_qs);
    QCOMPARE(button->icon().pixmap(32, 32).toImage().convertToFormat(QImage::Format_ARGB32),
             m_controller->progressImage().convertToFormat(QImage::Format_ARGB32));
}

void tst_QBConversionsPopover::startWindowOpensTheConversions()
{
    // The icon is an SVG in the resources: this fails when the resource is
    // not linked in or Qt's SVG support is missing.
    QVERIFY(!QIcon(u":/palomet/icons/palomet.svg"_qs).pixmap(64, 64).isNull());
    QBStartWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QTest::mouseClick(window.conversionsButton(), Qt::LeftButton);
    QTRY_VERIFY(QBConversionsPopover::shared()->isVisible());
    QBConversionsPopover::shared()->close();
    delete QBConversionsPopover::shared();
}

void tst_QBConversionsPopover::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(u"services"_qs);
    QDBusConnection::disconnectFromBus(u"client"_qs);
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        m_daemon.waitForFinished(3000);
    }
}

// The notification daemon, the dock's progress and logind's sleep lock,
// as the desktop's services see them.
void tst_QBConversionsPopover::desktopServices()
{
    const QDBusConnection bus = QDBusConnection::connectToBus(m_address, u"client"_qs);
    QBFreedesktopIntegration desktop(bus, bus);
    desktop.deliverNotification(u"Conversion  completed."_qs, u"Alpha [RQAE01].wbfs"_qs);
    QTRY_COMPARE(m_notifications.summaries, QStringList{u"Conversion  completed."_qs});
    QCOMPARE(m_notifications.bodies, QStringList{u"Alpha [RQAE01].wbfs"_qs});

    const QIcon standard(u":/palomet/icons/palomet.svg"_qs);
    QGuiApplication::setWindowIcon(standard);
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

    if (!(bus.connectionCapabilities() & QDBusConnection::UnixFileDescriptorPassing))
        QSKIP("this bus cannot pass file descriptors");
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

QTEST_MAIN(tst_QBConversionsPopover)
#include "tst_qbconversionspopover.moc"
