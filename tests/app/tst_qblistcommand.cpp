// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbgamelistexport.h"
#include "app/qblistcommand.h"
#include "app/qbupdatedatabasecommand.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbgamecenter.h"
#include "qbfaketool.h"
#include "qbtestfiles.h"
#include "qbtesthttpserver.h"
#include "qbtestimages.h"
#include "qbtestzip.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScopeGuard>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <signal.h>
#include <sys/stat.h>

namespace {

struct Result
{
    int exitCode = -1;
    QList<QByteArray> lines;
    QByteArray errors;

    QJsonObject object(int i) const { return QJsonDocument::fromJson(lines.at(i)).object(); }
};

QVariantMap game(const QString &id, const QString &title, const QString &region, const QVariantMap &facts = {})
{
    QVariantMap values{{u"id"_qs, id}, {u"title"_qs, title}, {u"region"_qs, region}};
    values.insert(facts);
    return values;
}

// UTF-16, little end first, after its byte-order mark.
QByteArray utf16(const QString &text)
{
    return QByteArray("\xff\xfe", 2)
            + QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
}

}

class tst_QBListCommand : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void lists_data();
    void lists();
    void printsEachGameAtOnceAndEndsWithItsTool_data();
    void printsEachGameAtOnceAndEndsWithItsTool();
    void failedListingExitsWithOne();
    void listsDatabase_data();
    void listsDatabase();
    void mergesDatabaseRecords();
    void usageErrors_data();
    void usageErrors();
    void exportsGameList();
    void fifosCountAsMissing();
    void updatesDatabase();

    void init();
    void htmlPage();
    void targetPath();
    void checksAFewAtATimeAndCancels();

private:
    Result palomet(const QStringList &arguments, bool serving = false);
    bool installDatabase(const QByteArray &xml);

    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
};

void tst_QBListCommand::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
}

// Runs the real program the way a script would: no display at all, and a
// platform plugin that would abort if anything tried to open a window.
// Serving: the test's event loop runs meanwhile, for a loopback server.
Result tst_QBListCommand::palomet(const QStringList &arguments, bool serving)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"DISPLAY"_qs);
    environment.remove(u"WAYLAND_DISPLAY"_qs);
    environment.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
    environment.insert(u"XDG_DATA_HOME"_qs, m_dir.filePath(u"data"_qs));
    environment.insert(u"XDG_CONFIG_HOME"_qs, m_dir.filePath(u"config"_qs));
    QProcess process;
    process.setProcessEnvironment(environment);
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(QStringLiteral(PALOMET_PATH), arguments);
    Result result;
    if (serving ? !finished.wait(30000) : !process.waitForFinished(30000))
        return result;
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    result.lines = process.readAllStandardOutput().split('\n');
    if (!result.lines.isEmpty() && result.lines.last().isEmpty())
        result.lines.removeLast();
    result.errors = process.readAllStandardError();
    return result;
}

// The lines a listing prints with the real tools, one JSON object a game
// (its floats as short as they print) and the final status; a folder's
// games in the order of their IDs, a WBFS file's in the order wwt lists
// them.
void tst_QBListCommand::lists_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("lines");

    const QString covers = m_dir.filePath(u"data/palomet/covers/"_qs);
    auto game = [&covers](const QString &id, const QString &filename, const QString &type, const QString &region,
                          const QString &size, const QString &title) {
        return uR"({"coverPath":"%1%2.png","filename":"%3","filetype":"%4","id":"%2","isOnWBFS":%5,"region":"%6","size":%7,"title":"%8"})"_qs
                .arg(covers, id, filename, type, filename.contains(u".wbfs/"_qs) ? u"true"_qs : u"false"_qs, region, size, title);
    };
    const QString done = uR"({"terminationStatus":0})"_qs;
    QTest::newRow("a folder")
            << QStringList{m_library.folder}
            << QStringList{game(u"GQGE01"_qs, m_library.path(u"Golf [GQGE01].iso"_qs), u"ISO/GC"_qs, u"USA "_qs, u"1.46"_qs, u"Golf Cube"_qs),
                           game(u"RQAE01"_qs, m_library.path(u"Alpha Quest [RQAE01].wbfs"_qs), u"WBFS/WII"_qs, u"USA "_qs, u"0.01"_qs, u"Alpha Quest"_qs),
                           game(u"RQBP01"_qs, m_library.path(u"Beta [RQBP01].iso"_qs), u"ISO/WII"_qs, u"PAL "_qs, u"4.7"_qs, u"Beta: The Colon"_qs),
                           game(u"RQCJ01"_qs, m_library.path(u"Charlie [RQCJ01].wia"_qs), u"WIA/WII"_qs, u"JAPA"_qs, u"0"_qs, u"Charlie WIA"_qs),
                           game(u"RQDK01"_qs, m_library.path(u"Delta [RQDK01].ciso"_qs), u"CISO/WII"_qs, u"KORE"_qs, u"0.01"_qs, u"Delta CISO"_qs),
                           game(u"RQFP01"_qs, m_library.path(u"Ça märche – 日本 [RQFP01].wdf"_qs), u"WDF2/WII"_qs, u"PAL "_qs, u"0"_qs,
                                u"Ça märche – Ünïcödé 日本"_qs),
                           done};
    QTest::newRow("one image") << QStringList{m_library.path(u"Charlie [RQCJ01].wia"_qs)}
                               << QStringList{game(u"RQCJ01"_qs, m_library.path(u"Charlie [RQCJ01].wia"_qs), u"WIA/WII"_qs,
                                                   u"JAPA"_qs, u"0"_qs, u"Charlie WIA"_qs),
                                              done};
    const QString part = m_library.container + u'/';
    QTest::newRow("a WBFS file")
            << QStringList{u"--part"_qs, m_library.container}
            << QStringList{game(u"RQAE01"_qs, part + u"RQAE01"_qs, u"WBFS/WII"_qs, u"USA "_qs, u"0.01"_qs, u"Alpha Quest"_qs),
                           game(u"RQBP01"_qs, part + u"RQBP01"_qs, u"WBFS/WII"_qs, u"PAL "_qs, u"0.01"_qs, u"Beta: The Colon"_qs),
                           game(u"GQGE01"_qs, part + u"GQGE01"_qs, u"WBFS/WII"_qs, u"USA "_qs, u"0"_qs, u"Golf Cube"_qs),
                           // A 10 GiB file: 10240 MiB in all; wwt prints no path and no size.
                           uR"({"partitionInfos":{"NSFileSystemFreeSize":10.2,"NSFileSystemSize":10.2},"terminationStatus":0})"_qs};
}

void tst_QBListCommand::lists()
{
    QFETCH(QStringList, arguments);
    const Result result = palomet(QStringList{u"--list"_qs} + arguments);
    QCOMPARE(result.exitCode, 0);
    QStringList lines;
    for (const QByteArray &line : result.lines)
        lines << QString::fromUtf8(line);
    if (arguments.first() != u"--part"_qs)
        std::sort(lines.begin(), lines.end() - 1);
    QTEST(lines, "lines");
}

void tst_QBListCommand::printsEachGameAtOnceAndEndsWithItsTool_data()
{
    QTest::addColumn<bool>("closePipe");
    QTest::addColumn<int>("signal");
    QTest::newRow("terminated") << false << SIGTERM;
    QTest::newRow("reader gone") << true << SIGPIPE;
}

void tst_QBListCommand::printsEachGameAtOnceAndEndsWithItsTool()
{
    // One game, then a tool that never ends: the game is on the pipe at
    // once. TERM, or a reader that closes the pipe before the next game,
    // ends the program and its tool.
    QFETCH(bool, closePipe);
    QFETCH(int, signal);
    QBFakeTool tool;
    const QString pidFile = tool.filePath(u"pid"_qs);
    const QString game = u"out [progress:found]\\nid=%1\\nname=A\\nregion=USA \\nsize=1\\nfiletype=ISO/WII\\n"
                         "filename=/a.iso\\n\\n\n"_qs;
    tool.setScript(u"pid "_qs + pidFile + u'\n' + game.arg(u"RQAE01"_qs) + u"pause 1000\n"_qs + game.arg(u"RQBE01"_qs)
                   + u"hang\n"_qs);
    QVERIFY(QDir().mkpath(tool.filePath(u"data/palomet"_qs)));
    QVERIFY(QFile::link(QBFakeTool::binary(), tool.filePath(u"data/palomet/wit"_qs)));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_DATA_HOME"_qs, tool.filePath(u"data"_qs));
    QProcess process;
    process.setProcessEnvironment(environment);
    // A reader that takes one line and goes away.
    QProcess reader;
    if (closePipe) {
        process.setStandardOutputProcess(&reader);
        reader.start(u"head"_qs, {u"-n"_qs, u"1"_qs});
    }
    QIODevice *lines = closePipe ? static_cast<QIODevice *>(&reader) : &process;
    process.start(QStringLiteral(PALOMET_PATH), {u"--list"_qs, m_library.folder});
    const auto readPid = [&pidFile] {
        return pid_t(QBTestFiles::read(pidFile).trimmed().toLong());
    };
    QTRY_VERIFY(readPid() > 0);
    const pid_t toolPid = readPid();
    // Never leave the tool behind, whatever fails.
    const auto cleanup = qScopeGuard([toolPid] { ::kill(toolPid, SIGKILL); });
    QTRY_VERIFY_WITH_TIMEOUT(lines->canReadLine(), 10000);
    QCOMPARE(QJsonDocument::fromJson(lines->readLine()).object().value(u"id"_qs).toString(), u"RQAE01"_qs);
    QCOMPARE(::kill(toolPid, 0), 0);
    if (!closePipe)
        process.terminate();
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitCode(), 128 + signal);
    QVERIFY(QTest::qWaitFor([&] { return ::kill(toolPid, 0) != 0; }, 5000));
}

void tst_QBListCommand::failedListingExitsWithOne()
{
    Result result = palomet({u"--list"_qs, m_dir.filePath(u"nothing here"_qs)});
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(result.lines, QList<QByteArray>{R"({"terminationStatus":1})"});

    // A file that is not a WBFS partition.
    result = palomet({u"--list"_qs, u"--part"_qs, m_library.path(u"Beta [RQBP01].iso"_qs)});
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(result.object(result.lines.size() - 1).value(u"terminationStatus"_qs).toInt(), 1);
}

bool tst_QBListCommand::installDatabase(const QByteArray &xml)
{
    const QString path = m_dir.filePath(u"data/palomet/wiitdb.xml"_qs);
    QFile::remove(path);
    if (xml.isNull())
        return true;
    QDir().mkpath(m_dir.filePath(u"data/palomet"_qs));
    return QBTestFiles::write(path, xml);
}

namespace {
const QByteArray database = R"(<datafile><WiiTDB version="1"/>
<game><id>RQBP01</id><region>PAL</region><locale lang="EN"><title>Beta - database</title></locale>
<locale lang="FR"><title>Bêta</title></locale><date year="2009" month="3" day="7"/><input players="2"/></game>
<game><id>AAAE01</id><region>NTSC-U</region></game>
</datafile>)";
}

// Records by ID, in the languages of the run; nothing on standard output
// when there is no database to list.
void tst_QBListCommand::listsDatabase_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QList<QByteArray>>("lines");

    const QStringList list{u"--list"_qs, u"--database"_qs};
    QTest::newRow("installed")
            << database << list + QStringList{u"--languages"_qs, u"de,en"_qs} << 0
            << QList<QByteArray>{R"({"id":"AAAE01","region":"NTSC-U"})",
                                 R"({"date":"2009-03-07","id":"RQBP01","lang":"en","players":2,"region":"PAL","title":"Beta - database"})"};
    QTest::newRow("none installed") << QByteArray() << list << 1 << QList<QByteArray>();
    QTest::newRow("malformed") << database.left(120) << list << 1 << QList<QByteArray>();
}

void tst_QBListCommand::listsDatabase()
{
    QFETCH(QByteArray, xml);
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QList<QByteArray>, lines);

    QVERIFY(installDatabase(xml));
    const Result result = palomet(arguments);
    installDatabase(QByteArray());
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.lines, lines);
    QCOMPARE(result.errors.contains("title database"), exitCode != 0);
}

void tst_QBListCommand::mergesDatabaseRecords()
{
    QVERIFY(installDatabase(database));
    const Result result = palomet({u"--list"_qs, u"--languages"_qs, u"fr"_qs, m_library.folder});
    installDatabase(QByteArray());
    QCOMPARE(result.exitCode, 0);
    bool seen = false;
    for (int i = 0; i < result.lines.size() - 1; ++i) {
        const QJsonObject game = result.object(i);
        if (game.value(u"id"_qs).toString() != u"RQBP01"_qs) {
            QVERIFY(!game.contains(u"lang"_qs));
            continue;
        }
        seen = true;
        QCOMPARE(game.value(u"title"_qs).toString(), u"Bêta"_qs);
        QCOMPARE(game.value(u"date"_qs).toString(), u"2009-03-07"_qs);
        QCOMPARE(game.value(u"filetype"_qs).toString(), u"ISO/WII"_qs);
    }
    QVERIFY(seen);
}

void tst_QBListCommand::usageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("no source") << QStringList{u"--list"_qs};
    QTest::newRow("two sources") << QStringList{u"--list"_qs, u"a"_qs, u"b"_qs};
    QTest::newRow("unknown option") << QStringList{u"--list"_qs, u"--bogus"_qs, u"a"_qs};
    QTest::newRow("database and a source") << QStringList{u"--list"_qs, u"--database"_qs, u"a"_qs};
    QTest::newRow("export without a source") << QStringList{u"--export"_qs, u"list.txt"_qs};
    QTest::newRow("export in another format")
            << QStringList{u"--export"_qs, u"list.txt"_qs, u"--format"_qs, u"pdf"_qs, u"a"_qs};
    QTest::newRow("format without export") << QStringList{u"--list"_qs, u"--format"_qs, u"txt"_qs, u"a"_qs};
    QTest::newRow("list and export") << QStringList{u"--list"_qs, u"--export"_qs, u"list.txt"_qs, u"a"_qs};
    QTest::newRow("update with a source") << QStringList{u"--update-database"_qs, u"a"_qs};
}

void tst_QBListCommand::usageErrors()
{
    QFETCH(QStringList, arguments);
    const Result result = palomet(arguments);
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.lines.isEmpty());
    QVERIFY(result.errors.contains("--list"));
}

// The game list of a source as the export command writes it, in the order
// the tool lists the games; the covers are checked on the server of the
// settings.
void tst_QBListCommand::exportsGameList()
{
    QBTestHttpServer server;
    server.setRoute(u"/wii/cover3D/FR/RQAE01.png"_qs, "png");
    {
        QSettings settings(m_dir.filePath(u"config/palomet/palomet.conf"_qs), QSettings::IniFormat);
        settings.setValue(u"coverServer"_qs, server.url());
        settings.setValue(u"languages"_qs, QStringList{u"fr"_qs});
    }
    const Result listed = palomet({u"--list"_qs, u"--part"_qs, m_library.container});
    QCOMPARE(listed.lines.size(), 4);
    QString text;
    QString rows;
    for (int i = 0; i < 3; ++i) {
        const QJsonObject game = listed.object(i);
        const QString id = game.value(u"id"_qs).toString();
        const QString title = game.value(u"title"_qs).toString();
        text += u"[%1] %2\n"_qs.arg(id, title);
        // Without a database, the region is the tool's, never "NTSC-U".
        const QString cover = server.url() + (id == u"RQAE01"_qs ? u"/wii/cover3D/FR/"_qs : u"/wii/cover3D/EN/"_qs);
        rows += u"<tr><td><img src='%1%2.png' /></td><td>%2</td><td>%3</td><td>(null)</td><td>(null)</td>"
                "<td>(null)</td></tr>\n"_qs.arg(cover, id, title);
    }

    const QString chosen = m_dir.filePath(u"games.list"_qs);
    Result result = palomet({u"--export"_qs, chosen, u"--format"_qs, u"txt"_qs, u"--part"_qs, m_library.container});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.lines.isEmpty());
    QCOMPARE(QBTestFiles::read(m_dir.filePath(u"games.txt"_qs)), utf16(text));

    // The page, the format taken from the settings' default.
    result = palomet({u"--export"_qs, chosen, u"--part"_qs, m_library.container}, true);
    QCOMPARE(result.exitCode, 0);
    const QString page = u"<html>\n<head><title>"_qs + m_library.container
            + u"</title>\n<style>table { text-align:left } th,td { padding:2px 10px } img { width:60px; "
              "height:90px; }</style>\n</head>\n<body>\n<table>\n<tr><th>Cover</th><th>Id</th><th>Title</th>"
              "<th>Players</th><th>Wi-Fi Players</th><th>Languages</th></tr>\n"_qs
            + rows + u"</table>\n</body>\n</html>"_qs;
    const QByteArray bytes = QBTestFiles::read(m_dir.filePath(u"games.html"_qs));
    QVERIFY(bytes.startsWith("\xFF\xFE"));
    const QString written = QString::fromUtf16(reinterpret_cast<const char16_t *>(bytes.constData() + 2),
                                               (bytes.size() - 2) / 2);
    QCOMPARE(written.split(u'\n'), page.split(u'\n'));
    QCOMPARE(server.requests().size(), 3);

    // A place no file can be written to (below a file, as even the
    // superuser cannot write there): a message and status 1.
    const QString below = m_dir.filePath(u"games.html/list.txt"_qs);
    result = palomet({u"--export"_qs, below, u"--format"_qs, u"txt"_qs, m_library.folder});
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.errors.contains("could not be saved as “list.txt”"), result.errors.constData());
}

// A FIFO in place of the settings file or of the database would block the
// first read for good; both count as missing.
void tst_QBListCommand::fifosCountAsMissing()
{
    const QString settings = m_dir.filePath(u"config/palomet/palomet.conf"_qs);
    const QString database = m_dir.filePath(u"data/palomet/wiitdb.xml"_qs);
    QDir().mkpath(m_dir.filePath(u"config/palomet"_qs));
    QDir().mkpath(m_dir.filePath(u"data/palomet"_qs));
    QFile::remove(settings);
    installDatabase(QByteArray());
    for (const QString &path : {settings, database})
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    const Result result = palomet({u"--list"_qs, u"--database"_qs});
    QFile::remove(settings);
    QFile::remove(database);
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.errors.contains("the title database could not be loaded"), result.errors.constData());
}

// The headless update, over HTTPS as by default, and over plain HTTP as a
// user may set it: the database is installed as File › Update Database
// installs it; exit status 0 only when it was.
void tst_QBListCommand::updatesDatabase()
{
    const QByteArray archive = QBTestZip::make({{u"wiitdb.xml"_qs, database}});
    QBTestHttpServer https(QBTestHttpServer::Scheme::Https);
    https.setRoute(u"/wiitdb.zip"_qs, archive);
    QBSupportFolder::setLocation(m_dir.filePath(u"update"_qs));
    QBSettings::setValue(SettingsKey::databaseServer, https.url());
    QBuffer errors;
    errors.open(QIODevice::WriteOnly);
    {
        QBGameCenter center;
        QBUpdateDatabaseCommand update(&center, &errors);
        QSignalSpy finished(&update, &QBUpdateDatabaseCommand::finished);
        update.start();
        QVERIFY(finished.wait());
        QCOMPARE(finished.first().first().toInt(), 0);
    }
    QBSupportFolder::setLocation(QString());
    const QString installed = m_dir.filePath(u"update/wiitdb.xml"_qs);
    QCOMPARE(QBTestFiles::read(installed), database);
    QCOMPARE(errors.data(), QByteArray("palomet: Downloading the database ...\npalomet: 100%\n"
                                       "palomet: The title database is installed: ")
                                    + installed.toUtf8() + '\n');

    // The program itself, with a server that has no database.
    QBTestHttpServer http;
    QSettings(m_dir.filePath(u"config/palomet/palomet.conf"_qs), QSettings::IniFormat)
            .setValue(u"databaseServer"_qs, http.url());
    const Result result = palomet({u"--update-database"_qs}, true);
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.errors.contains("Not Found"), result.errors.constData());
    QCOMPARE(http.requests(), QStringList{u"/wiitdb.zip"_qs});
}

void tst_QBListCommand::init()
{
    QSettings().clear();
    QBSettings::setValue(SettingsKey::languages, QStringList{u"fr"_qs, u"en"_qs});
}

// The page's covers when the cover server is down: every game falls back
// to its English cover, unchecked (the --export and menu tests see covers
// found and the page around the rows).
void tst_QBListCommand::htmlPage()
{
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost));
    const QString down = u"http://127.0.0.1:%1"_qs.arg(closed.serverPort());
    QBSettings::setValue(SettingsKey::coverServer, down);
    closed.close();
    const QList<QVariantMap> games{
            game(u"RMCE01"_qs, u"Super Mario Galaxy"_qs, u"NTSC-U"_qs,
                 {{u"players"_qs, 1}, {u"wi-fi-players"_qs, 0}, {u"languages"_qs, u"EN,FR,ES"_qs}}),
            game(u"RQBP01"_qs, u"Bêta – 日本"_qs, u"PAL"_qs, {{u"players"_qs, 4}, {u"wi-fi-players"_qs, 2}}),
    };
    QBGameListExport job(m_dir.filePath(u"Wii games"_qs), games, u"html"_qs, m_dir.filePath(u"list.txt"_qs));
    QSignalSpy progress(&job, &QBGameListExport::progressChanged);
    QSignalSpy finished(&job, &QBGameListExport::finished);
    job.start();
    QVERIFY(finished.wait(10000));
    QCOMPARE(job.result(), QBGameListExport::Result::Written);
    QCOMPARE(job.path(), m_dir.filePath(u"list.html"_qs));
    QCOMPARE(progress.size(), 2);
    QCOMPARE(progress.last(), (QVariantList{2, 2}));
    const QString rows =
            u"<tr><td><img src='"_qs + down + u"/wii/cover3D/EN/RMCE01.png' /></td><td>RMCE01</td><td>Super Mario Galaxy"
            "</td><td>1</td><td>0</td><td>EN,FR,ES</td></tr>\n<tr><td><img src='"_qs + down
            + u"/wii/cover3D/EN/RQBP01.png' /></td><td>RQBP01</td><td>Bêta – 日本</td><td>4</td><td>2</td><td>(null)</td></tr>\n"_qs;
    QVERIFY(QBTestFiles::read(job.path()).contains(utf16(rows).mid(2)));
    QVERIFY(!QFile::exists(m_dir.filePath(u"list.txt"_qs)));
    QFile::remove(job.path());
}

// Only the last extension goes; a name that starts with a dot keeps it.
void tst_QBListCommand::targetPath()
{
    QCOMPARE(QBGameListExport::targetPath(u"/a/games.tar.gz"_qs, u"txt"_qs), u"/a/games.tar.txt"_qs);
    QCOMPARE(QBGameListExport::targetPath(u"/a.b/list"_qs, u"html"_qs), u"/a.b/list.html"_qs);
    QCOMPARE(QBGameListExport::targetPath(u"/a/.list"_qs, u"html"_qs), u"/a/.list.html"_qs);
}

void tst_QBListCommand::checksAFewAtATimeAndCancels()
{
    QBTestHttpServer held;
    QList<QVariantMap> games;
    for (int i = 0; i < 20; ++i) {
        const QString id = u"RQ%1P1"_qs.arg(i, 2, 10, QLatin1Char('0'));
        games << game(id, id, u"PAL"_qs);
        held.setRoute(u"/wii/cover3D/FR/%1.png"_qs.arg(id), "png", QBTestHttpServer::Mode::Held);
    }
    QBSettings::setValue(SettingsKey::coverServer, held.url());
    QBGameListExport job(u"games"_qs, games, u"html"_qs, m_dir.filePath(u"held.html"_qs));
    QSignalSpy progress(&job, &QBGameListExport::progressChanged);
    QSignalSpy finished(&job, &QBGameListExport::finished);
    job.start();
    QTRY_COMPARE(held.requests().size(), QBGameListExport::checksInFlight);
    held.release();
    QTRY_COMPARE(progress.size(), QBGameListExport::checksInFlight);
    QTRY_COMPARE(held.requests().size(), 20);
    QVERIFY(finished.isEmpty());

    job.cancel();
    QCOMPARE(finished.size(), 1);
    QCOMPARE(job.result(), QBGameListExport::Result::Cancelled);
    held.release();
    QTest::qWait(50);
    QCOMPARE(progress.size(), QBGameListExport::checksInFlight);
    QCOMPARE(finished.size(), 1);
    QVERIFY(!QFile::exists(job.path()));
}

QTEST_GUILESS_MAIN(tst_QBListCommand)
#include "tst_qblistcommand.moc"
