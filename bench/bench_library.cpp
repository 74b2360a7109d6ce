// SPDX-License-Identifier: GPL-3.0-or-later
// Reopening a folder of 1,000 images whose listing the library cache
// holds: wit alone with its output thrown away (a), against the document
// window from its creation to the cached rows being in the view's model
// (b) and to the end of the background listing that reconciles them (c).
// Then how soon images that another program copies into or deletes from
// the open folder appear in or leave the list. See BENCHMARKS.md.

#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "document/qbdocumentwindow.h"
#include "document/qbgamefiltermodel.h"
#include "document/qblibrarycache.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "qbbenchsupport.h"
#include "qbtestimages.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

constexpr int fileCount = 1000;
constexpr int distinctCount = 20;
constexpr int liveCount = 5;
constexpr int crowdCount = 30000;
constexpr int timeoutMs = 120000;

using QBBench::elapsedMs;
using QBBench::fail;

double median(const QList<double> &values)
{
    return QBBench::Figures{values}.median();
}

double worst(const QList<double> &values)
{
    return QBBench::Figures{values}.worst();
}

// A few distinct images composed by wit, copied under other names.
QStringList buildFolder(const QString &work, const QString &folder)
{
    QStringList originals;
    for (int i = 0; i < distinctCount; ++i) {
        const QString id = QStringLiteral("RL%1E01").arg(QChar(u'A' + i));
        const QString image = QBTestImages::makeWiiImage(work + QStringLiteral("/%1.wdf").arg(id), id,
                                                         QStringLiteral("Library Game %1").arg(i));
        if (image.isEmpty())
            fail(QBTestImages::lastError());
        originals << image;
    }
    QDir().mkpath(folder);
    for (int i = 0; i < fileCount; ++i) {
        const QString name = folder + QStringLiteral("/game-%1.wdf").arg(i, 4, 10, QLatin1Char('0'));
        if (!QFile::copy(originals.at(i % distinctCount), name))
            fail(QStringLiteral("cannot copy to %1").arg(name));
    }
    return originals;
}

void waitFor(QEventLoop &loop, const bool &done, const char *what)
{
    QBBench::waitFor(loop, done, what, timeoutMs);
}

// (a) wit alone, output to the null device, from start to exit.
double timeTool(const QString &folder)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(QStringLiteral("wit"), {QStringLiteral("list"), QStringLiteral("--source"), folder,
                                          QStringLiteral("--scan-progress"), QStringLiteral("--sections")});
    if (!process.waitForFinished(timeoutMs) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        fail(QStringLiteral("wit list failed"));
    return elapsedMs(timer);
}

struct Reopening
{
    double rowsMs = -1;
    double reconciledMs = -1;
};

// (b) and (c): a window of the folder, from its creation to the cached rows
// in its model and to the end of the listing. With cached false, the
// rows must come from the listing (the untimed first opening).
Reopening timeReopening(const QBGameDataMenus &menus, const QString &folder, bool cached)
{
    Reopening figures;
    QElapsedTimer timer;
    timer.start();
    QBDocumentWindow *window = QBDocumentWindow::create(folder, 0, 1, menus);
    if (!window)
        fail(QStringLiteral("cannot open the folder"));
    window->show();
    QBDocument *document = window->document();
    const QAbstractItemModel *model = document->gameListController();
    QEventLoop loop;
    bool done = false;
    auto rows = [&] {
        if (figures.rowsMs >= 0 || model->rowCount() != fileCount)
            return;
        figures.rowsMs = elapsedMs(timer);
        if (cached && !document->isBrowsing())
            fail(QStringLiteral("the rows were not the cached ones"));
    };
    QObject::connect(model, &QAbstractItemModel::rowsInserted, &loop, rows);
    QObject::connect(document, &QBDocument::isBrowsingChanged, &loop, [&](bool browsing) {
        if (browsing)
            return;
        figures.reconciledMs = elapsedMs(timer);
        done = true;
        loop.quit();
    });
    rows();
    waitFor(loop, done, "the listing");
    if (model->rowCount() != fileCount || figures.rowsMs < 0)
        fail(QStringLiteral("the folder lists %1 games, not %2").arg(model->rowCount()).arg(fileCount));
    delete window;
    return figures;
}

// Copies (or removes) a file as another program would, and times from the
// end of that to the list showing count games.
double timeChange(const QBDocument *document, const std::function<bool()> &change, int count)
{
    const QAbstractItemModel *model = document->gameListController();
    QEventLoop loop;
    bool done = false;
    QElapsedTimer timer;
    auto check = [&] {
        if (!done && model->rowCount() == count) {
            done = true;
            loop.quit();
        }
    };
    QObject::connect(model, &QAbstractItemModel::rowsInserted, &loop, check);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, &loop, check);
    if (!change())
        fail(QStringLiteral("cannot change the folder"));
    timer.start();
    waitFor(loop, done, "the change");
    return elapsedMs(timer);
}

// The longest time the event loop went without turning while it ran.
class HoldMeter : public QObject
{
public:
    HoldMeter()
    {
        connect(&m_tick, &QTimer::timeout, this, [this] {
            const qint64 now = m_clock.nsecsElapsed();
            m_longestMs = std::max(m_longestMs, double(now - m_last) / 1e6);
            m_last = now;
        });
        m_clock.start();
        m_tick.start(1);
    }
    double longestMs() const { return m_longestMs; }

private:
    QElapsedTimer m_clock;
    QTimer m_tick;
    qint64 m_last = 0;
    double m_longestMs = 0;
};

}

int main(int argc, char **argv)
{
    QBBench::preferOffscreen();
    QApplication app(argc, argv);
    QBBench::enterTestMode();
    const int runs = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 7;

    QTemporaryDir dir;
    QSettings().clear();
    QBSupportFolder::setLocation(dir.filePath(QStringLiteral("support")));
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    QBSettings::setValue(SettingsKey::languages, QStringList{QStringLiteral("en")});
    QDir(QBLibraryCache::folder()).removeRecursively();
    const QString folder = dir.filePath(QStringLiteral("library"));
    const QStringList originals = buildFolder(dir.filePath(QStringLiteral("work")), folder);

    QBGameCenter center;
    QBGameDataMenus menus(&center);
    // Untimed: the first opening writes the cache, and warms the disk.
    timeReopening(menus, folder, false);
    const QString cacheFile = QBLibraryCache::folder() + u'/'
            + QBLibraryCache::fileName({folder, 0, false});
    QElapsedTimer written;
    written.start();
    while (!QFile::exists(cacheFile) && written.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    timeTool(folder);

    QList<double> tool;
    QList<double> rows;
    QList<double> reconciled;
    for (int run = 0; run < runs; ++run) {
        const double a = timeTool(folder);
        const Reopening reopening = timeReopening(menus, folder, true);
        tool << a;
        rows << reopening.rowsMs;
        reconciled << reopening.reconciledMs;
    }

    // Live folder: the window stays open while files come and go.
    QBDocumentWindow *window = QBDocumentWindow::create(folder, 0, 1, menus);
    window->show();
    QElapsedTimer listed;
    listed.start();
    while (window->document()->isBrowsing() && listed.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    // The watcher's first look at the folder, before anything changes.
    QEventLoop pause;
    QTimer::singleShot(1000, &pause, &QEventLoop::quit);
    pause.exec();
    QList<double> appear;
    QList<double> vanish;
    for (int i = 0; i < liveCount; ++i) {
        const QString name = folder + QStringLiteral("/live-%1.wdf").arg(i);
        appear << timeChange(window->document(), [&] { return QFile::copy(originals.at(i), name); }, fileCount + 1);
        vanish << timeChange(window->document(), [&] { return QFile::remove(name); }, fileCount);
    }
    delete window;

    // A crowded folder: tens of thousands of files that hold no game and
    // one image. The window keeps turning while the folder is listed and
    // watched, and an image copied in still shows up.
    const QString crowded = dir.filePath(QStringLiteral("crowded"));
    QDir().mkpath(crowded);
    for (int i = 0; i < crowdCount; ++i) {
        QFile note(crowded + QStringLiteral("/note-%1.txt").arg(i));
        if (!note.open(QIODevice::WriteOnly))
            fail(QStringLiteral("cannot write %1").arg(note.fileName()));
    }
    if (!QFile::copy(originals.at(0), crowded + QStringLiteral("/game.wdf")))
        fail(QStringLiteral("cannot copy into the crowded folder"));
    double crowdListedMs = 0;
    double crowdHoldMs = 0;
    double crowdAppearMs = 0;
    {
        HoldMeter meter;
        QElapsedTimer opened;
        opened.start();
        window = QBDocumentWindow::create(crowded, 0, 1, menus);
        window->show();
        while (window->document()->isBrowsing() && opened.elapsed() < timeoutMs)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        crowdListedMs = elapsedMs(opened);
        QTimer::singleShot(1000, &pause, &QEventLoop::quit);
        pause.exec();
        crowdAppearMs = timeChange(window->document(), [&] {
            return QFile::copy(originals.at(1), crowded + QStringLiteral("/new.wdf"));
        }, 2);
        crowdHoldMs = meter.longestMs();
        delete window;
    }

    std::printf("reopening a folder of %d images, %d runs (medians, worst in brackets)\n", fileCount, runs);
    std::printf("  (a) wit list to the null device: %.1f ms (%.1f)\n", median(tool), worst(tool));
    std::printf("  (b) open to the cached rows in the model: %.1f ms (%.1f)\n", median(rows), worst(rows));
    std::printf("  (c) open to the listing reconciled: %.1f ms (%.1f)\n", median(reconciled), worst(reconciled));
    std::printf("  (c)/(a) medians: %.3f (goal at most 1.10); (b)/(a) goal at most 0.05\n",
                median(reconciled) / median(tool));
    std::printf("live folder, %d images copied in and then deleted, from the end of the change to the list\n",
                liveCount);
    std::printf("  appeared: median %.0f ms, worst %.0f ms; left: median %.0f ms, worst %.0f ms (goal 2000 ms)\n",
                median(appear), worst(appear), median(vanish), worst(vanish));
    std::printf("crowded folder, %d files without a game and 1 image: listed in %.0f ms; an image copied in "
                "appeared after %.0f ms; longest event-loop hold %.1f ms\n",
                crowdCount, crowdListedMs, crowdAppearMs, crowdHoldMs);
    std::printf("reopen/list ratio %.3f\n", median(rows) / median(tool));
    return 0;
}
