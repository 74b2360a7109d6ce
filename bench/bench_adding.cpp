// SPDX-License-Identifier: GPL-3.0-or-later
// Times a drop of many games onto a folder document on the offscreen
// platform: the drag data read back, the first screening and the convert
// panel's opening; then, from the panel's closing, the destinations, the
// second screening and the queuing of one conversion per game; then the
// conversions popover with that many rows, shown and scrolled. The queue is
// held, so no tool runs. See BENCHMARKS.md.
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversionlistmodel.h"
#include "conversion/qbconversionspopover.h"
#include "document/qbdocumentwindow.h"
#include "document/qbdragdata.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "panels/qbconvertpanel.h"
#include "panels/qbtokenfield.h"
#include "qbbenchsupport.h"
#include "tasks/qboperationqueue.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QStandardPaths>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

using QBBench::elapsedMs;
using QBBench::fail;
using QBBench::Figures;

QVariantMap record(const QString &folder, const QString &prefix, int i)
{
    const QString id = QStringLiteral("R%1%2").arg(prefix).arg(i, 3, 10, QLatin1Char('0'));
    return {{QStringLiteral("id"), id},
            {QStringLiteral("title"), QStringLiteral("Game number %1").arg(i)},
            {QStringLiteral("region"), QStringLiteral("PAL ")},
            {QStringLiteral("filetype"), QStringLiteral("WBFS/WII")},
            {QStringLiteral("size"), 4.37f},
            {QStringLiteral("isOnWBFS"), false},
            {QStringLiteral("coverPath"), QBSupportFolder::coverPath(id)},
            {QStringLiteral("filename"), QString(folder + QStringLiteral("/%1.wbfs").arg(id))}};
}

}

int main(int argc, char **argv)
{
    QBBench::preferOffscreen();
    QApplication app(argc, argv);
    QBBench::enterTestMode();
    const int runs = argc > 1 ? QByteArray(argv[1]).toInt() : 5;
    const int games = argc > 2 ? QByteArray(argv[2]).toInt() : 500;

    QTemporaryDir dir;
    QSettings().clear();
    QBSupportFolder::setLocation(dir.filePath(QStringLiteral("support")));
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    QBSettings::setValue(SettingsKey::languages, QStringList{QStringLiteral("en")});
    QBSettings::setValue(SettingsKey::conversionFormat, QStringLiteral("wia"));
    QBSettings::setValue(SettingsKey::shouldCreateParentDirectory, true);
    QBGameCenter center;
    QBGameDataMenus menus(&center);
    QBConversionController *controller = QBConversionController::sharedController();
    controller->conversionQueue()->setSuspended(true);

    // The destination already lists as many other games, so that both
    // screenings compare against a list of that size.
    const QString destination = dir.filePath(QStringLiteral("destination"));
    QDir().mkpath(destination);
    QBDocumentWindow *window = QBDocumentWindow::create(destination, 0, 1, menus);
    window->show();
    if (!QTest::qWaitFor([&] { return !window->document()->isBrowsing(); }, 30000))
        fail("the destination was not listed");
    for (int i = 0; i < games; ++i)
        window->document()->browsingDidFinish({{QStringLiteral("game"), record(destination, QStringLiteral("DST"), i)}});
    QList<QVariantMap> dropped;
    for (int i = 0; i < games; ++i)
        dropped << record(dir.filePath(QStringLiteral("source")), QStringLiteral("SRC"), i);

    QBConvertPanel *panel = QBConvertPanel::convertPanel();
    Figures beforePanel;
    Figures afterPanel;
    Figures showPopover;
    Figures notches;
    for (int run = 0; run < runs; ++run) {
        std::unique_ptr<QMimeData> data(QBDragData::mimeData(dropped));
        QElapsedTimer timer;
        // The user composes "title [id]" and confirms; the clock is read as
        // the panel shows and restarted as it closes.
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, panel, [&] {
            if (!panel->isVisible())
                return;
            poll.stop();
            beforePanel.ms << elapsedMs(timer);
            QBTokenField *field = panel->tokenField();
            field->selectAll();
            QTest::keyClick(field, Qt::Key_Delete);
            field->addToken(QStringLiteral("title"));
            QTest::keyClicks(field, QStringLiteral(" ["));
            field->addToken(QStringLiteral("id"));
            QTest::keyClicks(field, QStringLiteral("]"));
            timer.start();
            panel->okButton()->click();
        });
        poll.start(0);
        timer.start();
        if (!window->acceptDrop(data.get()))
            fail("the drop was refused");
        // The drop's work starts from the event loop; its end is when the
        // loop is free again.
        if (!QTest::qWaitFor([&] { return controller->conversionList()->rowCount() == games; }, 30000))
            fail("the conversions were not all queued");
        afterPanel.ms << elapsedMs(timer);

        // The popover with every row, shown and painted, then scrolled a
        // notch at a time.
        QBConversionsPopover *popover = QBConversionsPopover::shared();
        timer.start();
        popover->showNextTo(QRect(window->mapToGlobal(QPoint(400, 300)), QSize(20, 20)));
        QCoreApplication::processEvents();
        popover->repaint();
        showPopover.ms << elapsedMs(timer);
        QWidget *viewport = popover->conversionTable()->viewport();
        const QPoint at = viewport->rect().center();
        for (int notch = 0; notch < 40; ++notch) {
            timer.start();
            QWheelEvent wheel(at, viewport->mapToGlobal(at), {}, QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QApplication::sendEvent(viewport, &wheel);
            QCoreApplication::processEvents();
            popover->repaint();
            notches.ms << elapsedMs(timer);
        }
        if (popover->conversionTable()->verticalScrollBar()->value() == 0)
            fail("the popover did not scroll");
        popover->hide();

        controller->cancelAllConversions();
        controller->conversionQueue()->setSuspended(true);
        controller->clearConversions();
        if (controller->conversionList()->rowCount() != 0)
            fail("the conversions were not cleared");
    }
    std::printf("drop of %d games onto a folder listing %d, %d runs\n", games, games, runs);
    std::printf("  drop to panel shown: median %.1f ms, worst %.1f ms\n", beforePanel.median(), beforePanel.worst());
    std::printf("  panel closed to %d conversions queued: median %.1f ms, worst %.1f ms\n", games, afterPanel.median(),
                afterPanel.worst());
    std::printf("  popover with %d rows shown and painted: median %.1f ms, worst %.1f ms\n", games,
                showPopover.median(), showPopover.worst());
    std::printf("  popover wheel notch handled and painted (%lld): median %.2f ms, worst %.2f ms\n",
                qlonglong(notches.ms.size()), notches.median(), notches.worst());
    delete window;
    return 0;
}
