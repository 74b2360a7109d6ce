// SPDX-License-Identifier: GPL-3.0-or-later
// Times the start-up of the real program, on the offscreen platform, from
// the process's start to its first window on screen, with a title database
// of real scale installed and five documents saved by the last run. The
// program says when its first window is exposed ("First window shown" in
// the palomet.app log); the database parse and the five listings go on
// after that. See BENCHMARKS.md.
//   bench_startup [runs] [games]
#include "app/qbdocumentcontroller.h"
#include "qbsyntheticdatabase.h"
#include "qbtestimages.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

// Milliseconds from the start of the program to its first window; a
// negative value when it did not show one within the time allowed.
double firstWindowMs(const QProcessEnvironment &environment)
{
    QProcess program;
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::MergedChannels);
    QByteArray log;
    QElapsedTimer timer;
    timer.start();
    program.start(QStringLiteral(PALOMET_PATH), {});
    double shown = -1;
    while (shown < 0 && timer.elapsed() < 20000 && program.state() != QProcess::NotRunning) {
        program.waitForReadyRead(20);
        log += program.readAll();
        if (log.contains("First window shown"))
            shown = double(timer.nsecsElapsed()) / 1e6;
    }
    program.kill();
    program.waitForFinished();
    if (shown < 0)
        std::fprintf(stderr, "no window within 20 s; the program wrote:\n%s\n", log.constData());
    return shown;
}

}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int runs = argc > 1 ? std::atoi(argv[1]) : 9;
    const int games = argc > 2 ? std::atoi(argv[2]) : 10000;
    QTemporaryDir root;
    const QString data = root.filePath(QStringLiteral("data"));
    const QString config = root.filePath(QStringLiteral("config"));
    QBTestImages::Library library;
    if (!QDir().mkpath(data + QStringLiteral("/palomet"))
        || !QBSyntheticDatabase::write(data + QStringLiteral("/palomet/wiitdb.xml"), games)
        || !QBTestImages::makeLibrary(root.path(), &library)) {
        std::fprintf(stderr, "the database or the images could not be written: %s\n",
                     qPrintable(QBTestImages::lastError()));
        return 1;
    }

    // Five saved documents: the library, its sub-folder, two copies of the
    // library, and the WBFS file; no welcome, as after an earlier launch.
    QList<QBDocumentEntry> entries{{library.folder, 0, 1}, {library.path(QStringLiteral("sub")), 0, 1}};
    for (const QString &copy : {QStringLiteral("copy1"), QStringLiteral("copy2")}) {
        const QString folder = root.filePath(copy);
        QDir().mkpath(folder);
        for (const QString &name : QDir(library.folder).entryList(QDir::Files))
            QFile::copy(library.path(name), folder + u'/' + name);
        entries.append({folder, 0, 1});
    }
    entries.append({library.container, 1, 1});
    {
        QSettings settings(config + QStringLiteral("/palomet/palomet.conf"), QSettings::IniFormat);
        settings.setValue(QStringLiteral("lastVersion"), QBDocumentController::programBuildVersion());
        settings.setValue(QStringLiteral("firstAlert"), true);
        settings.setValue(QStringLiteral("downloadCovers"), false);
        settings.setValue(QStringLiteral("documents"), QBDocumentController::archiveEntries(entries));
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("palomet.*.info=false\npalomet.app.info=true"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), data);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);

    firstWindowMs(environment); // warm-up: caches, fonts
    QList<double> figures;
    for (int run = 0; run < runs; ++run) {
        const double ms = firstWindowMs(environment);
        if (ms < 0)
            return 1;
        figures << ms;
    }
    std::sort(figures.begin(), figures.end());
    const double median = figures.at(figures.size() / 2);
    std::printf("start-up with a database of %d games and %lld saved documents, %d runs\n", games,
                qlonglong(entries.size()), runs);
    std::printf("  first window shown: median %.1f ms, best %.1f ms, worst %.1f ms\n", median, figures.first(),
                figures.last());
    std::printf("  goal: under 400 ms: %s\n", median < 400 ? "met" : "missed");
    return 0;
}
