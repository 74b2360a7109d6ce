// SPDX-License-Identifier: GPL-3.0-or-later
// What one progress section of a running conversion costs the main thread:
// the reader parses it, the task writes the bundle, the controller folds
// the percentage into the overall one (redrawing the small image and the
// icon when the whole percent changes), and the conversions list repaints
// the changed row. Twenty conversions are listed, the popover is shown,
// and the sections are fed through readData() as a tool's output would
// arrive, each followed by the event processing that paints.

#include "base/qbkeys.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversionlistmodel.h"
#include "conversion/qbconversionspopover.h"
#include "conversion/qbfreedesktopintegration.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"
#include "tasks/qboperationqueue.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTableView>
#include <QLoggingCategory>
#include <QPaintEvent>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int bundles = 20;
constexpr int defaultSections = 2000;
constexpr double goalMs = 0.2;

[[noreturn]] void fail(const QString &message)
{
    std::fprintf(stderr, "bench_progress: %s\n", qUtf8Printable(message));
    std::exit(1);
}

// Counts the viewport's repaints and remembers the tallest one.
class PaintWatcher : public QObject
{
public:
    int paints = 0;
    int tallest = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            ++paints;
            tallest = std::max(tallest, static_cast<QPaintEvent *>(event)->rect().height());
        }
        return false;
    }
};

struct Figures
{
    double meanMs = 0;
    double medianMs = 0;
    double p99Ms = 0;
};

Figures summarise(std::vector<qint64> nanoseconds)
{
    std::sort(nanoseconds.begin(), nanoseconds.end());
    Figures figures;
    double sum = 0;
    for (const qint64 ns : nanoseconds)
        sum += double(ns);
    figures.meanMs = sum / double(nanoseconds.size()) / 1e6;
    figures.medianMs = double(nanoseconds[nanoseconds.size() / 2]) / 1e6;
    figures.p99Ms = double(nanoseconds[nanoseconds.size() * 99 / 100]) / 1e6;
    return figures;
}

}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));
    const int sections = argc > 1 ? std::max(100, std::atoi(argv[1])) : defaultSections;

    // The real desktop side, but on no bus: the window icon is set, nothing
    // leaves the process.
    const QDBusConnection noBus(QStringLiteral("no bus"));
    QBFreedesktopIntegration desktop(noBus, noBus);
    QBConversionController controller(&desktop);
    QBConversionsPopover popover(&controller);

    // Nothing is started: the sections are handed to the first task
    // directly, as its child's output would be.
    controller.conversionQueue()->setSuspended(true);
    QList<QBConversionTask *> tasks;
    for (int i = 0; i < bundles; ++i) {
        auto *bundle = new QBConversionBundle(
                {{BundleKey::sourcePath, QStringLiteral("source %1").arg(i)},
                 {BundleKey::destinationPath, QStringLiteral("destination %1.wbfs").arg(i)},
                 {BundleKey::display, QStringLiteral("Convert 'Game %1' < 'Library'").arg(i)},
                 {BundleKey::percent, 0.0},
                 {BundleKey::isWaiting, true},
                 {BundleKey::infos, QStringLiteral("Waiting ...")}});
        tasks << new QBConversionTask({QStringLiteral("copy")}, 0, bundle, nullptr);
    }
    controller.startConversionTasks(tasks);
    popover.showNextTo(QRect(400, 700, 40, 30));
    QCoreApplication::processEvents();
    QBConversionTask *running = tasks.first();
    QBConversionBundle *bundle = running->conversionBundle();

    PaintWatcher watcher;
    popover.conversionTable()->viewport()->installEventFilter(&watcher);

    // step: the percentage gained per section. 0.05 is a tool printing
    // every few milliseconds (the whole percent, and so the images, change
    // every 20th section); 1 redraws the images at every section.
    // paint false: the reader, the bundle and the controller only, with the
    // repaints left for later.
    auto run = [&](double step, int count, bool paint) {
        std::vector<qint64> times;
        times.reserve(std::size_t(count));
        double percent = 0;
        QElapsedTimer timer;
        for (int i = 0; i < count; ++i) {
            percent += step;
            if (percent > 100)
                percent = step;
            const QByteArray chunk = QStringLiteral("[progress]\npercent=%1\nmib-per-sec=12.3\neta-text=5:%2\n\n")
                                             .arg(percent, 0, 'f', 2)
                                             .arg(i % 60, 2, 10, QLatin1Char('0'))
                                             .toUtf8();
            timer.start();
            running->readData(chunk);
            if (paint) {
                QCoreApplication::sendPostedEvents();
                QCoreApplication::processEvents();
            }
            times.push_back(timer.nsecsElapsed());
            if (!paint)
                QCoreApplication::processEvents();
            if (std::abs(bundle->percent() - QString::number(percent, 'f', 2).toDouble()) > 1e-9)
                fail(QStringLiteral("the bundle did not follow the sections"));
        }
        return summarise(times);
    };

    run(0.05, 200, true); // warm-up
    watcher.paints = 0;
    watcher.tallest = 0;
    const Figures fine = run(0.05, sections, true);
    const int finePaints = watcher.paints;
    const int fineTallest = watcher.tallest;
    const Figures coarse = run(1.0, sections, true);
    const Figures unpainted = run(0.05, sections, false);

    const int rowHeight = popover.conversionTable()->visualRect(controller.conversionList()->index(0)).height();
    if (finePaints == 0 || fineTallest > rowHeight)
        fail(QStringLiteral("the list repainted more than the changed row (%1 px)").arg(fineTallest));

    std::printf("bench_progress: %d bundles listed, %d sections per run\n", bundles, sections);
    std::printf("  step 0.05%%: mean %.4f ms, median %.4f ms, p99 %.4f ms per section\n", fine.meanMs,
                fine.medianMs, fine.p99Ms);
    std::printf("  step 1%%:    mean %.4f ms, median %.4f ms, p99 %.4f ms per section\n", coarse.meanMs,
                coarse.medianMs, coarse.p99Ms);
    std::printf("  step 0.05%%, painting not counted: mean %.4f ms, median %.4f ms, p99 %.4f ms\n",
                unpainted.meanMs, unpainted.medianMs, unpainted.p99Ms);
    std::printf("  repaints of the list (step 0.05%%): %d, tallest %d px (one row is %d px)\n", finePaints,
                fineTallest, rowHeight);
    std::printf("  goal: mean under %.1f ms at step 0.05%%: %s\n", goalMs, fine.meanMs < goalMs ? "met" : "MISSED");
    return 0;
}
