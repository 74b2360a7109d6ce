// SPDX-License-Identifier: GPL-3.0-or-later
// The tasks: how the reader takes the tools' sectioned output apart, what
// each tool command reads from the real wit and wwt (and from the fake tool
// where the real ones cannot be made to misbehave) and posts, and the queue
// that runs them.
#include "../conversion/qbconversiontestutil.h"
#include "base/qbgameid.h"
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "qbfaketool.h"
#include "qbtestfiles.h"
#include "qbtestimages.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbrecovertask.h"
#include "tasks/qbremovetask.h"
#include "tasks/qbrenametask.h"
#include "tasks/qbtask.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

namespace {

// Records every hook call as a line of text, in order.
class RecordingTask : public QBTask
{
public:
    RecordingTask(const QStringList &accepted = {QStringLiteral("*")}, int launchPath = 0)
        : QBTask({QStringLiteral("list")}, launchPath, nullptr)
        , m_accepted(accepted)
    {
    }

    QStringList events;
    std::function<void()> onWillStart;

protected:
    void processWillStart() override
    {
        events << QStringLiteral("willStart");
        if (onWillStart)
            onWillStart();
    }
    bool shouldStartSectionWithHeader(const QString &header) override
    {
        const bool accept = m_accepted.contains(QStringLiteral("*")) || m_accepted.contains(header);
        events << QStringLiteral("header:%1:%2").arg(header, accept ? u"yes" : u"no");
        return accept;
    }
    void readKey(QStringView key, QStringView value, const QString &section) override
    {
        events << QStringLiteral("key:%1=%2@%3").arg(key, value, section);
    }
    void endSection(const QString &section) override { events << QStringLiteral("end:") + section; }
    void processDidStop() override { events << QStringLiteral("stop"); }
    void processDidRaiseError() override { events << QStringLiteral("error"); }

private:
    QStringList m_accepted;
};

// Runs until done() is called; records the order in which operations start.
class ManualOperation : public QBOperation
{
public:
    ManualOperation(QStringList *log, const QString &name, QObject *parent)
        : QBOperation(parent)
        , m_log(log)
        , m_name(name)
    {
    }
    void done() { finish(); }

protected:
    void main() override { m_log->append(m_name); }

private:
    QStringList *m_log;
    QString m_name;
};

// Runs an operation to its end; false when it did not end in time.
bool run(QBOperation &operation, int timeoutMs = 60000)
{
    QSignalSpy finished(&operation, &QBOperation::finished);
    operation.start();
    return operation.isFinished() || finished.wait(timeoutMs);
}

// What one listing posted: its games in order, then its final payload.
struct Listing
{
    QList<QVariantMap> games;
    QVariantMap final;
    int finalPosts = 0;
};

Listing browse(const QStringList &arguments, int launchPath)
{
    Listing listing;
    QBBrowsingTask task(arguments, launchPath, nullptr);
    QObject::connect(&task, &QBBrowsingTask::browsingDidFinish, [&listing](const QVariantMap &info) {
        if (info.contains(UserInfoKey::terminationStatus)) {
            listing.final = info;
            ++listing.finalPosts;
        } else {
            listing.games << info.value(UserInfoKey::game).toMap();
        }
    });
    run(task);
    return listing;
}

QByteArray found(const QByteArray &id, const QByteArray &name)
{
    return "[progress:found]\nid=" + id + "\nname=" + name + "\ntitle=\nregion=PAL \nsize=4699979776\n"
           "filetype=ISO/WII\nfilename=/f/" + id + ".iso\n\n";
}

// "Pokémon 日本 🎮": two-, three- and four-byte characters.
const QByteArray games = found("RAAP01", "Alpha") + found("RBBP01", "Pok\xC3\xA9mon \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAE")
        + found("RCCP01", "Gamma");

// The output with the pipe's cuts: each "|" of marked, which stands in the
// text without them.
QByteArray cut(QByteArray text, const QByteArray &marked)
{
    return text.replace(QByteArray(marked).replace('|', ""), marked);
}

// A fake tool script that writes output, one write for each piece between
// the "|" cuts, pauseMs apart.
QString script(const QByteArray &output, int pauseMs = 30)
{
    QString text;
    for (const QByteArray &piece : output.split('|')) {
        text += u"out "_qs;
        for (const char c : piece)
            text += c > ' ' && c < 127 && c != '\\' ? QString(QLatin1Char(c)) : u"\\x%1"_qs.arg(uchar(c), 2, 16, QChar(u'0'));
        text += u"\npause %1\n"_qs.arg(pauseMs);
    }
    return text;
}

// One conversion, with everything it reported.
struct Conversion
{
    QBConversionBundle bundle;
    QBConversionTask task;
    QStringList infos;
    QList<QVariantMap> successes;

    Conversion(const QStringList &arguments, int launchPath, const QVariantMap &values)
        : bundle(values)
        , task(arguments, launchPath, &bundle, nullptr)
    {
        QObject::connect(&bundle, &QBConversionBundle::valueChanged, &bundle,
                         [this](const QString &key, const QVariant &, const QVariant &value) {
                             if (key == BundleKey::infos)
                                 infos << value.toString();
                         });
        QObject::connect(&task, &QBConversionTask::conversionDidFinish, &task,
                         [this](const QVariantMap &info) { successes << info; });
    }
};

template<typename Task, typename Signal>
QList<QVariantList> posts(Task &task, Signal signal)
{
    QSignalSpy spy(&task, signal);
    run(task);
    return QList<QVariantList>(spy.begin(), spy.end());
}

}

class tst_QBTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void reader_data();
    void reader();

    void permissionStepRunsBeforeWwtOnly_data();
    void permissionStepRunsBeforeWwtOnly();
    void badOutput_data();
    void badOutput();

    void queueRunsInOrderWithinItsLimit();
    void queueCancelsSuspendsAndForgets();

    void listing_data();
    void listing();
    void bigWbfsFileListedWholeEveryTime();
    void cancelledListingPostsNoFinal();

    void conversions_data();
    void conversions();
    void progressSections_data();
    void progressSections();
    void cancelledConversionLeavesNothing();

    void removes_data();
    void removes();
    void cancelledEditsPostNothing();

private:

    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
};

void tst_QBTask::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
    QVERIFY(QDir().mkpath(m_dir.filePath(u"named"_qs)));
    QVERIFY(QDir().mkpath(m_dir.filePath(u"same"_qs)));
    QVERIFY(QFile::copy(m_library.path(u"Delta [RQDK01].ciso"_qs), m_dir.filePath(u"same/Delta.ciso"_qs)));
    QVERIFY2(!QBTestImages::makeWbfsFile(m_dir.filePath(u"add.wbfs"_qs), {}).isEmpty(),
             qPrintable(QBTestImages::lastError()));
}

// Events as "|"-joined text: the hooks called, in order.
void tst_QBTask::reader_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QStringList>("accepted");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("status");

    const QStringList all{QStringLiteral("*")};
    QTest::newRow("one section") << u"[disc-1]\nid=ABCD01\n\n"_qs << all
                                 << u"header:disc-1:yes|key:id=ABCD01@disc-1|end:disc-1"_qs << 0;
    QTest::newRow("the end of a read closes the section")
            << u"[s]\nk=v\n"_qs << all << u"header:s:yes|key:k=v@s|end:s"_qs << 0;
    QTest::newRow("equals rules") << u"[s]\nkey=a=b\nkey=\n=value\nnoequals\n"_qs << all
                                  << u"header:s:yes|key:=value@s|end:s"_qs << 0;
    QTest::newRow("no trimming") << u" [s]\n[t]\n k = v \n"_qs << all << u"header:t:yes|key: k = v @t|end:t"_qs << 0;
    QTest::newRow("error section reported though rejected, once")
            << u"[error]\ncode=80\n\n!! later\n[error]\n"_qs << QStringList()
            << u"error|header:error:no|header:error:no"_qs << 1;
    QTest::newRow("!! outside a section") << u"!! wit: ERROR\n!!   more\n"_qs << all << u"error"_qs << 1;
    QTest::newRow("!! inside a section is an ordinary line")
            << u"[s]\n!! a=b\n!! text\n\n"_qs << all << u"header:s:yes|key:!! a=b@s|end:s"_qs << 0;
    QTest::newRow("single ! is a warning") << u"! DISC already exists\n"_qs << all << QString() << 0;
    QTest::newRow("CR LF closes sections after their first line")
            << u"[s]\r\na=1\r\nb=2\r\n"_qs << all << u"header:s:yes|end:s"_qs << 0;
    QTest::newRow("every newline character separates")
            << u"[s]\va=1\fb=2\u0085c=3\u2028d=4\u2029e=5\n\n"_qs << all
            << u"header:s:yes|key:a=1@s|key:b=2@s|key:c=3@s|key:d=4@s|key:e=5@s|end:s"_qs << 0;
    QTest::newRow("header replaces an open section without ending it")
            << u"[a]\nx=1\n[b]\ny=2\n\n"_qs << all << u"header:a:yes|key:x=1@a|header:b:yes|key:y=2@b|end:b"_qs << 0;
    QTest::newRow("rejected section is skipped whole")
            << u"[version]\nprog=wit\n\n[COPY]\ndest-path=x\n\n"_qs << QStringList{u"COPY"_qs}
            << u"header:version:no|header:COPY:yes|key:dest-path=x@COPY|end:COPY"_qs << 0;
    QTest::newRow("header without closing bracket loses its last character")
            << u"[abc\n[]\n\n"_qs << all << u"header:ab:yes|header::yes|end:"_qs << 0;
    QTest::newRow("lone bracket is ignored")
            << u"[s]\n[\nk=v\n\n[\n!! x\n"_qs << all << u"header:s:yes|key:k=v@s|end:s|error"_qs << 1;
}

void tst_QBTask::reader()
{
    QFETCH(QString, output);
    QFETCH(QStringList, accepted);
    QFETCH(QString, events);

    // Text handed to the parser directly is read as whole lines; what the
    // pipe delivers is joined into whole lines first (badOutput).
    RecordingTask task(accepted);
    task.readString(output);
    QCOMPARE(task.events.join(u'|'), events);
    QTEST(task.terminationStatus(), "status");
}

void tst_QBTask::permissionStepRunsBeforeWwtOnly_data()
{
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("tool");
    QTest::addColumn<bool>("permission");
    QTest::newRow("wit") << 0 << u"wit"_qs << false;
    QTest::newRow("wwt") << 1 << u"wwt"_qs << true;
    QTest::newRow("wwt by another selector") << 2 << u"wwt"_qs << false;
}

void tst_QBTask::permissionStepRunsBeforeWwtOnly()
{
    QFETCH(int, launchPath);
    QFETCH(QString, tool);
    QFETCH(bool, permission);

    QBFakeTool fake;
    const QString marks = fake.filePath(u"marks"_qs);
    QBSettings::setValue(SettingsKey::permissionCommand, fake.markCommand(marks, u"permission"_qs));
    RecordingTask task({}, launchPath);
    bool markedBeforeStart = false;
    task.onWillStart = [&] { markedBeforeStart = QFile::exists(marks); };
    const bool ended = run(task, 5000);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
    QVERIFY(ended);
    QCOMPARE(markedBeforeStart, permission);
    QCOMPARE(fake.invocations(), QStringList{tool + u" | list"_qs});
}

// The whole run, from willStart to stop, of a tool that misbehaves.
void tst_QBTask::badOutput_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("events");
    QTest::addColumn<int>("repeatedLines");
    QTest::addColumn<int>("status");

    QTest::newRow("line of megabytes")
            << u"out [s]\\n\nrepeat 4000000 a\nout \\n\\n\n"_qs << u"header:s:yes|end:s"_qs << 0 << 0;
    // However the pipe cuts them, every line is read inside the section.
    QTest::newRow("never-ending section") << u"out [s]\\n\nrepeat 300000 n=1\\n\n"_qs << u"header:s:yes"_qs << 300000 << 0;
    QTest::newRow("binary garbage")
            << u"out \\x00\\x01\\xff\\xfe[\\x80\\n\\x00=\\x00\\n\npause 150\nout [s]\\nk=\\x01\\x02\\n\\n\n"_qs
            << u"header:s:yes|key:k=\u0001\u0002@s|end:s"_qs << 0 << 0;
    QTest::newRow("stops without an empty line") << u"out [s]\\nk=v"_qs << u"header:s:yes|key:k=v@s"_qs << 0 << 0;
    QTest::newRow("dies mid-output")
            << u"out [s]\\nk=v\\n\ncrash\nout never=printed\\n\\n\n"_qs << u"header:s:yes|key:k=v@s"_qs << 0 << 0;
    QTest::newRow("no output at all") << u"exit 3\n"_qs << QString() << 0 << 0;
    // A null script: no tool to be found, in the support folder or on PATH.
    QTest::newRow("no tool") << QString() << u"error"_qs << 0 << 1;
}

void tst_QBTask::badOutput()
{
    QFETCH(QString, script);
    QFETCH(QString, events);
    QFETCH(int, repeatedLines);

    QBFakeTool tool;
    tool.setScript(script);
    const QByteArray path = qgetenv("PATH");
    QTemporaryDir empty;
    if (script.isNull()) {
        QFile::remove(tool.supportFolder() + u"/wit"_qs);
        qputenv("PATH", empty.path().toLocal8Bit());
    }
    RecordingTask task;
    const bool ended = run(task, 20000);
    qputenv("PATH", path);
    QVERIFY(ended);
    QCOMPARE(task.events.removeAll(u"key:n=1@s"_qs), repeatedLines);
    QCOMPARE(task.events.join(u'|'), u"willStart|"_qs + (events.isEmpty() ? QString() : events + u'|') + u"stop"_qs);
    QTEST(task.terminationStatus(), "status");
}

void tst_QBTask::queueRunsInOrderWithinItsLimit()
{
    QStringList log;
    QBOperationQueue queue(2);
    QSignalSpy count(&queue, &QBOperationQueue::operationCountChanged);
    QList<QPointer<ManualOperation>> ops;
    for (int i = 0; i < 4; ++i) {
        // The last has no owner: the queue takes it and deletes it when done.
        ops << new ManualOperation(&log, QString::number(i), i < 3 ? this : nullptr);
        queue.addOperation(ops.last());
    }
    // Started from the event loop, so that callers can connect first.
    QVERIFY(!ops.first()->isExecuting());
    QCOMPARE(queue.operationCount(), 4);
    QCOMPARE(ops.last()->parent(), &queue);
    QTRY_COMPARE(log, (QStringList{u"0"_qs, u"1"_qs}));
    QTest::qWait(20);
    QCOMPARE(log.size(), 2);

    ops[1]->done();
    QTRY_COMPARE(log, (QStringList{u"0"_qs, u"1"_qs, u"2"_qs}));
    QCOMPARE(queue.operations(), (QList<QBOperation *>{ops[0], ops[2], ops[3]}));
    ops[0]->done();
    ops[2]->done();
    QTRY_COMPARE(log.size(), 4);
    ops[3]->done();
    QCOMPARE(queue.operationCount(), 0);
    QCOMPARE(count.size(), 8);
    QTRY_VERIFY(ops[3].isNull());
    QVERIFY(!ops[2].isNull());
}

void tst_QBTask::queueCancelsSuspendsAndForgets()
{
    QStringList log;
    QBOperationQueue queue(1);
    ManualOperation running(&log, u"running"_qs, this);
    ManualOperation waiting(&log, u"waiting"_qs, this);
    ManualOperation last(&log, u"last"_qs, this);
    for (ManualOperation *op : {&running, &waiting, &last})
        queue.addOperation(op);
    QTRY_VERIFY(running.isExecuting());

    // A waiting operation cancelled finishes at once, without running and
    // without waiting for room.
    QSignalSpy finished(&waiting, &QBOperation::finished);
    waiting.cancel();
    QVERIFY(finished.wait(1000));
    QCOMPARE(queue.operations(), (QList<QBOperation *>{&running, &last}));

    // Cancelling all leaves the running one to its own end.
    queue.cancelAllOperations();
    QVERIFY(running.isCancelled() && last.isCancelled());
    QTRY_COMPARE(queue.operationCount(), 1);
    QVERIFY(last.isFinished() && running.isExecuting());
    running.done();
    QCOMPARE(queue.operationCount(), 0);
    QCOMPARE(log, QStringList{u"running"_qs});

    // Suspended, the queue starts nothing and lets nothing finish, not even
    // a cancelled operation.
    queue.setSuspended(true);
    auto *a = new ManualOperation(&log, u"a"_qs, this);
    ManualOperation b(&log, u"b"_qs, this);
    ManualOperation c(&log, u"c"_qs, this);
    for (ManualOperation *op : {a, &b, &c})
        queue.addOperation(op);
    b.cancel();
    QTest::qWait(30);
    QVERIFY(!b.isFinished());
    queue.setSuspended(false);
    QTRY_VERIFY(b.isFinished());
    QTRY_COMPARE(log, (QStringList{u"running"_qs, u"a"_qs}));

    // One deleted by its owner while it runs leaves the queue, and makes
    // room for the next.
    delete a;
    QCOMPARE(queue.operations(), QList<QBOperation *>{&c});
    QTRY_COMPARE(log, (QStringList{u"running"_qs, u"a"_qs, u"c"_qs}));
    c.done();
}

// Output, cut by the pipe at each "|", and the games listed as "ID title".
void tst_QBTask::listing_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<int>("status");

    const QStringList all{u"RAAP01 Alpha"_qs, u"RBBP01 Pokémon 日本 🎮"_qs, u"RCCP01 Gamma"_qs};
    QTest::newRow("inside a line") << cut(games, "Al|pha") << all << 0;
    QTest::newRow("after a line break") << cut(games, "RBBP01\n|name") << all << 0;
    QTest::newRow("inside a key") << cut(games, "i|d=RBBP01") << all << 0;
    QTest::newRow("around the equals sign") << cut(games, "name|=|Pok") << all << 0;
    QTest::newRow("inside a 2-byte character") << cut(games, "Pok\xC3|\xA9mon") << all << 0;
    QTest::newRow("inside a 3-byte character") << cut(games, "\xE6|\x97|\xA5") << all << 0;
    QTest::newRow("inside a 4-byte character") << cut(games, "\xF0|\x9F\x8E|\xAE") << all << 0;
    QTest::newRow("before the empty line") << cut(games, "RBBP01.iso\n|\n") << all << 0;
    QTest::newRow("invalid UTF-8 loses its line only")
            << cut(found("RAAP01", "Alpha") + found("RBBP01", "Pok\xFFmon") + found("RCCP01", "Gamma"), "Pok|\xFF")
            << QStringList{all.first(), all.last()} << 0;
    // An error keeps the games listed before it.
    QTest::newRow("no line break at the end") << games + "!! wit: ERROR|, no newline" << all << 1;
    QTest::newRow("a game without a region is dropped")
            << QByteArray(found("RAAP01", "Alpha")).replace("region=PAL \n", "") + found("RCCP01", "Gamma")
            << QStringList{all.last()} << 0;
    QTest::newRow("a game cut by the end of output") << found("RAAP01", "Alpha").chopped(2) << QStringList() << 0;
    // wit repeats its games in "disc-N" sections, which are not read again.
    QTest::newRow("disc sections after the scan")
            << found("RAAP01", "Alpha") + "[disc-0]\nid=RAAP01\nname=Alpha\ntitle=\nregion=PAL \nsize=1\n"
                                          "filetype=ISO/WII\nfilename=/f/RAAP01.iso\n\n"
            << QStringList{all.first()} << 0;
    QTest::newRow("an ID that is a path") << found("../../x", "Path") << QStringList{u"../../x Path"_qs} << 0;
}

void tst_QBTask::listing()
{
    QFETCH(QByteArray, output);
    QBFakeTool tool;
    tool.setScript(script(output));
    const Listing listing = browse({u"list"_qs}, 0);
    QStringList listed;
    for (const QVariantMap &game : listing.games) {
        const QString id = game.value(GameKey::id).toString();
        listed << id + u' ' + game.value(GameKey::title).toString();
        // A cover file only for a disc's ID, which cannot climb out of the
        // covers folder.
        QCOMPARE(game.value(GameKey::coverPath).toString(),
                 QBGameID::isValid(id) ? tool.supportFolder() + u"/covers/"_qs + id + u".png"_qs : QString());
    }
    QTEST(listed, "listed");
    QCOMPARE(listing.finalPosts, 1);
    QTEST(listing.final.value(UserInfoKey::terminationStatus).toInt(), "status");
}

void tst_QBTask::bigWbfsFileListedWholeEveryTime()
{
    // wwt writes its listing in 4 KiB blocks, which end inside lines and
    // characters. Titles with accents and other scripts, some IDs whose
    // title wwt takes from its own list ("Pokémon Colosseum").
    const QStringList listed{u"GC6E01"_qs, u"GPAE01"_qs, u"GTEE01"_qs, u"GXXE01"_qs, u"GPXE01"_qs};
    QStringList images;
    for (int i = 0; i < 64; ++i) {
        const QString id = i < listed.size() ? listed.at(i) : u"GZ%1%2"_qs.arg(QChar(u'A' + i / 26)).arg(QChar(u'A' + i % 26)) + u"01"_qs;
        const QString title = u"Ça märche – 日本語のゲーム %1 🎮 Ñandú"_qs.arg(i);
        images << QBTestImages::makeGameCubeImage(m_dir.filePath(u"big/%1.iso"_qs.arg(id)), id, title);
        QVERIFY2(!images.last().isEmpty(), qPrintable(QBTestImages::lastError()));
    }
    const QString part = QBTestImages::makeWbfsFile(m_dir.filePath(u"big/PART.wbfs"_qs), images, 2);
    QVERIFY2(!part.isEmpty(), qPrintable(QBTestImages::lastError()));

    // What wwt itself prints, game by game.
    const QStringList arguments = QBBrowsingTask::partitionArguments(part);
    QString output;
    QVERIFY(QBTestImages::run(u"wwt"_qs, arguments, &output));
    QStringList expected;
    for (const QString &section : output.split(u"\n\n"_qs)) {
        QVariantMap game;
        for (const QString &line : section.split(u'\n'))
            game.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
        if (section.startsWith(u"[disc-"_qs)) {
            expected << QStringList{game[u"id"_qs].toString(), game[u"name"_qs].toString(), game[u"region"_qs].toString(),
                                    game[u"filetype"_qs].toString(), part + u'/' + game[u"id"_qs].toString(),
                                    QString::number(std::round(game[u"size"_qs].toDouble() / 1e7) / 100)}
                                .join(u'|');
        }
    }
    QCOMPARE(expected.size(), 64);

    QStringList counts;
    bool whole = true;
    for (int run = 0; run < 20; ++run) {
        const Listing listing = browse(arguments, 1);
        QStringList games;
        for (const QVariantMap &game : listing.games) {
            games << QStringList{game[u"id"_qs].toString(), game[u"title"_qs].toString(), game[u"region"_qs].toString(),
                                 game[u"filetype"_qs].toString(), game[u"filename"_qs].toString(),
                                 QString::number(game[u"size"_qs].toFloat())}
                             .join(u'|');
        }
        const bool same = games == expected && listing.final.value(UserInfoKey::terminationStatus) == 0;
        counts << QString::number(games.size()) + (same ? u""_qs : u"*"_qs);
        whole = whole && same;
    }
    // "*" marks a run whose games or values differ from wwt's.
    QVERIFY2(whole, qPrintable(u"games listed of 64: "_qs + counts.join(u' ')));
}

void tst_QBTask::cancelledListingPostsNoFinal()
{
    QBFakeTool tool;
    tool.setScript(script(found("RAAP01", "Alpha") + '|' + found("RBBP01", "Beta"), 300));
    QBBrowsingTask task({u"list"_qs}, 0, nullptr);
    QList<QVariantMap> posts;
    connect(&task, &QBBrowsingTask::browsingDidFinish, this, [&](const QVariantMap &info) { posts << info; });
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    QTRY_COMPARE(posts.size(), 1);
    task.cancel();
    QVERIFY(finished.wait(5000));
    QCOMPARE(posts.size(), 1);
    QVERIFY(posts.first().contains(UserInfoKey::game));
}

// Real conversions: what is written, and where the bundle says it went.
void tst_QBTask::conversions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QString>("id");

    auto copy = [](const QString &source, const QString &destination) {
        return QStringList{u"copy"_qs, u"--source"_qs, source, u"--dest"_qs, destination, u"--overwrite"_qs,
                           u"--sections"_qs, u"--progress"_qs};
    };
    // Given a folder, wit names the file itself and says so in "dest-path";
    // an empty "written" is the file the bundle names.
    const QString folder = m_dir.filePath(u"named"_qs);
    QTest::newRow("into a folder, named by wit")
            << copy(m_library.path(u"Golf [GQGE01].iso"_qs), folder) << 0 << folder << QString() << u"GQGE01"_qs;
    const QString image = m_dir.filePath(u"same/Delta.ciso"_qs);
    QTest::newRow("in place, with --remove") << copy(image, image) + QStringList{u"--remove"_qs} << 0 << image
                                             << QString() << u"RQDK01"_qs;
    // An addition writes into the partition: no folder is made for it, even
    // when the destination names one that does not exist.
    const QString part = m_dir.filePath(u"add.wbfs"_qs);
    QTest::newRow("added to a WBFS file")
            << QStringList{u"add"_qs, u"--source"_qs, m_library.path(u"Charlie [RQCJ01].wia"_qs), u"--part"_qs, part,
                           u"--update"_qs, u"--sections"_qs, u"--progress"_qs}
            << 1 << m_dir.filePath(u"not-made/RQCJ01"_qs) << part << u"RQCJ01"_qs;
}

void tst_QBTask::conversions()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, launchPath);
    QFETCH(QString, destination);
    QFETCH(QString, written);

    Conversion conversion(arguments, launchPath, waitingBundle(arguments.at(2), destination));
    QVERIFY(run(conversion.task));
    QCOMPARE(conversion.task.terminationStatus(), 0);
    QCOMPARE(conversion.infos.first(), u"Conversion started."_qs);
    QCOMPARE(conversion.infos.last(), u"Task completed."_qs);
    QCOMPARE(conversion.successes.size(), 1);
    QCOMPARE(conversion.successes.first().value(UserInfoKey::filename).toString(), conversion.bundle.destinationPath());
    if (written.isEmpty())
        written = conversion.bundle.destinationPath();
    QVERIFY2(QFileInfo(written).isFile(), qPrintable(written));
    // The IDs the real tool lists there: wwt for a partition, else wit.
    QStringList ids;
    for (const QVariantMap &game : browse(launchPath ? QBBrowsingTask::partitionArguments(written)
                                                     : QBBrowsingTask::folderArguments(written, false),
                                          launchPath).games)
        ids << game.value(GameKey::id).toString();
    QTEST(ids.join(u','), "id");
    QVERIFY(!QFile::exists(m_dir.filePath(u"not-made"_qs)));
}

// A tool stopped before its own clean-up leaves its temporary files; the
// task removes those the tool wrote, and leaves what was there before it.
void tst_QBTask::cancelledConversionLeavesNothing()
{
    QBFakeTool tool;
    tool.setScript(u"hang\n"_qs);
    const QString folder = m_dir.filePath(u"left/Golf [GQGE01]"_qs);
    const QString before = folder + u"/.Golf [GQGE01].wbfs.Older1.tmp"_qs;
    QVERIFY(QDir().mkpath(folder) && QBTestFiles::write(before, "x"));
    Conversion conversion({u"copy"_qs, u"--source"_qs, u"src"_qs}, 0,
                          waitingBundle(u"src"_qs, folder + u"/Golf [GQGE01].wbfs"_qs));
    QSignalSpy done(&conversion.task, &QBOperation::finished);
    conversion.task.start();
    for (const QString &name : {u".Golf [GQGE01].wbfs.Ab12Cd.tmp"_qs, u".Golf [GQGE01].wbfs.Ab12Cd.tmp.1"_qs})
        QVERIFY(QBTestFiles::write(folder + u'/' + name, "x"));
    QTRY_COMPARE(tool.invocations().size(), 1);
    conversion.task.cancel();
    QVERIFY(done.wait(15000));
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QFileInfo(before).fileName()});
}

void tst_QBTask::progressSections_data()
{
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("output");
    QTest::addColumn<double>("percent");
    QTest::addColumn<QString>("infos");
    QTest::addColumn<QString>("destination");

    QTest::newRow("percent, speed and time left")
            << 0 << u"[progress]\\npercent=42.5\\nmib-per-sec=12.3\\neta-text=5:20\\n\\n"_qs << 42.5
            << u"12.3 MiB/sec - 5:20 minutes left"_qs << u"asked"_qs;
    QTest::newRow("missing values") << 0 << u"[progress]\\npercent=7\\n\\n"_qs << 7.0
                                    << u"(null) MiB/sec - (null) minutes left"_qs << u"asked"_qs;
    QTest::newRow("percent that is not a number")
            << 0 << u"[progress]\\npercent=abc\\nmib-per-sec=1\\neta-text=0:01\\n\\n"_qs << 0.0
            << u"1 MiB/sec - 0:01 minutes left"_qs << u"asked"_qs;
    QTest::newRow("wwt COPY is not read")
            << 1 << u"[COPY]\\ndest-path=/out/ignored.wbfs\\n\\n"_qs << -1.0 << QString() << u"asked"_qs;
    QTest::newRow("wwt progress may name the output")
            << 1 << u"[progress]\\npercent=50\\ndest-path=/out/p.wbfs\\nmib-per-sec=2\\neta-text=0:02\\n\\n"_qs
            << 50.0 << u"2 MiB/sec - 0:02 minutes left"_qs << u"/out/p.wbfs"_qs;
    QTest::newRow("other sections do nothing")
            << 0 << u"[EXTRACT]\\ndest-path=/out/x.wbfs\\npercent=3\\n\\n"_qs << -1.0 << QString() << u"asked"_qs;
}

void tst_QBTask::progressSections()
{
    QFETCH(int, launchPath);
    QFETCH(QString, output);
    QFETCH(double, percent);

    QBFakeTool tool;
    tool.setScript(u"out "_qs + output + u"\nhang\n"_qs);
    // "asked" stands for the destination given at creation.
    Conversion conversion({u"copy"_qs}, launchPath, waitingBundle(u"src"_qs, u"asked"_qs));
    conversion.task.start();
    if (percent >= 0) {
        QTRY_COMPARE(conversion.infos.size(), 2);
        QTEST(conversion.infos.last(), "infos");
        QCOMPARE(conversion.bundle.percent(), percent);
    } else {
        QTest::qWait(300);
        QCOMPARE(conversion.infos, QStringList{u"Conversion started."_qs});
    }
    QTEST(conversion.bundle.destinationPath(), "destination");
    QSignalSpy finished(&conversion.task, &QBOperation::finished);
    conversion.task.cancel();
    QVERIFY(finished.wait(5000));
}

// Removals of image files with the real wit ("" a file that is not there).
void tst_QBTask::removes_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("status");

    QTest::newRow("image files") << QStringList{u"Delta [RQDK01].ciso"_qs, u"Ça märche – 日本 [RQFP01].wdf"_qs} << 0;
    // wit checks every file first and removes none when one is missing.
    QTest::newRow("one missing") << QStringList{u"Delta [RQDK01].ciso"_qs, QString()} << 1;
}

void tst_QBTask::removes()
{
    QFETCH(QStringList, names);
    QFETCH(int, status);

    const QString work = m_dir.filePath(u"remove/"_qs + QString::fromUtf8(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(work));
    QVariantList games;
    QStringList arguments{u"remove"_qs};
    for (const QString &name : std::as_const(names)) {
        const QString filename = work + u'/' + (name.isEmpty() ? u"missing.iso"_qs : name);
        if (!name.isEmpty())
            QVERIFY(QFile::copy(m_library.path(name), filename));
        games << QVariantMap{{GameKey::id, name.section(u'[', 1).left(6)}, {GameKey::filename, filename}};
        arguments << filename;
    }
    QBRemoveTask task(arguments << u"--sections"_qs, 0, games, this);
    const auto posted = posts(task, &QBRemoveTask::removeDidFinish);
    QCOMPARE(posted.size(), 1);
    const QVariantMap info = posted.first().first().toMap();
    QCOMPARE(info.value(UserInfoKey::terminationStatus).toInt(), status);
    // The list asked for comes back whole, whatever the tool managed.
    QCOMPARE(info.value(UserInfoKey::removedList).toList(), games);
    for (int i = 0; i < names.size(); ++i) {
        if (!names.at(i).isEmpty())
            QCOMPARE(QFile::exists(games.at(i).toMap().value(GameKey::filename).toString()), status != 0);
    }
}

void tst_QBTask::cancelledEditsPostNothing()
{
    QBFakeTool tool;
    tool.setScript(u"out [MOVE]\\ndest-path=/x\\n\\n\n"_qs);
    QBRemoveTask remove({u"remove"_qs}, 0, {}, nullptr);
    remove.cancel();
    QVERIFY(posts(remove, &QBRemoveTask::removeDidFinish).isEmpty());
    QBRecoverTask recover({u"recover"_qs}, 1, nullptr);
    recover.cancel();
    QVERIFY(posts(recover, &QBRecoverTask::recoverDidFinish).isEmpty());
    QVERIFY(tool.invocations().isEmpty());

    // Cancelled while the tool runs: the output is drained, nothing posted.
    QBRenameTask rename({}, {u"move"_qs}, nullptr);
    QSignalSpy renamed(&rename, &QBRenameTask::renomationDidFinish);
    QSignalSpy renameDone(&rename, &QBOperation::finished);
    rename.start();
    rename.cancel();
    QVERIFY(renameDone.wait(5000));
    QVERIFY(renamed.isEmpty());
    QCOMPARE(tool.invocations().size(), 1);
}

QTEST_GUILESS_MAIN(tst_QBTask)
#include "tst_qbtask.moc"
