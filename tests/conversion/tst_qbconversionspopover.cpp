// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbstartwindow.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversiondelegate.h"
#include "conversion/qbconversionlistmodel.h"
#include "conversion/qbconversionsbutton.h"
#include "conversion/qbconversionspopover.h"
#include "qbconversiontestutil.h"
#include "qbfaketool.h"
#include "qbrecordingdesktop.h"
#include "qbscriptedalerts.h"
#include "tasks/qboperationqueue.h"

#include <QLabel>
#include <QTableView>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <memory>

class tst_QBConversionsPopover : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void heightFollowsTheRows();
    void rowsShowTheirBundles();
    void stopButtonsCancelOrRemove();
    void clearAndCancelAll();
    void buttonTogglesAndOutsideClickCloses();
    void startWindowOpensTheConversions();

private:
    void addWaiting(int count);
    QPoint stopButton(int row) const;

    std::unique_ptr<QBRecordingDesktop> m_desktop;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBConversionController> m_controller;
    std::unique_ptr<QBConversionsPopover> m_popover;
    int m_added = 0;
};

void tst_QBConversionsPopover::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::notifyWhenDone, false);
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

void tst_QBConversionsPopover::heightFollowsTheRows()
{
    constexpr int row = QBConversionDelegate::rowHeight;
    const QRect anchor(300, 500, 40, 30);
    m_popover->showNextTo(anchor);
    QVERIFY(QTest::qWaitForWindowExposed(m_popover.get()));
    QCOMPARE(m_popover->height(), row + 56);
    // On the anchor's top edge, centred on it.
    QCOMPARE(m_popover->frameGeometry().bottom(), anchor.top() - 1);
    QVERIFY(qAbs(m_popover->frameGeometry().center().x() - anchor.center().x()) <= 1);

    addWaiting(3);
    QCOMPARE(m_popover->height(), 3 * row + 56);
    QCOMPARE(m_popover->frameGeometry().bottom(), anchor.top() - 1);
    addWaiting(2);
    QCOMPARE(m_popover->height(), 5 * row + 56);
    addWaiting(1);
    QCOMPARE(m_popover->height(), row * 11 / 2 + 56);
    // The caption and the buttons take the 56: the list shows five rows
    // and a half, which says that it scrolls.
    QTRY_COMPARE(m_popover->conversionTable()->viewport()->height(), row * 11 / 2);
    addWaiting(1);
    QCOMPARE(m_popover->height(), row * 11 / 2 + 56);

    m_controller->cancelAllConversions();
    QCOMPARE(m_popover->height(), row + 56);
}

void tst_QBConversionsPopover::rowsShowTheirBundles()
{
    addWaiting(2);
    m_popover->showNextTo(QRect(300, 500, 40, 30));
    QVERIFY(QTest::qWaitForWindowExposed(m_popover.get()));
    QCOMPARE(m_popover->conversionsTextField()->text(), u"Conversions (0%)"_qs);

    const QBConversionListModel *list = m_controller->conversionList();
    QBConversionBundle *bundle = list->bundleAt(1);
    QCOMPARE(list->index(1).data(QBConversionListModel::CoverRole).value<QImage>(),
             QImage(u":/palomet/images/missingcover.png"_qs));

    QSignalSpy changed(list, &QAbstractItemModel::dataChanged);
    QImage cover(70, 100, QImage::Format_RGB32);
    cover.fill(Qt::red);
    bundle->setValue(BundleKey::cover, cover);
    bundle->setValue(BundleKey::percent, 80.0);
    QCOMPARE(changed.size(), 2);
    QCOMPARE(changed.first().first().toModelIndex().row(), 1);
    QCOMPARE(m_popover->conversionsTextField()->text(), u"Conversions (40%)"_qs);

    // The cover is drawn in its place in the row.
    QTableView *table = m_popover->conversionTable();
    const QRect coverArea = QBConversionDelegate::coverRect(table->visualRect(list->index(1)));
    QTRY_COMPARE(table->viewport()->grab().toImage().pixelColor(coverArea.center()), QColor(Qt::red));
    QVERIFY(table->viewport()->grab().toImage().pixelColor(
                    QBConversionDelegate::coverRect(table->visualRect(list->index(0))).center())
            != QColor(Qt::red));
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

QTEST_MAIN(tst_QBConversionsPopover)
#include "tst_qbconversionspopover.moc"
