// SPDX-License-Identifier: GPL-3.0-or-later
// Times the title database parse on a synthetic wiitdb.xml of 10,000 games
// against a bare pugixml load plus a walk over every game's children, and
// against the same rules read with QXmlStreamReader; then, in a child
// process of its own, the parse's peak memory and what the result holds.
// See BENCHMARKS.md.
#include "gamedata/qbdatabaseparse.h"
#include "qbsyntheticdatabase.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <pugixml.hpp>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>

namespace {

const QStringList languages{QStringLiteral("fr"), QStringLiteral("en")};

// The reference: what pugixml needs to load the file and visit every child
// of every game once.
qsizetype bareLoadAndWalk(const QString &path)
{
    pugi::xml_document document;
    if (!document.load_file(QFile::encodeName(path).constData()))
        return -1;
    qsizetype children = 0;
    for (pugi::xml_node game = document.document_element().first_child(); game; game = game.next_sibling()) {
        for (pugi::xml_node child = game.first_child(); child; child = child.next_sibling())
            children += child.name()[0] != '\0';
    }
    return children;
}

// The same rules as QBDatabaseParse, read as a stream.
std::optional<QBDatabase> streamParse(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QXmlStreamReader xml(&file);
    QBDatabase database;
    if (!xml.readNextStartElement())
        return std::nullopt;
    const auto rank = [](const QString &code) {
        const qsizetype index = code.isNull() ? -1 : languages.indexOf(code);
        return index < 0 ? languages.size() : index;
    };
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("game")) {
            xml.skipCurrentElement();
            continue;
        }
        QVariantMap record;
        while (xml.readNextStartElement()) {
            const QStringView name = xml.name();
            if (name == QLatin1String("id") || name == QLatin1String("developer") || name == QLatin1String("genre")
                || name == QLatin1String("languages") || name == QLatin1String("publisher")
                || name == QLatin1String("region")) {
                const QString key = name.toString();
                const QString text = xml.readElementText(QXmlStreamReader::IncludeChildElements);
                if (!text.isEmpty())
                    record.insert(key, text);
            } else if (name == QLatin1String("locale")) {
                const QString code = xml.attributes().value(QLatin1String("lang")).toString().toLower();
                if (rank(code) >= rank(record.value(QStringLiteral("lang")).toString())) {
                    xml.skipCurrentElement();
                    continue;
                }
                record.insert(QStringLiteral("lang"), code);
                while (xml.readNextStartElement()) {
                    const QString key = xml.name().toString();
                    const QString text = xml.readElementText(QXmlStreamReader::IncludeChildElements);
                    if (!text.isEmpty())
                        record.insert(key, text);
                }
            } else if (name == QLatin1String("date")) {
                const QXmlStreamAttributes a = xml.attributes();
                const QDate date(a.value(QLatin1String("year")).toInt(), a.value(QLatin1String("month")).toInt(),
                                 a.value(QLatin1String("day")).toInt());
                if (!date.isValid())
                    return std::nullopt;
                record.insert(QStringLiteral("date"), date.startOfDay(Qt::UTC));
                xml.skipCurrentElement();
            } else if (name == QLatin1String("input") || name == QLatin1String("wi-fi")) {
                const bool input = name == QLatin1String("input");
                record.insert(input ? QStringLiteral("players") : QStringLiteral("wi-fi-players"),
                              xml.attributes().value(QLatin1String("players")).toInt());
                QStringList required, optional;
                while (xml.readNextStartElement()) {
                    if (!input) {
                        optional << xml.readElementText(QXmlStreamReader::IncludeChildElements);
                        continue;
                    }
                    if (!xml.attributes().hasAttribute(QLatin1String("type")))
                        return std::nullopt;
                    const bool isRequired = xml.attributes().value(QLatin1String("required")) == QLatin1String("true");
                    (isRequired ? required : optional) << xml.attributes().value(QLatin1String("type")).toString();
                    xml.skipCurrentElement();
                }
                if (!required.isEmpty())
                    record.insert(QStringLiteral("requirements"), required.join(QStringLiteral(", ")));
                if (!optional.isEmpty())
                    record.insert(input ? QStringLiteral("optional-controls") : QStringLiteral("wi-fi-features"),
                                  optional.join(QStringLiteral(", ")));
            } else if (name == QLatin1String("rating")) {
                const QXmlStreamAttributes a = xml.attributes();
                if (!a.value(QLatin1String("value")).isEmpty())
                    record.insert(QStringLiteral("rating"),
                                  QString(a.value(QLatin1String("type")) + u' ' + a.value(QLatin1String("value"))));
                xml.skipCurrentElement();
            } else {
                xml.skipCurrentElement();
            }
        }
        const QString id = record.value(QStringLiteral("id")).toString();
        if (id.isEmpty())
            return std::nullopt;
        database.insert(id, record);
    }
    if (xml.hasError())
        return std::nullopt;
    return database;
}

struct Timing
{
    QList<double> ms;
    double median() const
    {
        QList<double> sorted = ms;
        std::sort(sorted.begin(), sorted.end());
        return sorted.at(sorted.size() / 2);
    }
    double min() const { return *std::min_element(ms.cbegin(), ms.cend()); }
};

double timeOnce(const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

long statusKiB(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(int(std::strlen(field))).trimmed().split(' ').first().toLong();
    }
    return -1;
}

size_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Child mode: one parse in a fresh process, so that its high-water mark is
// the parse's own.
int measureMemory(const QString &path)
{
    malloc_trim(0);
    const long rssBefore = statusKiB("VmRSS:");
    const size_t heapBefore = heapInUse();
    std::optional<QBDatabase> database = QBDatabaseParse::parse(path, languages);
    if (!database)
        return 1;
    const size_t held = heapInUse() - heapBefore;
    const long peak = statusKiB("VmHWM:") - rssBefore;
    std::printf("%ld %zu %lld\n", peak, held / 1024, qlonglong(database->size()));
    return 0;
}

}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String("--memory"))
        return measureMemory(arguments.at(2));
    const int runs = arguments.size() > 1 ? qMax(1, arguments.at(1).toInt()) : 7;
    const int games = arguments.size() > 2 ? arguments.at(2).toInt() : 10000;

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("wiitdb.xml"));
    if (!QBSyntheticDatabase::write(path, games)) {
        std::fprintf(stderr, "cannot write the database\n");
        return 1;
    }
    const qint64 size = QFileInfo(path).size();
    std::printf("%d games, %lld bytes (%.1f MB)\n", games, size, double(size) / 1e6);

    // Untimed checks: both parsers read every game, to the same records.
    const std::optional<QBDatabase> pugi = QBDatabaseParse::parse(path, languages);
    const std::optional<QBDatabase> stream = streamParse(path);
    if (!pugi || pugi->size() != games || !stream || *stream != *pugi || bareLoadAndWalk(path) <= 0) {
        std::fprintf(stderr, "the parsers disagree or miss games\n");
        return 1;
    }

    // The results are freed outside the timed spans: freeing what was
    // parsed is not parsing (the bare load frees its document inside).
    Timing bare, parse, streamed;
    for (int run = 0; run < runs; ++run) {
        std::optional<QBDatabase> result;
        bare.ms << timeOnce([&] { bareLoadAndWalk(path); });
        parse.ms << timeOnce([&] { result = QBDatabaseParse::parse(path, languages); });
        result.reset();
        streamed.ms << timeOnce([&] { result = streamParse(path); });
    }
    std::printf("(a) pugixml load + walk        median %8.2f ms  min %8.2f ms\n", bare.median(), bare.min());
    std::printf("(b) QBDatabaseParse (pugixml)  median %8.2f ms  min %8.2f ms\n", parse.median(), parse.min());
    std::printf("(c) QXmlStreamReader           median %8.2f ms  min %8.2f ms\n", streamed.median(), streamed.min());
    const double ratio = parse.median() / bare.median();
    std::printf("(b)/(a) medians %.3f (goal at most 2.0: %s)\n", ratio, ratio <= 2.0 ? "met" : "MISSED");

    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--memory"), path});
    if (!child.waitForFinished(120000) || child.exitCode() != 0) {
        std::fprintf(stderr, "the memory run failed\n");
        return 1;
    }
    const QList<QByteArray> figures = child.readAllStandardOutput().trimmed().split(' ');
    const double peakMB = figures.value(0).toDouble() * 1024 / 1e6;
    const double heldMB = figures.value(1).toDouble() * 1024 / 1e6;
    std::printf("peak memory of the parse %.1f MB (%.2f x file); result held %.1f MB (%.2f x file, goal under 2: %s)\n",
                peakMB, peakMB * 1e6 / double(size), heldMB, heldMB * 1e6 / double(size),
                heldMB * 1e6 < 2.0 * double(size) ? "met" : "MISSED");
    return 0;
}
