// SPDX-License-Identifier: GPL-3.0-or-later
// The game center's downloads of the database, the tools and the covers,
// from a loopback HTTPS server that can misbehave.
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbdatabaseparse.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbimagedownload.h"
#include "gamedata/qblanguages.h"
#include "qbscriptedalerts.h"
#include "qbtestfiles.h"
#include "qbtesthttpserver.h"
#include "qbtestzip.h"
#include "tasks/qboperationqueue.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using Mode = QBTestHttpServer::Mode;
using Download = QBGameCenter::Download;

namespace {

const QByteArray database = R"(<datafile><WiiTDB version="1"/>
<game name="x"><id>RMCP01</id><region>PAL</region><locale lang="EN"><title>Kart</title></locale></game>
</datafile>)";

QStringList titles(const QBGameCenter &center)
{
    QStringList list;
    for (Download item : {Download::Database, Download::WIT, Download::WWT})
        list << center.validateUserInterfaceItem(item).title;
    return list;
}

QByteArray png(QRgb color)
{
    return QBTestFiles::png(QBTestFiles::picture(color));
}

QVariantMap game(const QString &id, const QString &region = u"PAL"_qs, bool withFilename = true)
{
    QVariantMap game{{u"id"_qs, id}, {u"region"_qs, region}, {u"coverPath"_qs, QBSupportFolder::coverPath(id)}};
    if (withFilename)
        game.insert(u"filename"_qs, QString(u"/games/"_qs + id + u".wbfs"_qs));
    return game;
}

// Hides the system's wit and wwt for a scope, leaving the unzip that
// downloads unpack with: downloads are for a system that has no tools.
struct NoSystemTools
{
    NoSystemTools()
    {
        QFile::link(QStandardPaths::findExecutable(u"unzip"_qs), bin.filePath(u"unzip"_qs));
        qputenv("PATH", bin.path().toLocal8Bit());
    }
    ~NoSystemTools() { qputenv("PATH", path); }
    const QByteArray path = qgetenv("PATH");
    QTemporaryDir bin;
};

}

using Record = QVariantMap;

class tst_QBGameCenter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void startUp();
    void noSupportFolder();
    void toolDownload();
    void failedDownloads_data();
    void failedDownloads();
    void hostileArchives_data();
    void hostileArchives();
    void downloadsThatCannotStart();
    void coverOnDisk();
    void missingCoverIsFetched_data();
    void missingCoverIsFetched();
    void nothingIsFetched_data();
    void nothingIsFetched();

    void languages();
    void gameRecord_data();
    void gameRecord();
    void document_data();
    void document();
    void parseOperation();

private:
    QString support(const QString &name = QString()) const
    {
        return m_dir.filePath(name.isEmpty() ? u"support"_qs : u"support/"_qs + name);
    }
    // Nothing has been written through the links planted at the names of
    // the shared temporary folder.
    bool victimIsUntouched() const { return QBTestFiles::read(m_dir.filePath(u"victim"_qs)) == "mine"; }
    QStringList supportEntries(const QString &folder = QString()) const
    {
        return QDir(support(folder)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<QBTestHttpServer> m_server;

    QString write(const QByteArray &xml);
    int m_files = 0;
};

void tst_QBGameCenter::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
    // Another user's links at the names a download once took in the shared
    // temporary folder.
    QDir().mkpath(m_dir.filePath(u"tmp"_qs));
    qputenv("TMPDIR", m_dir.filePath(u"tmp"_qs).toLocal8Bit());
    QVERIFY(QBTestFiles::write(m_dir.filePath(u"victim"_qs), "mine"));
    for (const QString &name : {u"wiitdb"_qs, u"wit"_qs, u"wwt"_qs})
        QVERIFY(QFile::link(m_dir.filePath(u"victim"_qs), m_dir.filePath(u"tmp/"_qs + name)));
}

// A fresh server, and a fresh support folder with no covers, for each case.
void tst_QBGameCenter::init()
{
    QSettings().clear();
    m_server = std::make_unique<QBTestHttpServer>(QBTestHttpServer::Scheme::Https);
    QVERIFY(!m_server->url().isEmpty());
    QBSettings::setValue(SettingsKey::languages, QStringList{u"fr"_qs, u"en"_qs});
    for (const QString &key : {SettingsKey::databaseServer, SettingsKey::toolServer, SettingsKey::coverServer})
        QBSettings::setValue(key, m_server->url());
    QDir(support()).removeRecursively();
    QBSupportFolder::setLocation(support());
}

void tst_QBGameCenter::cleanup()
{
    QBSupportFolder::setLocation(QString());
    QBLanguages::setOverride({});
}

void tst_QBGameCenter::startUp()
{
    // What an interrupted download or unpacking left is removed, unless a
    // run still going may be writing it.
    QDir().mkpath(support(u"covers"_qs));
    for (const QString &name : {u".partial-old"_qs, u"covers/.partial-old"_qs, u".partial-new"_qs}) {
        QFile file(support(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        if (name.endsWith(u"old"_qs))
            QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFile::FileModificationTime));
    }
    QBGameCenter center;
    QCOMPARE(supportEntries(), (QStringList{u".partial-new"_qs, u"covers"_qs}));
    QVERIFY(supportEntries(u"covers"_qs).isEmpty());
    QFile::remove(support(u".partial-new"_qs));
    // The system's tools until the support folder holds its own.
    QCOMPARE(center.pathForResource(u"wit"_qs), QStandardPaths::findExecutable(u"wit"_qs));
    QVERIFY(QBTestFiles::write(support(u"wit"_qs), "#!/bin/sh\n"));
    QFile::setPermissions(support(u"wit"_qs), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCOMPARE(center.pathForResource(u"wit"_qs), support(u"wit"_qs));

    // No database installed: the first parse ends without one.
    QVERIFY(center.isParsing());
    QSignalSpy loaded(&center, &QBGameCenter::databaseDidLoad);
    QTRY_VERIFY(!center.isParsing());
    QCOMPARE(loaded.size(), 0);
    QVERIFY(!center.hasDatabase());
    QCOMPARE(titles(center), (QStringList{u"Download database"_qs, u"Update WIT"_qs, u"Download WWT"_qs}));
    QVERIFY(center.validateUserInterfaceItem(Download::WWT).enabled);
}

void tst_QBGameCenter::noSupportFolder()
{
    QVERIFY(QBTestFiles::write(m_dir.filePath(u"plain file"_qs), "x"));
    QBSupportFolder::setLocation(m_dir.filePath(u"plain file/support"_qs));
    QBGameCenter center;
    QVERIFY(center.supportFolder().isEmpty());
    QVERIFY(center.pathForResource(u"wiitdb.xml"_qs).isEmpty());
    QVERIFY(center.pathForResource(u"covers"_qs).isEmpty());
    QVERIFY(!center.getImageForGame({{u"id"_qs, u"RMCP01"_qs}, {u"filename"_qs, u"/x.wbfs"_qs}}));
    QTRY_VERIFY(!center.isParsing());
    QVERIFY(!center.hasDatabase());
}

void tst_QBGameCenter::toolDownload()
{
    QBScriptedAlerts alerts;
    m_server->setRoute(u"/palomet/wit.zip"_qs, QBTestZip::make({{u"wit"_qs, "#!/bin/sh\necho wit\n"}}), Mode::Held);
    m_server->setRoute(u"/palomet/wwt.zip"_qs, QBTestZip::make({{u"wwt"_qs, "#!/bin/sh\necho wwt\n"}}));
    const NoSystemTools none;
    QBGameCenter center;
    QTRY_VERIFY(!center.isParsing());
    QSignalSpy parsing(&center, &QBGameCenter::parsingChanged);

    center.downloadWIT();
    QCOMPARE(center.downloadText(), u"Downloading WIT ..."_qs);
    QTRY_COMPARE(m_server->requests().count(u"/palomet/wit.zip"_qs), 1);
    QCOMPARE(center.validateUserInterfaceItem(Download::WIT).title, u"Downloading WIT ..."_qs);
    QVERIFY(!center.validateUserInterfaceItem(Download::WWT).enabled);
    // One download at a time.
    center.downloadWWT();
    QCOMPARE(center.downloadString(), u"wit"_qs);

    m_server->release();
    QTRY_VERIFY(center.downloadString().isEmpty());
    center.downloadWWT();
    QCOMPARE(center.downloadText(), u"Downloading WWT ..."_qs);
    QTRY_VERIFY(center.downloadString().isEmpty());

    QVERIFY(alerts.alerts.isEmpty());
    for (const QString &tool : {u"wit"_qs, u"wwt"_qs}) {
        QVERIFY(QFileInfo(support(tool)).isExecutable());
        QCOMPARE(center.pathForResource(tool), support(tool));
    }
    QCOMPARE(titles(center), (QStringList{u"Download database"_qs, u"Update WIT"_qs, u"Update WWT"_qs}));
    QCOMPARE(parsing.size(), 0);
}

// Each failure leaves the installed database as it was and parses nothing.
void tst_QBGameCenter::failedDownloads_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<QString>("message");

    const QByteArray zip = QBTestZip::make({{u"wiitdb.xml"_qs, database}});
    QTest::newRow("404") << QByteArray() << Mode::NotFound << u"Not Found"_qs;
    QTest::newRow("closed mid-body") << zip << Mode::CloseMidBody << QString();
    QTest::newRow("not a zip") << QByteArray("<html>a portal page</html>") << Mode::Normal
                               << u"Extraction failed."_qs;
    QTest::newRow("corrupt zip") << QByteArray(zip).replace("RMCP01", "XXXXXXXXX") << Mode::Normal
                                 << u"Extraction failed."_qs;
    QTest::newRow("announced larger than the limit") << QByteArray() << Mode::Oversized << u"256 MiB"_qs;
    QTest::newRow("without end") << QByteArray() << Mode::Endless << u"256 MiB"_qs;
}

void tst_QBGameCenter::failedDownloads()
{
    QFETCH(QByteArray, body);
    QFETCH(Mode, mode);
    QFETCH(QString, message);

    QBScriptedAlerts alerts;
    QDir().mkpath(support());
    QVERIFY(QBTestFiles::write(support(u"wiitdb.xml"_qs), database));
    m_server->setRoute(u"/wiitdb.zip"_qs, body, mode);
    QBGameCenter center;
    QTRY_VERIFY(!center.isParsing());
    QSignalSpy parsing(&center, &QBGameCenter::parsingChanged);
    QStringList menuDuringAlert;
    alerts.onAlert = [&](const QBAlert &) { menuDuringAlert = titles(center); };

    center.downloadDatabase();
    QCOMPARE(center.downloadText(), u"Updating the database ... "_qs);
    QTRY_VERIFY_WITH_TIMEOUT(center.downloadString().isEmpty(), 30000);
    QCOMPARE(alerts.alerts.size(), 1);
    const QString shown = alerts.alerts.first().message;
    QVERIFY2(!shown.isEmpty() && shown.contains(message), qPrintable(shown));
    QVERIFY(!center.isDownloadWindowVisible());
    if (message == u"Extraction failed."_qs) {
        QCOMPARE(alerts.alerts.first().informativeText, QString());
        // The window closes before the alert, the menu frees up after it.
        QCOMPARE(menuDuringAlert.first(), u"Downloading database ..."_qs);
    }
    QCOMPARE(QBTestFiles::read(support(u"wiitdb.xml"_qs)), database);
    QCOMPARE(supportEntries(), (QStringList{u"covers"_qs, u"wiitdb.xml"_qs}));
    QVERIFY(victimIsUntouched());
    QCOMPARE(parsing.size(), 0);
}

// Only the file an archive is for is ever written, and only as a regular
// file of bounded size; whatever else the archive holds is ignored.
void tst_QBGameCenter::hostileArchives_data()
{
    QTest::addColumn<bool>("tool");
    QTest::addColumn<QByteArray>("archive");
    QTest::addColumn<QStringList>("installed");

    const QByteArray victim = m_dir.filePath(u"victim"_qs).toUtf8();
    QTest::newRow("a tool planted next to the database")
            << false << QBTestZip::make({{u"wiitdb.xml"_qs, database}, {u"wit"_qs, "#!/bin/sh\n", 0100755}})
            << QStringList{u"covers"_qs, u"wiitdb.xml"_qs};
    QTest::newRow("a link into covers, entries outside")
            << false
            << QBTestZip::make({{u"covers/RMCP01.png"_qs, victim, 0120777}, {u"wiitdb.xml"_qs, database},
                                {u"covers/../../escaped"_qs, "x"}, {u"/escaped"_qs, "x"}})
            << QStringList{u"covers"_qs, u"wiitdb.xml"_qs};
    QTest::newRow("the database a symbolic link")
            << false << QBTestZip::make({{u"wiitdb.xml"_qs, victim, 0120777}}) << QStringList{u"covers"_qs};
    QTest::newRow("the database a hard link")
            << false << QBTestZip::make({QBTestZip::Entry{u"wiitdb.xml"_qs, "", 0100644, false, victim}})
            << QStringList{u"covers"_qs};
    QTest::newRow("the database a folder")
            << false << QBTestZip::make({{u"wiitdb.xml/"_qs, "", 040755}, {u"wiitdb.xml/x"_qs, database}})
            << QStringList{u"covers"_qs};
    QTest::newRow("a tool larger than 64 MiB unpacked")
            << true << QBTestZip::make({{u"wit"_qs, QByteArray((64 << 20) + 1, '\0'), 0100755, true}})
            << QStringList{u"covers"_qs};
}

void tst_QBGameCenter::hostileArchives()
{
    QFETCH(bool, tool);
    QFETCH(QByteArray, archive);
    QFETCH(QStringList, installed);

    QBScriptedAlerts alerts;
    const NoSystemTools none;
    m_server->setRoute(tool ? u"/palomet/wit.zip"_qs : u"/wiitdb.zip"_qs, archive);
    QBGameCenter center;
    QSignalSpy ended(&center, &QBGameCenter::downloadDidEnd);
    tool ? center.downloadWIT() : center.downloadDatabase();
    QVERIFY(ended.wait(20000));
    QCOMPARE(ended.first().first().toBool(), installed.size() > 1);
    QCOMPARE(alerts.messages(), installed.size() > 1 ? QStringList() : QStringList{u"Extraction failed."_qs});
    QCOMPARE(supportEntries(), installed);
    QVERIFY(supportEntries(u"covers"_qs).isEmpty());
    if (installed.size() > 1) {
        QCOMPARE(QBTestFiles::read(support(u"wiitdb.xml"_qs)), database);
        QVERIFY(!QFileInfo(support(u"wiitdb.xml"_qs)).isExecutable());
    }
    QVERIFY(!QFile::exists(m_dir.filePath(u"escaped"_qs)));
    QVERIFY(victimIsUntouched());
}

void tst_QBGameCenter::downloadsThatCannotStart()
{
    QBScriptedAlerts alerts;
    QBGameCenter center;
    QBSettings::setValue(SettingsKey::databaseServer, u"nowhere"_qs);
    center.downloadDatabase();
    QVERIFY(center.downloadString().isEmpty());
    QVERIFY(!center.isDownloadWindowVisible());
    QCOMPARE(alerts.messages(), QStringList{u"The connection to the internet couldn't be established."_qs});
    QCOMPARE(alerts.alerts.first().informativeText, u"Please try again later."_qs);

    // The system's tools are named with the version they print, and left
    // to the system's package manager.
    center.downloadWWT();
    QTRY_COMPARE(alerts.alerts.size(), 2);
    QVERIFY(center.downloadString().isEmpty());
    QVERIFY(QRegularExpression(u"\\APalomet uses wwt [0-9][0-9.]*[a-z]*, installed on your system\\.\\z"_qs)
                    .match(alerts.alerts.last().message)
                    .hasMatch());
    QVERIFY(alerts.alerts.last().informativeText.contains(u"package manager"_qs));

    // Without them, and without a site for the tools, the system's package
    // is the way.
    const NoSystemTools none;
    QBSettings::setValue(SettingsKey::toolServer, QString());
    center.downloadWIT();
    QVERIFY(center.downloadString().isEmpty());
    QCOMPARE(alerts.alerts.size(), 3);
    QVERIFY(alerts.alerts.last().message.contains(u"\"wit\""_qs));
}

void tst_QBGameCenter::coverOnDisk()
{
    QBGameCenter center;
    const QString coverPath = QBSupportFolder::coverPath(u"RMCP01"_qs);
    QVERIFY(QBTestFiles::write(coverPath, png(qRgb(255, 0, 0))));
    QSignalSpy arrived(center.coverEntry(u"RMCP01"_qs), &QBCoverEntry::coverChanged);
    // Read off the event loop: not cached on return, shown when ready.
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(arrived.wait());
    QCOMPARE(arrived.size(), 1);
    QCOMPARE(center.images().value(u"RMCP01"_qs).pixel(0, 0), qRgb(255, 0, 0));

    // From the cache from now on, even when the file goes, also for a game
    // listed later.
    QVERIFY(QFile::remove(coverPath));
    QVERIFY(center.getImageForGame(game(u"RMCP01"_qs)));
    QCOMPARE(QBGameBundle(game(u"RMCP01"_qs)).cover().pixel(0, 0), qRgb(255, 0, 0));
    QTest::qWait(50);
    QCOMPARE(arrived.size(), 1);
    QVERIFY(m_server->requests().isEmpty());

    // Within a budget of one cover, the one used least recently leaves
    // memory and is read again from its file when next asked for.
    QVERIFY(QBTestFiles::write(coverPath, png(qRgb(255, 0, 0))));
    QVERIFY(QBTestFiles::write(QBSupportFolder::coverPath(u"RSBE01"_qs), png(qRgb(0, 255, 0))));
    center.setCoverMemoryBudget(center.coverImageBytes());
    QSignalSpy evicted(center.coverEntry(u"RMCP01"_qs), &QBCoverEntry::coverEvicted);
    QSignalSpy other(center.coverEntry(u"RSBE01"_qs), &QBCoverEntry::coverChanged);
    QVERIFY(!center.getImageForGame(game(u"RSBE01"_qs)));
    QVERIFY(other.wait());
    QCOMPARE(evicted.size(), 1);
    QCOMPARE(center.images().keys(), QList{u"RSBE01"_qs});
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(arrived.wait());
    QCOMPARE(center.images().keys(), QList{u"RMCP01"_qs});
    QCOMPARE(center.images().value(u"RMCP01"_qs).pixel(0, 0), qRgb(255, 0, 0));
    QCOMPARE(center.coverImageBytes(), center.images().value(u"RMCP01"_qs).sizeInBytes());
}

// Which addresses are asked, what ends up on disk and in the cache.
void tst_QBGameCenter::missingCoverIsFetched_data()
{
    QTest::addColumn<QString>("region");
    QTest::addColumn<QString>("servedPath");
    QTest::addColumn<QByteArray>("served");
    QTest::addColumn<QStringList>("requests");
    QTest::addColumn<bool>("cached");
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<bool>("linked");

    const QByteArray cover = png(qRgb(0, 0, 255));
    const QString fr = u"/wii/cover3D/FR/RMCP01.png"_qs;
    const QString us = u"/wii/cover3D/US/RMCP01.png"_qs;
    const QString en = u"/wii/cover3D/EN/RMCP01.png"_qs;
    const QStringList both{fr, en};
    QTest::newRow("in the first language") << u"PAL"_qs << fr << cover << QStringList{fr} << true << Mode::Normal << false;
    QTest::newRow("US for NTSC-U") << u"NTSC-U"_qs << us << cover << QStringList{us} << true << Mode::Normal << false;
    QTest::newRow("English when the language has none") << u"PAL"_qs << en << cover << both << true << Mode::Normal << false;
    QTest::newRow("none at all") << u"PAL"_qs << QString() << QByteArray() << both << false << Mode::Normal << false;
    QTest::newRow("not a picture")
            << u"PAL"_qs << fr << QByteArray("GIF? no") << QStringList{fr} << false << Mode::Normal << false;
    QTest::newRow("without end: dropped at 8 MiB") << u"PAL"_qs << fr << QByteArray() << both << false << Mode::Endless << false;
    QTest::newRow("a link in its place: replaced, not followed")
            << u"PAL"_qs << fr << cover << QStringList{fr} << true << Mode::Normal << true;
}

void tst_QBGameCenter::missingCoverIsFetched()
{
    QFETCH(QString, region);
    QFETCH(QString, servedPath);
    QFETCH(QByteArray, served);
    QFETCH(QStringList, requests);
    QFETCH(bool, cached);
    QFETCH(Mode, mode);
    QFETCH(bool, linked);

    if (!servedPath.isEmpty())
        m_server->setRoute(servedPath, served, mode);
    QBGameCenter center;
    const QString coverPath = QBSupportFolder::coverPath(u"RMCP01"_qs);
    const QString victim = m_dir.filePath(u"cover victim"_qs);
    QFile::remove(victim);
    if (linked)
        QVERIFY(QFile::link(victim, coverPath));
    QSignalSpy downloaded(&center, &QBGameCenter::imageDidDownload);
    bool cachedWhenPosted = false;
    bool inFlightWhenPosted = true;
    connect(&center, &QBGameCenter::imageDidDownload, this, [&] {
        cachedWhenPosted = center.images().contains(u"RMCP01"_qs);
        inFlightWhenPosted = center.imagesDownloading().contains(u"RMCP01"_qs);
    });
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs, region)));

    QVERIFY(downloaded.wait());
    QCOMPARE(downloaded.first().first().toMap().value(u"id"_qs).toString(), u"RMCP01"_qs);
    QCOMPARE(m_server->requests(), requests);
    QCOMPARE(cachedWhenPosted, cached);
    QVERIFY(!inFlightWhenPosted);
    QCOMPARE(center.images().contains(u"RMCP01"_qs), cached);
    QCOMPARE(QBTestFiles::read(coverPath), served);
    QVERIFY(!QFileInfo(coverPath).isSymLink() && !QFile::exists(victim));
    // The download's own file went.
    QCOMPARE(QFileInfo(coverPath).dir().entryList(QDir::Files | QDir::Hidden | QDir::System).size(),
             served.isEmpty() ? 0 : 1);
}

void tst_QBGameCenter::nothingIsFetched_data()
{
    QTest::addColumn<bool>("downloadCovers");
    QTest::addColumn<bool>("withFilename");
    QTest::addColumn<QString>("id");
    QTest::newRow("downloads off") << false << true << u"RMCP01"_qs;
    QTest::newRow("a database entry, without a file") << true << false << u"RMCP01"_qs;
    QTest::newRow("an ID that is a path") << true << true << u"../../x"_qs;
}

void tst_QBGameCenter::nothingIsFetched()
{
    QFETCH(bool, downloadCovers);
    QFETCH(bool, withFilename);
    QFETCH(QString, id);
    QBSettings::setValue(SettingsKey::downloadCovers, downloadCovers);
    QBGameCenter center;
    QTRY_VERIFY(!center.isParsing());
    QVERIFY(!center.getImageForGame(game(id, u"PAL"_qs, withFilename)));
    QTest::qWait(100);
    QVERIFY(center.imagesDownloading().isEmpty());
    QCOMPARE(center.operationQueue()->operationCount(), 0);
    QVERIFY(m_server->requests().isEmpty());
}

// The system's languages without regions or duplicates, the Chinese
// scripts kept whole. The database's list crosses the Chinese scripts, as
// its own codes do, and reads a system without a language in English;
// covers take the language as it stands.
void tst_QBGameCenter::languages()
{
    QCOMPARE(QBLanguages::reduce({u"fr-FR"_qs, u"fr"_qs, u"en_GB"_qs, u"en-US"_qs}), (QStringList{u"fr"_qs, u"en"_qs}));
    QCOMPARE(QBLanguages::reduce({u"zh-Hant-TW"_qs, u"zh-TW"_qs, u"zh-Hans"_qs}),
             (QStringList{u"zh-Hant"_qs, u"zh"_qs, u"zh-Hans"_qs}));
    QSettings().clear();
    QCOMPARE(QBLanguages::userLanguages(), QBLanguages::reduce(QLocale::system().uiLanguages()));
    QCOMPARE(QBLanguages::preferenceList({u"zh-Hans"_qs, u"en"_qs, u"zh-Hant"_qs, u"zh-Hans"_qs, u"C"_qs, u"POSIX"_qs, u"EN"_qs}),
             (QStringList{u"zhtw"_qs, u"en"_qs, u"zhcn"_qs, u"zh-Hans"_qs, u"en"_qs, u"en"_qs, u"EN"_qs}));
    QBLanguages::setOverride({u"zh-Hans"_qs});
    QCOMPARE(QBImageDownload::coverLanguage(game(u"RMCP01"_qs, u"NTSC-J"_qs)), u"ZH-HANS"_qs);
    QBLanguages::setOverride({u"en-GB"_qs});
    QCOMPARE(QBImageDownload::coverLanguage(game(u"RMCP01"_qs)), u"EN-GB"_qs);
}

QString tst_QBGameCenter::write(const QByteArray &xml)
{
    const QString path = m_dir.filePath(QString::number(++m_files) + u".xml"_qs);
    return QBTestFiles::write(path, xml) ? path : QString();
}

// One game's children, the preference list, and the record expected
// besides its ID.
void tst_QBGameCenter::gameRecord_data()
{
    QTest::addColumn<QByteArray>("children");
    QTest::addColumn<QStringList>("languages");
    QTest::addColumn<Record>("expected");

    const QByteArray fr = R"(<locale lang="FR"><title>Titre</title><synopsis>Résumé</synopsis></locale>)";
    const QByteArray en = R"(<locale lang="EN"><title>Title</title><synopsis>Story</synopsis></locale>)";
    const Record french{{u"lang"_qs, u"fr"_qs}, {u"title"_qs, u"Titre"_qs}, {u"synopsis"_qs, u"Résumé"_qs}};
    const QStringList frEn{u"fr"_qs, u"en"_qs};

    QTest::newRow("text fields as they stand")
            << QByteArray("<region>PAL</region><genre>racing,sports</genre><languages>EN,FR</languages>"
                          "<developer>Nin &amp; Co</developer><publisher> </publisher><other>x</other>")
            << QStringList{u"en"_qs}
            << Record{{u"region"_qs, u"PAL"_qs}, {u"genre"_qs, u"racing,sports"_qs}, {u"languages"_qs, u"EN,FR"_qs},
                      {u"developer"_qs, u"Nin & Co"_qs}, {u"publisher"_qs, u" "_qs}};
    QTest::newRow("empty texts are not stored") << QByteArray("<region></region><genre/>") << QStringList() << Record();
    QTest::newRow("preferred locale after another") << en + fr << frEn << french;
    QTest::newRow("preferred locale before another") << fr + en << frEn << french;
    QTest::newRow("no fallback to English")
            << en + R"(<locale lang="JA"><title>タイトル</title></locale>)" << QStringList{u"de"_qs} << Record();
    QTest::newRow("regional preference matches nothing") << en << QStringList{u"en-US"_qs} << Record();
    QTest::newRow("preference compared as it stands") << en << QStringList{u"EN"_qs} << Record();
    QTest::newRow("better locale overwrites only its keys")
            << en + R"(<locale lang="FR"><title>Titre</title><synopsis></synopsis></locale>)" << frEn
            << Record{{u"lang"_qs, u"fr"_qs}, {u"title"_qs, u"Titre"_qs}, {u"synopsis"_qs, u"Story"_qs}};
    QTest::newRow("equal rank keeps the first")
            << en + R"(<locale lang="en"><title>Second</title></locale>)" << QStringList{u"en"_qs}
            << Record{{u"lang"_qs, u"en"_qs}, {u"title"_qs, u"Title"_qs}, {u"synopsis"_qs, u"Story"_qs}};
    QTest::newRow("locale children by their own names, nested text joined")
            << QByteArray(R"(<locale lang="EN"><title>A <b>bold</b>!<![CDATA[<move>]]></title><tagline>Go</tagline></locale>)")
            << QStringList{u"en"_qs}
            << Record{{u"lang"_qs, u"en"_qs}, {u"title"_qs, u"A bold!<move>"_qs}, {u"tagline"_qs, u"Go"_qs}};
    QTest::newRow("date, unpadded") << QByteArray(R"(<date year="2008" month="11" day="6"/>)") << QStringList()
                                    << Record{{u"date"_qs, QDateTime(QDate(2008, 11, 6), QTime(0, 0), Qt::UTC)}};
    QTest::newRow("input: players and controls in order")
            << QByteArray(R"(<input players="4"><control type="wiimote" required="true"/><control type="nunchuk" required="false"/>)"
                          R"(<control type="gamecube"/><control type="wheel" required="true"/></input>)")
            << QStringList()
            << Record{{u"players"_qs, 4}, {u"requirements"_qs, u"wiimote, wheel"_qs},
                      {u"optional-controls"_qs, u"nunchuk, gamecube"_qs}};
    QTest::newRow("input without players or controls")
            << QByteArray(R"(<input players="x"/>)") << QStringList() << Record{{u"players"_qs, 0}};
    QTest::newRow("wi-fi without features")
            << QByteArray(R"(<wi-fi players="0"></wi-fi>)") << QStringList() << Record{{u"wi-fi-players"_qs, 0}};
    QTest::newRow("wi-fi features joined, empty ones too")
            << QByteArray(R"(<wi-fi players="12"><feature>online</feature><feature/><feature>score</feature></wi-fi>)")
            << QStringList() << Record{{u"wi-fi-players"_qs, 12}, {u"wi-fi-features"_qs, u"online, , score"_qs}};
    QTest::newRow("rating") << QByteArray(R"(<rating type="PEGI" value="3"/>)") << QStringList()
                            << Record{{u"rating"_qs, u"PEGI 3"_qs}};
    QTest::newRow("rating without value") << QByteArray(R"(<rating type="PEGI" value=""/>)") << QStringList() << Record();
    // The real database has such dates; the rest of the game stays.
    QTest::newRow("invalid or empty dates store none")
            << QByteArray(R"(<date year="2008" month="13" day="1"/><date year="" month="" day=""/><region>PAL</region>)")
            << QStringList() << Record{{u"region"_qs, u"PAL"_qs}};
    QTest::newRow("control without a type is left out")
            << QByteArray(R"(<input players="1"><control required="true"/><control type="nunchuk"/></input>)")
            << QStringList() << Record{{u"players"_qs, 1}, {u"optional-controls"_qs, u"nunchuk"_qs}};
}

void tst_QBGameCenter::gameRecord()
{
    QFETCH(QByteArray, children);
    QFETCH(QStringList, languages);
    QFETCH(Record, expected);

    expected.insert(u"id"_qs, u"RMCP01"_qs);
    const QString path = write("<datafile><game name=\"x\"><id>RMCP01</id>" + children + "</game></datafile>");
    const std::optional<QBDatabase> database = QBDatabaseParse::parse(path, languages);
    QVERIFY(database);
    QCOMPARE(database->keys(), QStringList{u"RMCP01"_qs});
    QCOMPARE(database->value(u"RMCP01"_qs), expected);
}

// Whole documents: which games the result holds, or no result at all.
void tst_QBGameCenter::document_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<std::optional<QStringList>>("ids");
    QTest::addColumn<QString>("titleOfRMCP01");

    QTest::newRow("no games, any root name") << QByteArray("<WiiTDB><companies/></WiiTDB>")
                                             << std::optional(QStringList()) << QString();
    QTest::newRow("other children skipped; later duplicate wins")
            << QByteArray(R"(<datafile><WiiTDB version="1"/><game><id>RMCP01</id><locale lang="EN"><title>Old</title></locale></game>)"
                          R"(<genres><game><id>NESTED</id></game></genres>)"
                          R"(<game><id>RSBE01</id></game><game><id>RMCP01</id><locale lang="EN"><title>New</title></locale></game></datafile>)")
            << std::optional(QStringList{u"RMCP01"_qs, u"RSBE01"_qs}) << u"New"_qs;
    QTest::newRow("not XML") << QByteArray("PK\x03\x04 not a database") << std::optional<QStringList>()
                             << QString();
    QTest::newRow("a game without an ID is skipped")
            << QByteArray(R"(<datafile><game><id></id><region>PAL</region></game><game><id>RMCP01</id><locale lang="EN">)"
                          R"(<title>Kept</title></locale></game><game><date year="x"/><id>RSBE01</id></game></datafile>)")
            << std::optional(QStringList{u"RMCP01"_qs, u"RSBE01"_qs}) << u"Kept"_qs;
}

void tst_QBGameCenter::document()
{
    QFETCH(QByteArray, xml);
    QFETCH(std::optional<QStringList>, ids);
    QFETCH(QString, titleOfRMCP01);

    const std::optional<QBDatabase> database = QBDatabaseParse::parse(write(xml), {u"en"_qs});
    QCOMPARE(database.has_value(), ids.has_value());
    if (!ids)
        return;
    QStringList keys = database->keys();
    keys.sort();
    QCOMPARE(keys, *ids);
    QCOMPARE(database->value(u"RMCP01"_qs).value(u"title"_qs).toString(), titleOfRMCP01);
}

// The parse runs on a worker and posts on the thread that started it;
// cancelled, it posts nothing.
void tst_QBGameCenter::parseOperation()
{
    const QString path = write("<d><game><id>RMCP01</id></game></d>");
    QBDatabaseParse parse(path, {});
    QSignalSpy posted(&parse, &QBDatabaseParse::databaseDidParse);
    QSignalSpy finished(&parse, &QBOperation::finished);
    QThread *postingThread = nullptr;
    connect(&parse, &QBDatabaseParse::databaseDidParse, this,
            [&postingThread] { postingThread = QThread::currentThread(); });
    parse.start();
    QVERIFY(parse.isExecuting());
    QVERIFY(finished.wait());
    QCOMPARE(posted.size(), 1);
    QCOMPARE(posted.first().first().value<QBDatabase>().keys(), QStringList{u"RMCP01"_qs});
    QCOMPARE(postingThread, thread());

    const std::atomic_bool cancelled{true};
    QVERIFY(!QBDatabaseParse::parse(path, {}, &cancelled));
    QBDatabaseParse again(path, {});
    QSignalSpy againPosted(&again, &QBDatabaseParse::databaseDidParse);
    QSignalSpy againFinished(&again, &QBOperation::finished);
    again.start();
    again.cancel();
    QVERIFY(againFinished.wait());
    QCOMPARE(againPosted.size(), 0);
}

QTEST_GUILESS_MAIN(tst_QBGameCenter)
#include "tst_qbgamecenter.moc"
