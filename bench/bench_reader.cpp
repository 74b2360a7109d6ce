// SPDX-License-Identifier: GPL-3.0-or-later
// Throughput of the reader, without a child process: a large listing in the
// tools' sectioned format, cut as a pipe would deliver it, fed through
// readData() to a browsing task and, for comparison, to a plain task that
// reads no section.

#include "base/qbkeys.h"
#include "tasks/qbbrowsingtask.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QList>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <type_traits>

namespace {

constexpr qsizetype targetBytes = 32 * 1024 * 1024;
constexpr qsizetype chunkBytes = 64 * 1024;
constexpr int defaultRuns = 5;
constexpr double goal = 150.0;

[[noreturn]] void fail(const QString &message)
{
    std::fprintf(stderr, "bench_reader: %s\n", qUtf8Printable(message));
    std::exit(1);
}

// Deterministic variety without depending on the library's random engine.
quint32 nextRandom(quint32 &state)
{
    state = state * 1664525u + 1013904223u;
    return state >> 8;
}

// Titles in several scripts, so that the decoder meets two-, three- and
// four-byte sequences.
const char *const titles[] = {
    "Bench Racing Deluxe",
    "Caf\xc3\xa9 \xc3\x9c" "bertitel Abenteuer",
    "\xe6\x97\xa5\xe6\x9c\xac\xe3\x81\xae\xe5\x86\x92\xe9\x99\xba",
    "\xc3\x91" "and\xc3\xba Rally",
    "Party Quiz \xf0\x9f\x8e\xb2 Edition",
    "Z\xc3\xbcrich Express",
    "Space Cadets: The Return",
    "\xd0\x9a\xd0\xbe\xd1\x81\xd0\xbc\xd0\xbe\xd1\x81 \xd0\x93\xd0\xbe\xd0\xbd\xd0\xba\xd0\xb0",
};

struct FileType {
    const char *filetype;
    const char *container;
    const char *extension;
};

const FileType fileTypes[] = {
    {"WDF2/WII", "WDF2", "wdf"},
    {"ISO/WII", "ISO", "iso"},
    {"WBFS/WII", "WBFS", "wbfs"},
    {"CISO/WII", "CISO", "ciso"},
    {"WIA/WII", "WIA", "wia"},
};

const char *const regions[] = {"NTSC/USA ", "PAL/Europe ", "NTSC/Japan ", "ALL "};

QByteArray timeLine(const char *key, quint64 seconds)
{
    // A readable date is printed after the seconds; its exact value does not
    // matter to the reader, only its length does.
    const quint64 day = seconds / 86400 % 28 + 1;
    const quint64 hour = seconds / 3600 % 24;
    const quint64 minute = seconds / 60 % 60;
    return QByteArray(key) + '=' + QByteArray::number(seconds) + " 2026-11-"
            + QByteArray::number(day).rightJustified(2, '0') + ' '
            + QByteArray::number(hour).rightJustified(2, '0') + ':'
            + QByteArray::number(minute).rightJustified(2, '0') + ':'
            + QByteArray::number(seconds % 60).rightJustified(2, '0') + '\n';
}

// One game as wit list --sections prints it while scanning.
QByteArray foundSection(int index, quint32 &random)
{
    const QByteArray title = titles[index % std::size(titles)];
    const FileType &type = fileTypes[nextRandom(random) % std::size(fileTypes)];
    QByteArray id = "R";
    for (int i = 0; i < 3; ++i)
        id += char('A' + nextRandom(random) % 26);
    id += "01";
    const QByteArray name = title + ' ' + QByteArray::number(index);
    const QByteArray path = "/srv/backups/wii/" + name + " [" + id + "]." + type.extension;
    const quint64 size = 1000000 + nextRandom(random) % 4000000000u;
    const quint64 time = 1700000000 + nextRandom(random) % 90000000u;

    QByteArray section;
    section.reserve(640);
    section += "[progress:found]\n";
    section += "id=" + id + '\n';
    section += "name=" + name + '\n';
    section += "title=\n";
    section += QByteArray("region=") + regions[nextRandom(random) % std::size(regions)] + '\n';
    section += "size=" + QByteArray::number(size) + '\n';
    section += timeLine("itime", time);
    section += timeLine("mtime", time);
    section += timeLine("ctime", time + 60);
    section += timeLine("atime", time + 120);
    section += QByteArray("filetype=") + type.filetype + '\n';
    section += QByteArray("container=") + type.container + '\n';
    section += "disctype=2 Wii\n";
    section += "n-partitions=1\n";
    section += "partition-info=D---\n";
    section += "wbfs_slot=-1\n";
    section += "filename=" + path + '\n';
    section += "source=" + path + '\n';
    section += '\n';
    return section;
}

QByteArray makeListing(int *games)
{
    QByteArray listing;
    listing.reserve(targetBytes + 4096);
    quint32 random = 12345;
    int count = 0;
    while (listing.size() < targetBytes)
        listing += foundSection(count++, random);
    listing += "\n[summary]\ntotal-discs=" + QByteArray::number(count) + "\ntotal-size=0\n\n";
    *games = count;
    return listing;
}

// Pipe-sized reads, cut anywhere: inside lines and inside UTF-8 sequences,
// as a pipe cuts them.
QList<QByteArray> cutIntoChunks(const QByteArray &data)
{
    QList<QByteArray> chunks;
    for (qsizetype start = 0; start < data.size(); start += chunkBytes)
        chunks.append(data.mid(start, chunkBytes));
    return chunks;
}

struct Result {
    double seconds = 0;
    int games = 0;
};

template<typename Task>
Result feed(const QList<QByteArray> &chunks)
{
    Task task(QStringList(), 0, nullptr);
    Result result;
    if constexpr (std::is_same_v<Task, QBBrowsingTask>) {
        QObject::connect(&task, &QBBrowsingTask::browsingDidFinish, [&result](const QVariantMap &userInfo) {
            if (userInfo.contains(UserInfoKey::game))
                ++result.games;
        });
    }
    QElapsedTimer timer;
    timer.start();
    for (const QByteArray &chunk : chunks)
        task.readData(chunk);
    result.seconds = double(timer.nsecsElapsed()) / 1e9;
    return result;
}

double megabytesPerSecond(qsizetype bytes, double seconds)
{
    return double(bytes) / 1e6 / seconds;
}

}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("palomet"));
    // An optional argument sets the number of timed runs of each.
    const int runs = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : defaultRuns;
    if (runs < 1)
        fail(QStringLiteral("usage: bench_reader [runs]"));
    // The task logs every chunk it reads; that is not what is measured.
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));

    int sections = 0;
    const QByteArray listing = makeListing(&sections);
    const QList<QByteArray> chunks = cutIntoChunks(listing);
    std::printf("listing: %lld bytes (%.1f MB), %d progress:found sections, %lld chunks of at most %lld bytes\n",
                qlonglong(listing.size()), double(listing.size()) / 1e6, sections,
                qlonglong(chunks.size()), qlonglong(chunkBytes));

    // Whole, the listing must give every game: this checks the generator and
    // the task before any figure is trusted.
    const Result whole = feed<QBBrowsingTask>({listing});
    if (whole.games != sections)
        fail(QStringLiteral("one chunk gave %1 games, expected %2").arg(whole.games).arg(sections));

    double bestPlain = 0;
    double bestBrowsing = 0;
    int chunkedGames = 0;
    QByteArray plainRuns;
    QByteArray browsingRuns;
    for (int i = 0; i < runs; ++i) {
        const Result plain = feed<QBTask>(chunks);
        const Result browsing = feed<QBBrowsingTask>(chunks);
        const double plainRate = megabytesPerSecond(listing.size(), plain.seconds);
        const double browsingRate = megabytesPerSecond(listing.size(), browsing.seconds);
        plainRuns += ' ' + QByteArray::number(plainRate, 'f', 1);
        browsingRuns += ' ' + QByteArray::number(browsingRate, 'f', 1);
        bestPlain = std::max(bestPlain, plainRate);
        bestBrowsing = std::max(bestBrowsing, browsingRate);
        chunkedGames = browsing.games;
    }

    std::printf("%d runs each, alternated; MB = 10^6 bytes\n", runs);
    std::printf("QBTask runs (MB/s):        %s\n", plainRuns.constData());
    std::printf("QBBrowsingTask runs (MB/s):%s\n", browsingRuns.constData());
    std::printf("QBTask (no section read), best: %8.1f MB/s\n", bestPlain);
    std::printf("QBBrowsingTask, best:           %8.1f MB/s (goal: at least %.0f) - %s\n", bestBrowsing, goal,
                bestBrowsing >= goal ? "met" : "MISSED");
    std::printf("games posted: %d of %d in one chunk, %d of %d in 64 KiB chunks\n", whole.games, sections,
                chunkedGames, sections);
    return 0;
}
