// SPDX-License-Identifier: GPL-3.0-or-later
// Asks the game center for the covers of 2,000 games whose cover files are
// all on disk, as a document does when it lists them, and measures how long
// the event loop is kept from running at a time until every cover is in the
// cache. See BENCHMARKS.md.
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbgamecenter.h"
#include "qbsyntheticdatabase.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));
    const int games = argc > 1 ? QByteArray(argv[1]).toInt() : 2000;
    QTemporaryDir dir;
    QBSupportFolder::setLocation(dir.filePath(QStringLiteral("support")));
    QBSettings::setValue(SettingsKey::downloadCovers, false);

    QBGameCenter center;
    if (!QBSyntheticDatabase::writeCovers(QFileInfo(QBSupportFolder::coverPath(QBSyntheticDatabase::id(0))).path(),
                                          games)) {
        std::fprintf(stderr, "cannot write the covers\n");
        return 1;
    }
    QList<QVariantMap> records;
    for (int i = 0; i < games; ++i) {
        const QString id = QBSyntheticDatabase::id(i);
        records << QVariantMap{{QStringLiteral("id"), id}, {QStringLiteral("coverPath"), QBSupportFolder::coverPath(id)},
                               {QStringLiteral("filename"), QStringLiteral("/games/%1.wbfs").arg(id)}};
    }

    int arrived = 0;
    for (const QVariantMap &record : std::as_const(records)) {
        QObject::connect(center.coverEntry(record.value(QStringLiteral("id")).toString()), &QBCoverEntry::coverChanged,
                         &app, [&] {
                             if (++arrived == games)
                                 app.quit();
                         });
    }

    // The longest stretch between two turns of the event loop: a 1 ms timer
    // that notes how late it is.
    QElapsedTimer clock;
    qint64 last = 0;
    qint64 longest = 0;
    QTimer watchdog;
    watchdog.setTimerType(Qt::PreciseTimer);
    QObject::connect(&watchdog, &QTimer::timeout, &app, [&] {
        const qint64 now = clock.nsecsElapsed();
        longest = qMax(longest, now - last);
        last = now;
    });
    double askMs = 0;
    QTimer::singleShot(0, &app, [&] {
        QElapsedTimer ask;
        ask.start();
        for (const QVariantMap &record : std::as_const(records))
            center.getImageForGame(record);
        askMs = double(ask.nsecsElapsed()) / 1e6;
    });
    clock.start();
    watchdog.start(1);
    app.exec();
    const double totalMs = double(clock.nsecsElapsed()) / 1e6;

    if (center.images().size() != games) {
        std::fprintf(stderr, "only %lld covers arrived\n", qlonglong(center.images().size()));
        return 1;
    }
    std::printf("%d covers on disk: asking for all took %.1f ms; all cached after %.1f ms (%.0f covers/s)\n",
                games, askMs, totalMs, games / totalMs * 1000.0);
    std::printf("longest time the event loop was kept from running: %.1f ms (goal at most 50: %s)\n",
                double(longest) / 1e6, longest <= 50'000'000 ? "met" : "MISSED");
    return 0;
}
