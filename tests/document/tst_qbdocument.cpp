// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "document/qbdocument.h"
#include "document/qbdocumentadding.h"
#include "document/qbdocumentediting.h"
#include "document/qbdragdata.h"
#include "document/qbfilesystem.h"
#include "document/qbgamefiltermodel.h"
#include "document/qbloaderdrive.h"
#include "document/qblibrarycache.h"
#include "gamedata/qbgamecenter.h"
#include "panels/qbfilenamepattern.h"
#include "qbscriptedalerts.h"
#include "qbtestfiles.h"
#include "qbtestimages.h"

#include <QAbstractItemModelTester>
#include <QCborMap>
#include <QCborValue>
#include <QDBusConnection>
#include <QDateTime>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QDir>
#include <QMimeData>
#include <QProcess>
#include <QScopeGuard>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

// The views of a window, as the document sees them.
struct FakeViews : QBDocumentViews
{
    QList<int> rows;

    int tableClickedRow() const override { return -1; }
    QList<int> tableSelectedRows() const override { return rows; }
    QList<int> gridSelectionIndexes() const override { return rows; }
    bool isColumnVisible(const QString &) const override { return true; }
};

// What a file manager is asked to show.
class FakeFileManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QStringList shown;
    QString startupId;

public slots:
    void ShowItems(const QStringList &uris, const QString &startup)
    {
        shown << uris;
        startupId = startup;
    }
};

QVariantMap game(const QString &id, const QString &title, const QString &filename)
{
    return {{u"id"_qs, id}, {u"title"_qs, title}, {u"filename"_qs, filename}, {u"region"_qs, u"PAL "_qs},
            {u"filetype"_qs, u"WBFS/WII"_qs}, {u"size"_qs, 4.37f}, {u"coverPath"_qs, QBSupportFolder::coverPath(id)}};
}

QVariantMap disc(const QString &id, const QString &filetype, const QString &filename, bool onWBFS = false)
{
    return {{u"id"_qs, id}, {u"filetype"_qs, filetype}, {u"filename"_qs, filename}, {u"isOnWBFS"_qs, onWBFS}};
}

QStringList names(int count)
{
    QStringList list;
    for (int i = 1; i <= count; ++i)
        list << u"/v/game%1.wbfs"_qs.arg(i);
    return list;
}

// Games as a drag carries them, with values of every kind a record holds.
const QList<QVariantMap> dragged{
        {{u"id"_qs, u"RQAE01"_qs}, {u"filename"_qs, u"/v/Alpha: Quest.wbfs"_qs}, {u"isOnWBFS"_qs, false},
         {u"size"_qs, 4.37}, {u"languages"_qs, QStringList{u"EN"_qs, u"FR"_qs}},
         {u"date"_qs, QDateTime(QDate(2009, 3, 1), QTime(0, 0), Qt::UTC)}, {u"cover"_qs, QImage(4, 4, QImage::Format_RGB32)}},
        {{u"id"_qs, u"GQGE01"_qs}, {u"filename"_qs, u"/dev/sdb1/GQGE01"_qs}, {u"isOnWBFS"_qs, true}}};

}

using QBConversionLayout::Layout;

class tst_QBDocument : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void unexpectedValues();
    void revealShowsTheFile();
    void removalGivesBackSpace();
    void libraryCacheFiles_data();
    void libraryCacheFiles();
    void conversionCommand();
    void skipAlert();
    void renamedPath_data();
    void renamedPath();
    void carriesTheRecords();
    void refusesOtherData_data();
    void refusesOtherData();

    void layouts_data();
    void layouts();
    void patternText_data();
    void patternText();
    void missingGames();
    void fatDrive();
    void sync();

private:
    std::unique_ptr<QBDocument> listed(int count);

    QTemporaryDir m_dir;
    QProcess m_bus;
    std::unique_ptr<QBGameCenter> m_center;

    struct Run
    {
        int exitCode = -1;
        QList<QJsonObject> plan;
        QByteArray errors;
    };
    Run sync(const QStringList &arguments);
    QStringList filesUnder(const QString &folder) const;

    QProcessEnvironment m_environment;
};

void tst_QBDocument::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    QBSupportFolder::setLocation(m_dir.filePath(u"support"_qs));
    // A session bus of our own, so that revealing a file reaches the fake
    // file manager of this test and nothing of the user's.
    const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_qs);
    QVERIFY2(!daemon.isEmpty(), "dbus-daemon is not installed");
    m_bus.start(daemon, {u"--session"_qs, u"--nofork"_qs, u"--print-address=1"_qs});
    QVERIFY(m_bus.waitForStarted());
    QTRY_VERIFY(m_bus.canReadLine());
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.readLine().trimmed());
    m_center = std::make_unique<QBGameCenter>();
    QTRY_VERIFY(!m_center->isParsing());
    // The program run by the tests keeps its settings and support folder
    // here, with a cover for one game.
    m_environment = QProcessEnvironment::systemEnvironment();
    m_environment.insert(u"XDG_CONFIG_HOME"_qs, m_dir.filePath(u"config"_qs));
    m_environment.insert(u"XDG_DATA_HOME"_qs, m_dir.filePath(u"data"_qs));
    QVERIFY(QDir().mkpath(m_dir.filePath(u"data/palomet/covers"_qs)));
    QVERIFY(QBTestFiles::picture(qRgb(255, 0, 0)).save(m_dir.filePath(u"data/palomet/covers/RQAE01.png"_qs)));
}

void tst_QBDocument::cleanupTestCase()
{
    m_center.reset();
    m_bus.kill();
    m_bus.waitForFinished();
}

// A folder document whose list holds count games, as a browse reports them.
std::unique_ptr<QBDocument> tst_QBDocument::listed(int count)
{
    std::unique_ptr<QBDocument> document(QBDocument::create(m_dir.path(), QBDocument::Folder, 1));
    for (int i = 0; i < count; ++i)
        document->browsingDidFinish({{u"game"_qs, game(u"RQ%1E01"_qs.arg(i), u"G"_qs, m_dir.filePath(u"g%1.wbfs"_qs.arg(i)))}});
    return document;
}

// Database records whose values are not of the kinds the parser makes must
// still list, sort and filter.
void tst_QBDocument::unexpectedValues()
{
    std::unique_ptr<QBDocument> document(QBDocument::create(u"GameTDB"_qs, QBDocument::Database, 1));
    QVERIFY(document);
    QBGameListModel *games = document->gameList();
    QBGameFilterModel *arranged = document->gameListController();
    QAbstractItemModelTester modelTester(games);
    QAbstractItemModelTester proxyTester(arranged);
    QImage image(2, 2, QImage::Format_RGB32);
    games->addRecords({
            {{u"id"_qs, u"A"_qs}, {u"title"_qs, u"Ça Märche"_qs}, {u"players"_qs, u"four"_qs}, {u"region"_qs, u"JAPA"_qs}},
            {{u"id"_qs, u"B"_qs}, {u"title"_qs, QVariantList{u"Cab"_qs, 2}}, {u"players"_qs, 2}, {u"region"_qs, u"USA "_qs}},
            {{u"id"_qs, 7}, {u"title"_qs, 42}, {u"players"_qs, QVariantMap{{u"x"_qs, 1}}}},
            {{u"title"_qs, image}, {u"region"_qs, QDateTime(QDate(2010, 5, 4), QTime(), Qt::UTC)}},
            {{u"id"_qs, u"E"_qs}},
    });
    const int title = QBGameListModel::columnForKey(u"title"_qs);
    QCOMPARE(games->index(1, title).data().toString(), u"Cab, 2"_qs);
    QCOMPARE(games->index(3, title).data().toString(), QString());
    QCOMPARE(games->index(2, QBGameListModel::columnForKey(u"players"_qs)).data().toString(), QString());
    const int region = QBGameListModel::columnForKey(u"region"_qs);
    QVERIFY(!games->index(3, region).data().toString().isEmpty());
    // The tool's region codes read as the database's, the record unchanged.
    QCOMPARE(games->index(0, region).data().toString(), u"NTSC-J"_qs);
    QCOMPARE(games->index(1, region).data().toString(), u"NTSC-U"_qs);
    QCOMPARE(games->index(1, region).data(QBGameListModel::RawValueRole).toString(), u"USA "_qs);
    QCOMPARE(games->index(4, 0).data(QBGameListModel::SubtitleRole).toString(), u"(null), 0.00 GB"_qs);

    auto arrangedIds = [arranged] {
        QStringList ids;
        for (int row = 0; row < arranged->rowCount(); ++row)
            ids << arranged->index(row, QBGameListModel::columnForKey(u"id"_qs)).data().toString();
        return ids;
    };
    // Missing values first, then numbers, then texts (case and accents
    // folded), then values with no order of their own.
    arranged->sort(title, Qt::AscendingOrder);
    QCOMPARE(arrangedIds(), (QStringList{u"E"_qs, u"7"_qs, u"A"_qs, u"B"_qs, QString()}));
    arranged->sort(QBGameListModel::columnForKey(u"players"_qs), Qt::DescendingOrder);
    QCOMPARE(arrangedIds().first(), u"7"_qs);

    document->updateFilter(u"ca"_qs);
    QCOMPARE(arrangedIds(), (QStringList{u"A"_qs, u"B"_qs}));
    document->updateFilter(u"4"_qs);
    QCOMPARE(arrangedIds(), QStringList{u"7"_qs});
    document->updateFilter(QString());
    QCOMPARE(arranged->rowCount(), 5);
}

void tst_QBDocument::revealShowsTheFile()
{
    FakeFileManager manager;
    QDBusConnection bus = QDBusConnection::sessionBus();
    QVERIFY(bus.isConnected());
    QVERIFY(bus.registerObject(u"/org/freedesktop/FileManager1"_qs, &manager, QDBusConnection::ExportAllSlots));
    QVERIFY(bus.registerService(u"org.freedesktop.FileManager1"_qs));

    std::unique_ptr<QBDocument> document = listed(3);
    FakeViews views;
    document->setViews(&views);
    document->openInFinder();
    views.rows = {0, 2};
    document->openInFinder();
    QTRY_COMPARE(manager.shown, QStringList{QUrl::fromLocalFile(m_dir.filePath(u"g2.wbfs"_qs)).toString()});
    QCOMPARE(manager.startupId, QString());
    bus.unregisterService(u"org.freedesktop.FileManager1"_qs);
}

// A partition counts its space in thousands of MiB, a game's size in
// units of 10^9 bytes; what a removal gives back never passes the whole.
void tst_QBDocument::removalGivesBackSpace()
{
    const QString part = m_dir.filePath(u"space.wbfs"_qs);
    QVERIFY(QBTestFiles::write(part, "x"));
    std::unique_ptr<QBDocument> document(QBDocument::create(part, QBDocument::Partition, 1));
    QVERIFY(document);
    document->browsingDidFinish({{UserInfoKey::terminationStatus, 0},
                                 {UserInfoKey::partitionInfos,
                                  QVariantMap{{PartitionKey::freeSize, 5.0f}, {PartitionKey::totalSize, 10.2f}}}});
    // 4000 MiB, as the tool gives a game's size.
    const QVariantMap removed{{UserInfoKey::removedList, QVariantList{QVariantMap{{GameKey::size, 4.194304f}}}}};
    document->removeDidFinish(removed, {});
    QCOMPARE(document->freeSpace(), 9.0f);
    document->removeDidFinish(removed, {});
    QCOMPARE(document->freeSpace(), 10.2f);
}

void tst_QBDocument::libraryCacheFiles_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QByteArray>("data");
    // -1: the file is not trusted and goes.
    QTest::addColumn<int>("games");

    const QString folder = m_dir.filePath(u"cached"_qs);
    QDir().mkpath(folder);
    for (const QString &name : {u"a.wbfs"_qs, u"b.wbfs"_qs, u"c.wbfs"_qs})
        QVERIFY(QBTestFiles::write(folder + u'/' + name, "image"));
    const QBLibraryCache::Source source{folder, QBDocument::Folder, false};
    const QList<QVariantMap> games{game(u"RQAE01"_qs, u"Alpha"_qs, folder + u"/a.wbfs"_qs),
                                   game(u"RQBE01"_qs, u"Beta"_qs, folder + u"/b.wbfs"_qs)};
    const QByteArray whole = QBLibraryCache::encode(source, games);
    QTest::newRow("whole") << folder << whole << 2;
    QTest::newRow("truncated") << folder << whole.left(whole.size() - 20) << -1;
    QTest::newRow("another version") << folder << QByteArray(whole).replace("\"palometLibrary\":1", "\"palometLibrary\":2") << -1;
    QTest::newRow("another folder") << folder << QBLibraryCache::encode({m_dir.path(), 0, false}, games) << -1;
    QTest::newRow("a recursive listing") << folder << QBLibraryCache::encode({folder, 0, true}, games) << -1;
    const QString gone = m_dir.filePath(u"gone"_qs);
    QTest::newRow("a folder that is gone") << gone << QBLibraryCache::encode({gone, 0, false}, {}) << -1;
    QTest::newRow("a file outside the folder")
            << folder << QBLibraryCache::encode(source, {game(u"RQAE01"_qs, u"A"_qs, folder + u"/../cached/a.wbfs"_qs)}) << -1;
    QTest::newRow("not JSON") << folder << QByteArray("\x89PNG\r\n") << -1;
    // A file that changed since is listed by the browse alone.
    const QByteArray before = QBLibraryCache::encode(source, games + QList{game(u"RQCE01"_qs, u"C"_qs, folder + u"/c.wbfs"_qs)});
    QVERIFY(QBTestFiles::write(folder + u"/c.wbfs"_qs, "image, and more"));
    QTest::newRow("a file changed since") << folder << before << 2;
}

// What the library cache reads back, and what it refuses (and removes).
void tst_QBDocument::libraryCacheFiles()
{
    QFETCH(QString, folder);
    QFETCH(QByteArray, data);
    QFETCH(int, games);
    const QString cache = m_dir.filePath(u"library"_qs);
    const QBLibraryCache::Source source{folder, QBDocument::Folder, false};
    QDir().mkpath(cache);
    const QString file = cache + u'/' + QBLibraryCache::fileName(source);
    QVERIFY(QBTestFiles::write(file, data));
    const std::optional<QList<QVariantMap>> read = QBLibraryCache::read(cache, source);
    QCOMPARE(read ? int(read->size()) : -1, games);
    QCOMPARE(QFile::exists(file), games >= 0);
    if (read && !read->isEmpty()) {
        QCOMPARE(read->first().value(u"title"_qs).toString(), u"Alpha"_qs);
        QCOMPARE(read->first().value(u"coverPath"_qs).toString(), QBSupportFolder::coverPath(u"RQAE01"_qs));
    }
}

// A file converted onto itself goes through --remove; a split below 1 MiB
// is none, and compression is for WIA only.
void tst_QBDocument::conversionCommand()
{
    const auto game = [](const QString &filename) { return QVariantMap{{u"id"_qs, u"RABC01"_qs}, {u"filename"_qs, filename}}; };
    QBAdding::Command command = QBAdding::conversionCommand(QBDocument::Folder, game(u"/v/a.wbfs"_qs), u"/v/a.wbfs"_qs,
                                                            u"/dev/sdb1"_qs, 4096, u"lzma"_qs);
    QCOMPARE(command.launchPath, 0);
    QCOMPARE(command.arguments.join(u' '),
             u"copy --source /v/a.wbfs --dest /v/a.wbfs --overwrite --sections --progress --remove --split"_qs);
    QCOMPARE(command.display, u"Convert '/v/a.wbfs' < '/v/a.wbfs'"_qs);
    command = QBAdding::conversionCommand(QBDocument::Folder, game(u"/v/a.iso"_qs), u"/w/a.wbfs"_qs, u"/dev/sdb1"_qs, -5,
                                          u"bzip2"_qs);
    QCOMPARE(command.arguments.join(u' '), u"copy --source /v/a.iso --dest /w/a.wbfs --overwrite --sections --progress"_qs);
}

// The window tests see the questions' wording; here, the lists of names:
// same IDs name nine and "...", collisions every one.
void tst_QBDocument::skipAlert()
{
    QBAlert alert = QBAdding::skipAlert(QBAdding::Screening::SameID, names(12));
    QCOMPARE(alert.informativeText, (names(9) << u"..."_qs).join(u'\n'));
    QCOMPARE((QStringList{alert.defaultButton, alert.alternateButton, alert.otherButton}),
             (QStringList{u"Skip"_qs, u"Continue"_qs, u"Cancel"_qs}));
    alert = QBAdding::skipAlert(QBAdding::Screening::Collision, names(10));
    QCOMPARE(alert.informativeText, names(10).join(u'\n'));
}

void tst_QBDocument::renamedPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("renamed");
    // The extension stays whatever the conversion format setting says.
    QTest::newRow("the last extension only") << u"/v/a.b.iso"_qs << u"/v/B.iso"_qs;
    QTest::newRow("no extension, no dot") << u"/v/FST"_qs << u"/v/B"_qs;
    QTest::newRow("a hidden file has no extension") << u"/v/.a"_qs << u"/v/B"_qs;
    QTest::newRow("top folder") << u"/a.wdf"_qs << u"/B.wdf"_qs;
}

void tst_QBDocument::renamedPath()
{
    QFETCH(QString, path);
    QTEST(QBEditing::renamedPath(path, u"B"_qs), "renamed");
}

void tst_QBDocument::carriesTheRecords()
{
    const std::unique_ptr<QMimeData> data(QBDragData::mimeData(dragged));
    QCOMPARE(data->formats(), QStringList{QBDragData::mimeType});
    const std::optional<QList<QVariantMap>> games = QBDragData::games(data.get());
    QVERIFY(games);
    QCOMPARE(games->size(), 2);
    const QVariantMap &first = games->first();
    QCOMPARE(first.value(u"size"_qs).toDouble(), 4.37);
    QCOMPARE(first.value(u"languages"_qs).toStringList(), (QStringList{u"EN"_qs, u"FR"_qs}));
    QCOMPARE(first.value(u"date"_qs).toDateTime(), QDateTime(QDate(2009, 3, 1), QTime(0, 0), Qt::UTC));
    // The cover comes back from the cache, not from the drag.
    QVERIFY(!first.contains(u"cover"_qs));
}

void tst_QBDocument::refusesOtherData_data()
{
    QTest::addColumn<QByteArray>("data");
    auto payload = [](const QString &format, qint64 version, const QCborValue &games) {
        QCborMap root;
        root.insert(u"format"_qs, format);
        root.insert(u"version"_qs, version);
        root.insert(u"games"_qs, games);
        return QCborValue(root).toCbor();
    };
    const QCborArray one{QCborMap{{u"id"_qs, u"RQAE01"_qs}, {u"filename"_qs, u"/v/a.wbfs"_qs}}};
    QTest::newRow("text") << QByteArray("file:///v/a.wbfs\r\n");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("another format") << payload(u"QBList"_qs, 1, one);
    QTest::newRow("another version") << payload(u"QBDrag"_qs, 2, one);
    QTest::newRow("no games") << payload(u"QBDrag"_qs, 1, QCborArray());
    QTest::newRow("games not a list") << payload(u"QBDrag"_qs, 1, u"RQAE01"_qs);
    QTest::newRow("a game without a file")
            << payload(u"QBDrag"_qs, 1, QCborArray{QCborMap{{u"id"_qs, u"RQAE01"_qs}}});
    QTest::newRow("a game without an ID")
            << payload(u"QBDrag"_qs, 1, QCborArray{QCborMap{{u"id"_qs, 5}, {u"filename"_qs, u"/v/a"_qs}}});
    QTest::newRow("trailing bytes") << QBDragData::encode(dragged) + QByteArray("\xff\x00", 2);
    // Any other damage is the fuzz target's (tests/fuzz/fuzz_dragdata.cpp).
    const QByteArray whole = QBDragData::encode(dragged);
    for (qsizetype size = 1; size < whole.size(); ++size)
        QTest::addRow("cut at %lld", qlonglong(size)) << whole.left(size);
    // Found by fuzzing: the value checked was the first, the value kept the last.
    QTest::newRow("an ID twice, the one kept not text")
            << QBDragData::encode({{{u"id"_qs, u"RQAE01"_qs}, {u"filename"_qs, u"/v/a"_qs}, {u"iz"_qs, false}}})
                       .replace(QByteArray("\x62iz"), QByteArray("\x62id"));
}

void tst_QBDocument::refusesOtherData()
{
    QFETCH(QByteArray, data);
    QVERIFY(!QBDragData::decode(data));
}

void tst_QBDocument::layouts_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<bool>("fat");
    QTest::addColumn<QVariantMap>("game");
    QTest::addColumn<QString>("name");
    // Empty: refused, for the reason in arguments.
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QStringList>("arguments");

    const QStringList tail{u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs};
    const QStringList fatSplit{u"--split-size"_qs, u"4G-32K"_qs};
    // The loader's own layout for an image and a GameCube game on FAT:
    // --sync and the FAT drive run them with the real tools.
    QTest::newRow("loader, Wii game of a WBFS file, FAT")
            << int(QBConversionLayout::UsbLoader) << true
            << disc(u"RABE01"_qs, u"WBFS/WII"_qs, u"/s/P.wbfs/RABE01"_qs, true) << u"A"_qs
            << u"/d/wbfs/A/RABE01.wbfs"_qs
            << QStringList{u"extract"_qs, u"RABE01"_qs, u"--dest"_qs, u"/d/wbfs/A/RABE01.wbfs"_qs, u"--part"_qs,
                           u"/s/P.wbfs"_qs} + tail + fatSplit;
    // A WBFS file calls its GameCube games Wii games: the ID tells.
    QTest::newRow("Nintendont, GameCube game of a WBFS file")
            << int(QBConversionLayout::Nintendont) << false
            << disc(u"GABE01"_qs, u"WBFS/WII"_qs, u"/s/P.wbfs/GABE01"_qs, true) << u"G"_qs << u"/d/games/G/game.iso"_qs
            << QStringList{u"extract"_qs, u"GABE01"_qs, u"--dest"_qs, u"/d/games/G/game.iso"_qs, u"--part"_qs,
                           u"/s/P.wbfs"_qs} + tail + QStringList{u"--split-size"_qs, u"2000M"_qs};
    QTest::newRow("Nintendont refuses Wii games")
            << int(QBConversionLayout::Nintendont) << false << disc(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A"_qs << QString() << QStringList{u"Nintendont loads GameCube games only."_qs};
    QTest::newRow("a loader needs a disc ID")
            << int(QBConversionLayout::UsbLoader) << false << disc(u"../x"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A"_qs << QString()
            << QStringList{u"A loader finds a game by its ID, which is four to six letters and digits."_qs};
    QTest::newRow("custom on FAT: the name cleaned, split whatever the setting")
            << int(QBConversionLayout::Custom) << true << disc(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A: \"B\"? ."_qs << u"/d/A B/A B.wbfs"_qs
            << QStringList{u"copy"_qs, u"--source"_qs, u"/s/a.iso"_qs, u"--dest"_qs, u"/d/A B/A B.wbfs"_qs} + tail
                    + fatSplit;
    QTest::newRow("custom on FAT: nothing left of the name")
            << int(QBConversionLayout::Custom) << true << disc(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"<?>"_qs << QString() << QStringList{u"The file name would be empty."_qs};
}

void tst_QBDocument::layouts()
{
    QFETCH(int, layout);
    QFETCH(bool, fat);
    QFETCH(QVariantMap, game);
    QFETCH(QString, name);
    QFETCH(QString, destination);
    QFETCH(QStringList, arguments);
    const QBAdding::FolderRules rules{Layout(layout), u"wbfs"_qs, true, 2000, u"lzma"_qs, fat};
    const QString refusal = QBAdding::refusal(game, name, rules);
    if (destination.isEmpty()) {
        QCOMPARE(refusal, arguments.first());
        return;
    }
    QCOMPARE(refusal, QString());
    QCOMPARE(QBAdding::folderDestination(u"/d"_qs, game, name, rules), destination);
    QCOMPARE(QBAdding::conversionCommand(QBDocument::Folder, game, destination, u"/d"_qs, rules.splitSize,
                                         rules.compressionMode, rules.fat)
                     .arguments,
             arguments);
}

void tst_QBDocument::patternText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::newRow("title and ID") << u"{title} [{id}]"_qs << true;
    QTest::newRow("unknown token") << u"{name}"_qs << false;
    QTest::newRow("unclosed token") << u"{title"_qs << false;
    QTest::newRow("stray brace") << u"a}"_qs << false;
    QTest::newRow("illegal character") << u"{id}/x"_qs << false;
    QTest::newRow("empty") << QString() << false;
}

void tst_QBDocument::patternText()
{
    QFETCH(QString, text);
    const auto pattern = QBFilenamePattern::fromText(text);
    QTEST(pattern.has_value(), "valid");
    if (pattern) {
        QCOMPARE(pattern->stringValueForGame(QVariantMap{{u"title"_qs, u"Space: Race"_qs}, {u"id"_qs, u"RABE01"_qs}}),
                 u"Space Race [RABE01]"_qs);
    }
}

void tst_QBDocument::missingGames()
{
    std::unique_ptr<QBDocument> here(QBDocument::create(m_dir.path(), QBDocument::Folder, 1));
    std::unique_ptr<QBDocument> there(QBDocument::create(m_dir.path(), QBDocument::Folder, 1));
    for (const char *id : {"RQ0E01", "RQ1E01", "RQ2E01", "RQ3E01"})
        here->browsingDidFinish({{u"game"_qs, disc(QString::fromLatin1(id), u"ISO/WII"_qs, u"/h/"_qs + QLatin1String(id))}});
    for (const char *id : {"RQ1E01", "RQ3E01", "RQ9E01"})
        there->browsingDidFinish({{u"game"_qs, disc(QString::fromLatin1(id), u"ISO/WII"_qs, u"/t/"_qs + QLatin1String(id))}});
    // A game hidden by the other window's search is still listed there.
    there->updateFilter(u"RQ9"_qs);
    QStringList missing;
    for (const int index : here->indexesOfGamesMissingFrom(*there))
        missing << here->arrangedGame(index).value(u"id"_qs).toString();
    missing.sort();
    QCOMPARE(missing, (QStringList{u"RQ0E01"_qs, u"RQ2E01"_qs}));
    QVERIFY(there->indexesOfGamesMissingFrom(*there).isEmpty());
}

// A real FAT32 file system, mounted through FUSE since the kernel's vfat
// may not be there.
void tst_QBDocument::fatDrive()
{
    const QString mkfs = QStandardPaths::findExecutable(u"mkfs.vfat"_qs, {u"/usr/sbin"_qs, u"/sbin"_qs});
    const QString fusefat = QStandardPaths::findExecutable(u"fusefat"_qs);
    const QString fusermount = QStandardPaths::findExecutable(u"fusermount"_qs);
    if (mkfs.isEmpty() || fusefat.isEmpty() || fusermount.isEmpty() || !QFileInfo(u"/dev/fuse"_qs).isWritable())
        QSKIP("FUSE, fusefat or mkfs.vfat is missing (packages fuse, fusefat, dosfstools)");
    const QString image = m_dir.filePath(u"fat32.img"_qs);
    const QString mount = m_dir.filePath(u"fat"_qs);
    QVERIFY(QDir().mkpath(mount));
    QVERIFY(QBTestFiles::write(image, {}) && QFile::resize(image, qint64(256) << 20));
    QVERIFY2(QBTestImages::run(mkfs, {u"-F"_qs, u"32"_qs, image}), qPrintable(QBTestImages::lastError()));
    QProcess fuse;
    // fusefat talks on every write; an unread pipe would stall the drive.
    fuse.setStandardOutputFile(QProcess::nullDevice());
    fuse.setStandardErrorFile(QProcess::nullDevice());
    fuse.start(fusefat, {u"-f"_qs, u"-o"_qs, u"rw+"_qs, image, mount});
    const auto unmount = qScopeGuard([&] {
        QProcess::execute(fusermount, {u"-u"_qs, mount});
        if (!fuse.waitForFinished(5000))
            fuse.kill();
        fuse.waitForFinished();
    });
    QTRY_VERIFY_WITH_TIMEOUT(QBFilesystemCenter::isFat(mount), 10000);
    QVERIFY(!QBFilesystemCenter::isFat(m_dir.path()));

    // A drop's or a sync's conversions onto it are split below 4 GiB.
    const QString source = m_dir.filePath(u"fatsource"_qs);
    QVERIFY(!QBTestImages::makeGameCubeImage(source + u"/g.iso"_qs, u"GQGE01"_qs, u"Golf: Cube"_qs).isEmpty());
    const Run plan = sync({source, mount, u"--layout"_qs, u"nintendont"_qs, u"--dry-run"_qs});
    QCOMPARE(plan.exitCode, 0);
    QCOMPARE(plan.plan.size(), 1);
    QCOMPARE(plan.plan.first().value(u"destinationPath"_qs).toString(), mount + u"/games/Golf Cube [GQGE01]/game.iso"_qs);
    QVERIFY(plan.plan.first().value(u"arguments"_qs).toVariant().toStringList().join(u' ').endsWith(u"--split-size 4G-32K"_qs));

    // The tool itself splits onto the mount: a GameCube game of just over
    // 100 MB of data, as WBFS in parts below the split size, reads back whole.
    const QString big = m_dir.filePath(u"big.iso"_qs);
    QVERIFY(!QBTestImages::makeGameCubeImage(big, u"GQHE01"_qs, u"Heavy Cube"_qs, qint64(105) << 20).isEmpty());
    const QString landed = mount + u"/wbfs/Heavy Cube [GQHE01]/GQHE01.wbfs"_qs;
    QVERIFY(QDir().mkpath(QFileInfo(landed).path()));
    QVERIFY2(QBTestImages::run(u"wit"_qs, {u"copy"_qs, u"--split-size"_qs, u"100M"_qs, big, landed}),
             qPrintable(QBTestImages::lastError()));
    const QString second = mount + u"/wbfs/Heavy Cube [GQHE01]/GQHE01.wbf1"_qs;
    QVERIFY(QFileInfo::exists(second));
    for (const QString &part : QStringList{landed, second})
        QVERIFY(QFileInfo(part).size() <= qint64(100) << 20);
    QString listed;
    QVERIFY2(QBTestImages::run(u"wit"_qs, {u"list"_qs, u"--sections"_qs, landed}, &listed),
             qPrintable(QBTestImages::lastError()));
    QVERIFY2(listed.contains(u"id=GQHE01"_qs), qPrintable(listed));

    // The program's own files go there without permissions, which FAT has
    // none of.
    QCOMPARE(QBLoaderDrive::put(mount, QBLoaderDrive::databasePath(), "<datafile/>", false), QBLoaderDrive::Put::Written);
    QCOMPARE(QBLoaderDrive::put(mount, QBLoaderDrive::databasePath(), "other", false), QBLoaderDrive::Put::Exists);
    QCOMPARE(QBTestFiles::read(mount + u"/apps/usbloader_gx/wiitdb.xml"_qs), QByteArray("<datafile/>"));
}

tst_QBDocument::Run tst_QBDocument::sync(const QStringList &arguments)
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral(PALOMET_PATH), QStringList{u"--sync"_qs} + arguments);
    Run run;
    if (!process.waitForFinished(120000))
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
        if (!line.isEmpty())
            run.plan << QJsonDocument::fromJson(line).object();
    }
    run.errors = process.readAllStandardError();
    return run;
}

QStringList tst_QBDocument::filesUnder(const QString &folder) const
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next().mid(folder.size() + 1);
    files.sort();
    return files;
}

// --sync with the real tools: a folder of images onto a loader's folder and
// onto a WBFS file, planned, done, and planned again.
void tst_QBDocument::sync()
{
    const QString source = m_dir.filePath(u"games"_qs);
    const QString drive = m_dir.filePath(u"drive"_qs);
    const QString container = m_dir.filePath(u"PART.wbfs"_qs);
    QVERIFY(!QBTestImages::makeWiiImage(source + u"/a.wbfs"_qs, u"RQAE01"_qs, u"Alpha Quest"_qs).isEmpty());
    QVERIFY(!QBTestImages::makeGameCubeImage(source + u"/g.iso"_qs, u"GQGE01"_qs, u"Golf Cube"_qs).isEmpty());
    QVERIFY(!QBTestImages::makeWbfsFile(container, {}).isEmpty());
    QVERIFY(QDir().mkpath(drive));

    const QStringList loader{u"--layout"_qs, u"usbloader"_qs};
    Run run = sync(QStringList{source, drive, u"--dry-run"_qs} + loader);
    QCOMPARE(run.exitCode, 0);
    QStringList planned;
    for (const QJsonObject &game : std::as_const(run.plan))
        planned << game.value(u"id"_qs).toString() + u' ' + game.value(u"destinationPath"_qs).toString();
    planned.sort();
    QCOMPARE(planned, (QStringList{u"GQGE01 "_qs + drive + u"/games/Golf Cube [GQGE01]/game.iso"_qs,
                                   u"RQAE01 "_qs + drive + u"/wbfs/Alpha Quest [RQAE01]/RQAE01.wbfs"_qs}));
    QVERIFY(filesUnder(drive).isEmpty());

    run = sync(QStringList{source, drive} + loader);
    QVERIFY2(run.exitCode == 0, run.errors.constData());
    QCOMPARE(filesUnder(drive), (QStringList{u"apps/usbloader_gx/images/RQAE01.png"_qs,
                                             u"games/Golf Cube [GQGE01]/game.iso"_qs,
                                             u"wbfs/Alpha Quest [RQAE01]/RQAE01.wbfs"_qs,
                                             u"wiiflow/boxcovers/RQAE01.png"_qs}));
    // Done: nothing more to plan, from the folder or from what is on the drive.
    run = sync(QStringList{source, drive} + loader);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.plan.size(), 0);

    run = sync({source, container});
    QVERIFY2(run.exitCode == 0, run.errors.constData());
    QCOMPARE(run.plan.size(), 2);
    run = sync(QStringList{container, drive, u"--dry-run"_qs} + loader);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.plan.size(), 0);
    QCOMPARE(sync({source, drive, u"--pattern"_qs, u"{name}"_qs}).exitCode, 2);

    // Ctrl-C cancels the running conversion as Cancel does: the tool stops
    // and removes what it was writing. A disc of 400 MiB takes wit seconds
    // to compose.
    const QString slow = m_dir.filePath(u"slow"_qs);
    QVERIFY(QBTestImages::makeWiiTree(slow + u"/Big"_qs, u"RQBE01"_qs, u"Big"_qs, qint64(400) << 20));
    const QString cancelled = m_dir.filePath(u"cancelled"_qs);
    QVERIFY(QDir().mkpath(cancelled));
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral(PALOMET_PATH), {u"--sync"_qs, slow, cancelled});
    const auto stop = qScopeGuard([&process] {
        process.kill();
        process.waitForFinished();
    });
    QByteArray progress;
    QTRY_VERIFY_WITH_TIMEOUT((progress += process.readAllStandardError()).contains("Conversion started."), 20000);
    // The tool's file is there, being written.
    QTRY_VERIFY_WITH_TIMEOUT(!filesUnder(cancelled).isEmpty(), 20000);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 128 + SIGINT);
    const QStringList left = filesUnder(cancelled);
    QVERIFY2(left.isEmpty(), qPrintable(left.join(u", "_qs)));
}

QTEST_GUILESS_MAIN(tst_QBDocument)
#include "tst_qbdocument.moc"
