// SPDX-License-Identifier: GPL-3.0-or-later
// How much the browsing task adds to the listing of a folder of 500 images:
// wit alone with its output thrown away, against the task that runs the
// same command and parses everything it prints, and the tool read through a
// pipe. All are timed in turn in the same run, so that the machine's state
// weighs on each alike.

#include "base/qbkeys.h"
#include "base/qbsupportfolder.h"
#include "qbbenchsupport.h"
#include "qbtestimages.h"
#include "tasks/qbbrowsingtask.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int fileCount = 500;
constexpr int distinctCount = 20;
constexpr int defaultRepetitions = 7;
constexpr double goal = 1.10;
constexpr int timeoutMs = 60000;

[[noreturn]] void fail(const QString &message)
{
    std::fprintf(stderr, "bench_browsing: %s\n", qUtf8Printable(message));
    std::exit(1);
}

// wit needs about 30 ms to compose an image, so a few distinct ones are
// composed and then copied under other names; the listing does not mind
// repeated IDs.
void buildFolder(const QString &folder)
{
    QTemporaryDir work;
    if (!work.isValid())
        fail(QStringLiteral("no temporary folder"));
    QStringList originals;
    for (int i = 0; i < distinctCount; ++i) {
        const QString id = QStringLiteral("RB%1E01").arg(QChar(u'A' + i));
        // Some titles outside ASCII, as real collections have.
        const QString title = i % 4 == 0 ? QStringLiteral("Caf\u00e9 \u00dcbertitel \u65e5\u672c %1").arg(i)
                                         : QStringLiteral("Bench Game %1").arg(i);
        const QString image = QBTestImages::makeWiiImage(work.filePath(id + QStringLiteral(".wdf")), id, title);
        if (image.isEmpty())
            fail(QBTestImages::lastError());
        originals.append(image);
    }
    const QDir target(folder);
    for (int i = 0; i < fileCount; ++i) {
        const QString name = QStringLiteral("game-%1.wdf").arg(i, 3, 10, QLatin1Char('0'));
        if (!QFile::copy(originals.at(i % distinctCount), target.filePath(name)))
            fail(QStringLiteral("cannot copy to %1").arg(target.filePath(name)));
    }
}

// A stuck tool fails the run instead of hanging it.
void waitFor(QEventLoop &loop, const bool &done, const char *what)
{
    QBBench::waitFor(loop, done, what, timeoutMs);
}

// The tool alone, from start to exit, with its output either sent to the
// null device (a) or read through a pipe and dropped (c): (c) is what the
// task pays for the pipe and the event loop before it parses anything.
double timeTool(const QString &program, const QStringList &arguments, bool throughPipe)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    if (!throughPipe)
        process.setStandardOutputFile(QProcess::nullDevice());
    QEventLoop loop;
    bool done = false;
    qint64 elapsed = 0;
    qint64 bytes = 0;
    QElapsedTimer timer;
    QObject::connect(&process, &QProcess::readyRead, &loop, [&] { bytes += process.readAll().size(); });
    QObject::connect(&process, &QProcess::finished, &loop, [&] {
        bytes += process.readAll().size();
        elapsed = timer.nsecsElapsed();
        done = true;
        loop.quit();
    });
    QObject::connect(&process, &QProcess::errorOccurred, &loop, [&](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            fail(QStringLiteral("cannot start %1: %2").arg(program, process.errorString()));
    });
    timer.start();
    process.start(program, arguments, QIODevice::ReadOnly);
    waitFor(loop, done, "wit list");
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0
        || (throughPipe && bytes == 0))
        fail(QStringLiteral("wit list exited with %1").arg(process.exitCode()));
    return double(elapsed) / 1e6;
}

// (b) The browsing task, from start() to its last post.
double timeTask(const QString &folder)
{
    QBBrowsingTask task(QBBrowsingTask::folderArguments(folder, false), 0, nullptr);
    QEventLoop loop;
    bool done = false;
    int games = 0;
    int status = -1;
    qint64 elapsed = 0;
    QElapsedTimer timer;
    QObject::connect(&task, &QBBrowsingTask::browsingDidFinish, &loop, [&](const QVariantMap &userInfo) {
        if (userInfo.contains(UserInfoKey::terminationStatus)) {
            elapsed = timer.nsecsElapsed();
            status = userInfo.value(UserInfoKey::terminationStatus).toInt();
            done = true;
            loop.quit();
        } else if (userInfo.contains(UserInfoKey::game)) {
            ++games;
        }
    });
    timer.start();
    task.start();
    waitFor(loop, done, "the browsing task");
    if (status != QBTask::Success)
        fail(QStringLiteral("the browsing task ended with status %1").arg(status));
    if (games != fileCount)
        fail(QStringLiteral("the browsing task posted %1 games, expected %2").arg(games).arg(fileCount));
    return double(elapsed) / 1e6;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

double minimum(const std::vector<double> &values)
{
    return *std::min_element(values.begin(), values.end());
}

}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("palomet"));
    // An optional argument sets the number of timed runs of each.
    const int repetitions = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : defaultRepetitions;
    if (repetitions < 1)
        fail(QStringLiteral("usage: bench_browsing [runs]"));
    // The task logs every chunk it reads; that is not what is measured.
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));

    // The same executable that the task will run.
    const QString wit = QBSupportFolder::toolPath(QStringLiteral("wit"));
    if (wit.isEmpty())
        fail(QStringLiteral("wit is not installed"));

    QTemporaryDir folder;
    if (!folder.isValid())
        fail(QStringLiteral("no temporary folder"));
    QElapsedTimer setup;
    setup.start();
    buildFolder(folder.path());
    std::printf("folder of %d images (%d distinct IDs) built in %.1f s\n", fileCount, distinctCount,
                double(setup.elapsed()) / 1000);

    const QStringList arguments = QBBrowsingTask::folderArguments(folder.path(), false);

    // Checks, untimed, that wit itself lists every file, so that a short
    // count from the task can only be the task's.
    QString output;
    if (!QBTestImages::run(wit, arguments, &output, timeoutMs))
        fail(QBTestImages::lastError());
    const qsizetype listed = output.count(QStringLiteral("[progress:found]"));
    if (listed != fileCount)
        fail(QStringLiteral("wit listed %1 games, expected %2").arg(listed).arg(fileCount));
    std::printf("wit output: %lld bytes, %lld progress:found sections\n",
                qlonglong(output.toUtf8().size()), qlonglong(listed));

    // One untimed run of each, so that none pays for a cold cache.
    timeTool(wit, arguments, false);
    timeTask(folder.path());
    timeTool(wit, arguments, true);

    std::vector<double> tool;
    std::vector<double> task;
    std::vector<double> pipe;
    for (int i = 0; i < repetitions; ++i) {
        tool.push_back(timeTool(wit, arguments, false));
        task.push_back(timeTask(folder.path()));
        pipe.push_back(timeTool(wit, arguments, true));
    }

    const double toolMedian = median(tool);
    const double taskMedian = median(task);
    const double ratio = taskMedian / toolMedian;
    std::printf("%d runs of each, in turn, after one warm-up run of each\n", repetitions);
    std::printf("(a) wit list, output to null device: median %7.2f ms, min %7.2f ms\n", toolMedian,
                minimum(tool));
    std::printf("(b) QBBrowsingTask, %d games posted: median %7.2f ms, min %7.2f ms\n", fileCount,
                taskMedian, minimum(task));
    std::printf("(c) wit list, output read from a pipe: median %7.2f ms, min %7.2f ms\n",
                median(pipe), minimum(pipe));
    std::printf("ratio (b)/(a) of the medians: %.3f (goal: at most %.2f) - %s\n", ratio, goal,
                ratio <= goal ? "met" : "MISSED");
    return 0;
}
