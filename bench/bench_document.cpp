// SPDX-License-Identifier: GPL-3.0-or-later
// Times the document window on lists of real scale, on the offscreen
// platform: opening the title database's document (10,000 games), one
// keystroke in its search field, sorting it by title, and scrolling the
// cover grid of a folder of 5,000 games whose covers are on disk, with the
// process's resident memory at the end (the last line). See BENCHMARKS.md.
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "document/qbcoverthumbnails.h"
#include "document/qbdocumentwindow.h"
#include "document/qbgamefiltermodel.h"
#include "gamedata/qbcovercache.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "qbbenchsupport.h"
#include "qbsyntheticdatabase.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QLineEdit>
#include <QListView>
#include <QLoggingCategory>
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

namespace {

using QBBench::elapsedMs;
using QBBench::Figures;

// Lets queued work (the view's delayed layout) run, then paints the window
// at once, as the next frame would.
void settle(QWidget *window)
{
    QCoreApplication::processEvents();
    window->repaint();
}

qint64 residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

bool wait(const std::function<bool()> &condition, int timeoutMs)
{
    return QTest::qWaitFor(condition, timeoutMs);
}

void databaseDocument(const QBGameDataMenus &menus, int runs, int games)
{
    Figures open;
    Figures keys;
    Figures sortedKeys;
    Figures sorts;
    const QString query = QStringLiteral("island ninja");
    for (int run = 0; run < runs; ++run) {
        QSettings().clear();
        QElapsedTimer timer;
        timer.start();
        QBDocumentWindow *window = QBDocumentWindow::create(QStringLiteral("GameTDB"), 2, 1, menus);
        window->show();
        settle(window);
        open.ms << elapsedMs(timer);
        if (window->document()->gameListController()->rowCount() != games) {
            std::fprintf(stderr, "the database document lists %d games, not %d\n",
                         window->document()->gameListController()->rowCount(), games);
            std::exit(1);
        }

        // Typing the query, then taking it back one key at a time; first
        // in the database's order, then sorted by title.
        QLineEdit *field = window->searchField();
        field->setFocus();
        QHeaderView *header = window->tableView()->horizontalHeader();
        const QPoint title(header->sectionViewportPosition(QBGameListModel::columnForKey(QStringLiteral("title"))) + 10,
                           header->height() / 2);
        for (Figures *figures : {&keys, &sortedKeys}) {
            auto key = [&](auto press) {
                QElapsedTimer keyTimer;
                keyTimer.start();
                press();
                settle(window);
                figures->ms << elapsedMs(keyTimer);
            };
            for (const QChar c : query)
                key([&] { QTest::keyClick(field, c.toLatin1()); });
            const int found = window->document()->gameListController()->rowCount();
            for (int i = 0; i < query.size(); ++i)
                key([&] { QTest::keyClick(field, Qt::Key_Backspace); });
            if (found == 0 || found == games || window->document()->gameListController()->rowCount() != games) {
                std::fprintf(stderr, "the search did not filter (%d found)\n", found);
                std::exit(1);
            }
            if (figures == &sortedKeys)
                break;
            for (int click = 0; click < 2; ++click) {
                QElapsedTimer sortTimer;
                sortTimer.start();
                QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, title);
                settle(window);
                sorts.ms << elapsedMs(sortTimer);
            }
        }
        delete window;
    }
    std::printf("database document, %d games, %d runs\n", games, runs);
    std::printf("  open and first paint: median %.1f ms, worst %.1f ms\n", open.median(), open.worst());
    std::printf("  search keystroke (%lld): median %.2f ms, p95 %.2f ms, worst %.2f ms\n", qlonglong(keys.ms.size()),
                keys.median(), keys.quantile(0.95), keys.worst());
    std::printf("  search keystroke, sorted by title (%lld): median %.2f ms, p95 %.2f ms, worst %.2f ms\n",
                qlonglong(sortedKeys.ms.size()), sortedKeys.median(), sortedKeys.quantile(0.95), sortedKeys.worst());
    std::printf("  sort by title (%lld): median %.1f ms, worst %.1f ms\n", qlonglong(sorts.ms.size()), sorts.median(),
                sorts.worst());
}

// The process's resident memory at the end, in MiB.
double coverGrid(QBGameCenter &center, const QBGameDataMenus &menus, const QString &folder, int games, int steps)
{
    if (!QBSyntheticDatabase::writeCovers(QFileInfo(QBSupportFolder::coverPath(QBSyntheticDatabase::id(0))).path(),
                                          games, 11)) {
        std::fprintf(stderr, "cannot write the covers\n");
        std::exit(1);
    }
    QList<QVariantMap> records;
    for (int i = 0; i < games; ++i) {
        const QString id = QBSyntheticDatabase::id(i);
        records << QVariantMap{{QStringLiteral("id"), id},
                               {QStringLiteral("title"), QStringLiteral("Game number %1").arg(i)},
                               {QStringLiteral("region"), QStringLiteral("PAL ")},
                               {QStringLiteral("filetype"), QStringLiteral("WBFS/WII")},
                               {QStringLiteral("size"), 4.37f},
                               {QStringLiteral("coverPath"), QBSupportFolder::coverPath(id)},
                               {QStringLiteral("filename"), QString(folder + QStringLiteral("/%1.wbfs").arg(id))}};
    }

    QSettings().clear();
    const qint64 before = residentKiB();
    QBDocumentWindow *window = QBDocumentWindow::create(folder, 0, 0, menus);
    window->resize(1000, 700);
    window->show();
    // The games as a browse reports them, then the end of the browse.
    QBDocument *document = window->document();
    QElapsedTimer listing;
    listing.start();
    for (const QVariantMap &record : std::as_const(records))
        document->browsingDidFinish({{QStringLiteral("game"), record}});
    document->browsingDidFinish({{QStringLiteral("terminationStatus"), 0}});
    const double listMs = elapsedMs(listing);
    // Every cover is read once; those beyond the game center's budget
    // leave memory again.
    if (!wait([&] { return !center.isReadingCovers(); }, 120000)) {
        std::fprintf(stderr, "the covers were not all read\n");
        std::exit(1);
    }
    QListView *grid = window->imageBrowserView();
    wait([&] { return grid->verticalScrollBar()->maximum() > 0; }, 10000);
    settle(window);
    // The grid's thumbnails are the large ones; the table has its own.
    const QBCoverThumbnails *gridThumbnails = nullptr;
    for (const QBCoverThumbnails *candidate : window->findChildren<QBCoverThumbnails *>()) {
        if (candidate->box().height() > 100)
            gridThumbnails = candidate;
    }
    wait([&] { return gridThumbnails->pendingCount() == 0; }, 10000);

    // One wheel notch at a time, each handled and painted before the next.
    Figures notches;
    const QPoint inside = grid->viewport()->rect().center();
    int direction = -1;
    int maxPending = 0;
    for (int step = 0; step < steps; ++step) {
        if (grid->verticalScrollBar()->value() == grid->verticalScrollBar()->maximum())
            direction = 1;
        else if (grid->verticalScrollBar()->value() == 0)
            direction = -1;
        QWheelEvent wheel(inside, grid->viewport()->mapToGlobal(inside), QPoint(), QPoint(0, 120 * direction),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QElapsedTimer notch;
        notch.start();
        QCoreApplication::sendEvent(grid->viewport(), &wheel);
        settle(window);
        notches.ms << elapsedMs(notch);
        maxPending = qMax(maxPending, gridThumbnails->pendingCount());
    }
    // Covers evicted from the game center are read again for the cells
    // that show them: caught up when those readings and the scaling are done.
    QElapsedTimer catchUp;
    catchUp.start();
    wait([&] { return !center.isReadingCovers() && gridThumbnails->pendingCount() == 0; }, 10000);
    const double catchUpMs = elapsedMs(catchUp);

    // A full-speed fling: no painting between notches but the event loop's.
    QElapsedTimer fling;
    fling.start();
    for (int step = 0; step < 200; ++step) {
        QWheelEvent wheel(inside, grid->viewport()->mapToGlobal(inside), QPoint(), QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(grid->viewport(), &wheel);
        QCoreApplication::processEvents();
    }
    const double flingMs = elapsedMs(fling);
    settle(window);
    wait([&] { return !center.isReadingCovers() && gridThumbnails->pendingCount() == 0; }, 10000);
    const qint64 after = residentKiB();
    const qint64 imageBytes = center.coverImageBytes();
    const qsizetype imagesKept = center.images().size();

    std::printf("cover grid, %d games with covers on disk, window 1000 x 700\n", games);
    std::printf("  listing %d reports: %.1f ms\n", games, listMs);
    std::printf("  wheel notch handled and painted (%d): median %.2f ms, p95 %.2f ms, worst %.2f ms\n", steps,
                notches.median(), notches.quantile(0.95), notches.worst());
    std::printf("  thumbnails pending at most %d; covers read again and scaled %.1f ms after the last notch\n",
                maxPending, catchUpMs);
    std::printf("  200-notch fling without painting between notches: %.1f ms\n", flingMs);
    std::printf("  scaled covers kept: %.1f MiB (limit 48 MiB); the game center's full covers: %lld, %.1f MiB "
                "(budget %.0f MiB)\n",
                double(gridThumbnails->cachedBytes()) / 1048576.0, qlonglong(imagesKept),
                double(imageBytes) / 1048576.0, double(QBCoverCache::defaultMemoryBudget) / 1048576.0);
    std::printf("  resident memory: %.1f MiB before the window, %.1f MiB after\n", double(before) / 1024.0,
                double(after) / 1024.0);
    delete window;
    return double(after) / 1024.0;
}

}

int main(int argc, char **argv)
{
    QBBench::preferOffscreen();
    QApplication app(argc, argv);
    QBBench::enterTestMode();
    const int runs = argc > 1 ? QByteArray(argv[1]).toInt() : 7;
    const int games = argc > 2 ? QByteArray(argv[2]).toInt() : 10000;
    const int covers = argc > 3 ? QByteArray(argv[3]).toInt() : 5000;

    QTemporaryDir dir;
    QSettings().clear();
    QBSupportFolder::setLocation(dir.filePath(QStringLiteral("support")));
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    QBSettings::setValue(SettingsKey::languages, QStringList{QStringLiteral("en")});
    if (QBSupportFolder::path().isEmpty()
        || !QBSyntheticDatabase::write(dir.filePath(QStringLiteral("support/wiitdb.xml")), games)) {
        std::fprintf(stderr, "cannot write the database\n");
        return 1;
    }
    QBGameCenter center;
    QBGameDataMenus menus(&center);
    if (!wait([&] { return center.hasDatabase(); }, 60000) || center.database().size() != games) {
        std::fprintf(stderr, "the database did not load\n");
        return 1;
    }
    databaseDocument(menus, runs, games);
    const double resident = coverGrid(center, menus, dir.path(), covers, 300);
    std::printf("grid resident MiB %.1f\n", resident);
    return 0;
}
