// SPDX-License-Identifier: GPL-3.0-or-later
// Times the HTML export of a list of 1,000 games against a loopback cover
// server that answers each request 20 ms after it arrives, half of the
// covers found and half not, from the start of the export to its file
// written. See BENCHMARKS.md.
//   bench_export [runs] [games] [delay-ms]
#include "app/qbgamelistexport.h"
#include "base/qbsettings.h"
#include "qbsyntheticdatabase.h"
#include "qbtesthttpserver.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));
    const int runs = argc > 1 ? std::atoi(argv[1]) : 5;
    const int games = argc > 2 ? std::atoi(argv[2]) : 1000;
    const int delay = argc > 3 ? std::atoi(argv[3]) : 20;

    QBTestHttpServer server;
    server.setAnswerDelay(delay);
    QBSettings::setValue(SettingsKey::coverServer, server.url());
    QBSettings::setValue(SettingsKey::languages, QStringList{QStringLiteral("fr")});
    QList<QVariantMap> list;
    for (int i = 0; i < games; ++i) {
        const QString id = QBSyntheticDatabase::id(i);
        list.append({{QStringLiteral("id"), id},
                     {QStringLiteral("title"), QStringLiteral("Game %1").arg(i)},
                     {QStringLiteral("region"), i % 3 == 0 ? QStringLiteral("NTSC-U") : QStringLiteral("PAL")},
                     {QStringLiteral("players"), 1 + i % 4}});
        if (i % 2 == 0) {
            const QString language = i % 3 == 0 ? QStringLiteral("US") : QStringLiteral("FR");
            server.setRoute(QStringLiteral("/wii/cover3D/%1/%2.png").arg(language, id), QByteArray(2048, 'p'));
        }
    }

    QTemporaryDir folder;
    QList<double> figures;
    for (int run = 0; run < runs; ++run) {
        QBGameListExport job(QStringLiteral("bench"), list, QStringLiteral("html"), folder.filePath(QStringLiteral("list")));
        QEventLoop loop;
        QObject::connect(&job, &QBGameListExport::finished, &loop, &QEventLoop::quit);
        QElapsedTimer timer;
        timer.start();
        job.start();
        loop.exec();
        figures << double(timer.nsecsElapsed()) / 1e6;
        const QString page = job.path();
        if (job.result() != QBGameListExport::Result::Written || QFileInfo(page).size() < games * 100) {
            std::fprintf(stderr, "the page was not written\n");
            return 1;
        }
    }
    std::sort(figures.begin(), figures.end());
    const double median = figures.at(figures.size() / 2);
    std::printf("HTML export of %d games, server answering after %d ms, %d checks in flight, %d runs\n", games,
                delay, QBGameListExport::checksInFlight, runs);
    std::printf("  median %.0f ms, best %.0f ms, worst %.0f ms (%lld requests in all)\n", median, figures.first(),
                figures.last(), qlonglong(server.requests().size()));
    std::printf("  goal: under 4 s: %s\n", median < 4000 ? "met" : "missed");
    return 0;
}
