// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "document/qbdocument.h"
#include "document/qbdocumentadding.h"
#include "document/qbdocumentediting.h"
#include "document/qbdragdata.h"
#include "document/qbgamefiltermodel.h"
#include "document/qblibrarycache.h"
#include "gamedata/qbgamecenter.h"
#include "qbscriptedalerts.h"

#include <QAbstractItemModelTester>
#include <QCborMap>
#include <QCborValue>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QDir>
#include <QMimeData>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(QBDocumentCommand)

namespace {

// The views of a window, as the document sees them.
struct FakeViews : QBDocumentViews
{
    int clicked = -1;
    QList<int> rows;
    QStringList visibleColumns;

    int tableClickedRow() const override { return clicked; }
    QList<int> tableSelectedRows() const override { return rows; }
    QList<int> gridSelectionIndexes() const override { return rows; }
    bool isColumnVisible(const QString &key) const override { return visibleColumns.contains(key); }
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

QVariantMap added(const QString &id, const QString &filename, bool onWBFS)
{
    return {{u"id"_qs, id}, {u"filename"_qs, filename}, {u"isOnWBFS"_qs, onWBFS}};
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

class tst_QBDocument : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void validation_data();
    void validation();
    void selectionAndNames();
    void unexpectedValues();
    void revealShowsTheFile();
    void libraryCacheFiles_data();
    void libraryCacheFiles();
    void conversionCommand_data();
    void conversionCommand();
    void skipAlert_data();
    void skipAlert();
    void renamedPath_data();
    void renamedPath();
    void carriesTheRecords();
    void refusesOtherData_data();
    void refusesOtherData();

private:
    std::unique_ptr<QBDocument> listed(int type, int count);

    QTemporaryDir m_dir;
    QProcess m_bus;
    std::unique_ptr<QBGameCenter> m_center;
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
}

void tst_QBDocument::cleanupTestCase()
{
    m_center.reset();
    m_bus.kill();
    m_bus.waitForFinished();
}

// A document of the given type whose list holds count games, reported as
// a browse reports them (a database document gets them as records).
std::unique_ptr<QBDocument> tst_QBDocument::listed(int type, int count)
{
    std::unique_ptr<QBDocument> document(QBDocument::create(m_dir.path(), type, 1));
    for (int i = 0; i < count; ++i) {
        const QVariantMap record = game(u"RQ%1E01"_qs.arg(i), u"Game %1"_qs.arg(i), m_dir.filePath(u"g%1.wbfs"_qs.arg(i)));
        if (type == QBDocument::Database)
            document->gameList()->addRecords({record});
        else
            document->browsingDidFinish({{u"game"_qs, record}});
    }
    return document;
}

void tst_QBDocument::validation_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("browsing");
    QTest::addColumn<QList<int>>("selection");
    QTest::addColumn<int>("clicked");
    QTest::addColumn<QString>("detailsOwner"); // "this", "other" or ""
    QTest::addColumn<QBDocumentCommand>("command");
    QTest::addColumn<QVariant>("item");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<int>("state"); // -1 none, 0 off, 1 on

    using C = QBDocumentCommand;
    const QList<int> none;
    const QList<int> one{1};
    const QVariant noItem;
    QTest::newRow("folder: reveal, none selected") << 0 << false << none << -1 << "" << C::OpenInFinder << noItem << false << -1;
    QTest::newRow("folder: rename, clicked row") << 0 << true << none << 2 << "" << C::RenameGame << noItem << true << -1;
    QTest::newRow("partition: rename") << 1 << false << one << -1 << "" << C::RenameGame << noItem << false << -1;
    QTest::newRow("partition: reveal") << 1 << false << one << -1 << "" << C::OpenInFinder << noItem << false << -1;
    QTest::newRow("partition: recover, none selected") << 1 << false << none << -1 << "" << C::RecoverRemovedGames << noItem << true << -1;
    QTest::newRow("database: remove") << 2 << false << one << -1 << "" << C::RemoveGame << noItem << false << -1;
    QTest::newRow("database: rename") << 2 << false << one << -1 << "" << C::RenameGame << noItem << false << -1;
    QTest::newRow("database: recover") << 2 << false << one << -1 << "" << C::RecoverRemovedGames << noItem << false << -1;
    QTest::newRow("details, none selected, shown here") << 0 << false << none << -1 << "this" << C::ToggleDetailsView << noItem << true << -1;
    QTest::newRow("details, none selected, shown elsewhere") << 1 << false << none << -1 << "other" << C::ToggleDetailsView << noItem << false << -1;
    QTest::newRow("details, none selected, closed") << 2 << false << none << -1 << "" << C::ToggleDetailsView << noItem << false << -1;
    // The search item is on only for the very key object held as context.
    QTest::newRow("search: the context's key") << 0 << false << none << -1 << "" << C::UpdateContext
                                               << QVariant(QBGameCenter::searchMenuKeys().last()) << true << 1;
    QTest::newRow("search: an equal copy") << 0 << false << none << -1 << "" << C::UpdateContext
                                           << QVariant(QString::fromLatin1("title")) << true << 0;
    QTest::newRow("unknown command") << 2 << true << none << -1 << "" << C::Other << noItem << true << -1;
}

void tst_QBDocument::validation()
{
    QFETCH(int, type);
    QFETCH(bool, browsing);
    QFETCH(QList<int>, selection);
    QFETCH(int, clicked);
    QFETCH(QString, detailsOwner);
    QFETCH(QBDocumentCommand, command);
    QFETCH(QVariant, item);
    QFETCH(bool, enabled);
    QFETCH(int, state);

    std::unique_ptr<QBDocument> document = listed(type, 3);
    FakeViews views;
    views.rows = selection;
    views.clicked = clicked;
    views.visibleColumns = QStringList{u"title"_qs, u"filetype"_qs};
    document->setViews(&views);
    if (browsing) {
        // Listing an empty folder with the real tool; the rules are read
        // before the listing reports.
        if (type != QBDocument::Database)
            document->browse();
        QCOMPARE(document->isBrowsing(), type != QBDocument::Database);
    }
    QObject other;
    m_center->setDetailsViewOwner(detailsOwner == u"this"_qs ? document.get()
                                          : detailsOwner == u"other"_qs ? &other : nullptr);

    const QBItemValidation validation = document->validateUserInterfaceItem(command, item);
    QCOMPARE(validation.enabled, enabled);
    QCOMPARE(validation.state.has_value(), state >= 0);
    if (state >= 0)
        QCOMPARE(*validation.state, state == 1);
    m_center->setDetailsViewOwner(nullptr);
}

// Which games the commands act on when nothing is selected, or a row of the
// selection was clicked; the windows' tests cover the rest.
void tst_QBDocument::selectionAndNames()
{
    std::unique_ptr<QBDocument> document = listed(QBDocument::Folder, 4);
    FakeViews views;
    document->setViews(&views);
    QVERIFY(!document->selectedGames().has_value());
    QVERIFY(!document->selectedGame().has_value());
    views.rows = {0, 3};
    views.clicked = 3;
    QCOMPARE(document->selectedGame()->value(u"id"_qs).toString(), u"RQ3E01"_qs);
    // The grid's subtitle: file type and decimal gigabytes.
    QCOMPARE(document->gameList()->index(0, 0).data(QBGameListModel::SubtitleRole).toString(), u"WBFS/WII, 4.37 GB"_qs);
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
            {{u"id"_qs, u"A"_qs}, {u"title"_qs, u"Ça Märche"_qs}, {u"players"_qs, u"four"_qs}},
            {{u"id"_qs, u"B"_qs}, {u"title"_qs, QVariantList{u"Cab"_qs, 2}}, {u"players"_qs, 2}},
            {{u"id"_qs, 7}, {u"title"_qs, 42}, {u"players"_qs, QVariantMap{{u"x"_qs, 1}}}},
            {{u"title"_qs, image}, {u"region"_qs, QDateTime(QDate(2010, 5, 4), QTime(), Qt::UTC)}},
            {{u"id"_qs, u"E"_qs}},
    });
    const int title = QBGameListModel::columnForKey(u"title"_qs);
    QCOMPARE(games->index(1, title).data().toString(), u"Cab, 2"_qs);
    QCOMPARE(games->index(3, title).data().toString(), QString());
    QCOMPARE(games->index(2, QBGameListModel::columnForKey(u"players"_qs)).data().toString(), QString());
    QVERIFY(!games->index(3, QBGameListModel::columnForKey(u"region"_qs)).data().toString().isEmpty());
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
    document->updateFilter(u"ÇA MAR"_qs);
    QCOMPARE(arrangedIds(), QStringList{u"A"_qs});
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

    std::unique_ptr<QBDocument> document = listed(QBDocument::Folder, 3);
    FakeViews views;
    document->setViews(&views);
    document->openInFinder();
    views.rows = {0, 2};
    document->openInFinder();
    QTRY_COMPARE(manager.shown, QStringList{QUrl::fromLocalFile(m_dir.filePath(u"g2.wbfs"_qs)).toString()});
    QCOMPARE(manager.startupId, QString());
    bus.unregisterService(u"org.freedesktop.FileManager1"_qs);
}

void tst_QBDocument::libraryCacheFiles_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QByteArray>("data");
    // -1: the file is not trusted and goes.
    QTest::addColumn<int>("games");

    const QString folder = m_dir.filePath(u"cached"_qs);
    QDir().mkpath(folder);
    for (const QString &name : {u"a.wbfs"_qs, u"b.wbfs"_qs, u"c.wbfs"_qs}) {
        QFile file(folder + u'/' + name);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("image") == 5);
    }
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
    QFile changed(folder + u"/c.wbfs"_qs);
    QVERIFY(changed.open(QIODevice::Append) && changed.write("more") == 4);
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
    QFile file(cache + u'/' + QBLibraryCache::fileName(source));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size());
    file.close();
    const std::optional<QList<QVariantMap>> read = QBLibraryCache::read(cache, source);
    QCOMPARE(read ? int(read->size()) : -1, games);
    QCOMPARE(file.exists(), games >= 0);
    if (read && !read->isEmpty()) {
        QCOMPARE(read->first().value(u"title"_qs).toString(), u"Alpha"_qs);
        QCOMPARE(read->first().value(u"coverPath"_qs).toString(), QBSupportFolder::coverPath(u"RQAE01"_qs));
    }
}

void tst_QBDocument::conversionCommand_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariantMap>("game");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<qint64>("splitSize");
    QTest::addColumn<QString>("compression");
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("display");

    // A partition never gets split or compression options, whatever the
    // settings, and updates rather than overwrites.
    QTest::newRow("partition game into a partition")
            << 1 << added(u"RABC01"_qs, u"/dev/sdc1/RABC01"_qs, true) << u"/dev/sdb1/RABC01"_qs << qint64(4096)
            << u"lzma"_qs << 1 << u"add --source /dev/sdc1/RABC01 --part /dev/sdb1 --update --sections --progress"_qs
            << u"Add '/dev/sdb1/RABC01' < '/dev/sdc1/RABC01'"_qs;
    QTest::newRow("same file: --remove, then --split")
            << 0 << added(u"RABC01"_qs, u"/v/a.wbfs"_qs, false) << u"/v/a.wbfs"_qs << qint64(4096) << u"lzma"_qs << 0
            << u"copy --source /v/a.wbfs --dest /v/a.wbfs --overwrite --sections --progress --remove --split"_qs
            << u"Convert '/v/a.wbfs' < '/v/a.wbfs'"_qs;
    QTest::newRow("no split below 1 MiB, compression for .wia only")
            << 0 << added(u"RABC01"_qs, u"/v/a.iso"_qs, false) << u"/w/a.wbfs"_qs << qint64(-5) << u"bzip2"_qs << 0
            << u"copy --source /v/a.iso --dest /w/a.wbfs --overwrite --sections --progress"_qs
            << u"Convert '/w/a.wbfs' < '/v/a.iso'"_qs;
}

void tst_QBDocument::conversionCommand()
{
    QFETCH(int, type);
    QFETCH(QVariantMap, game);
    QFETCH(QString, destination);
    QFETCH(qint64, splitSize);
    QFETCH(QString, compression);
    QFETCH(QString, arguments);
    const QBAdding::Command command =
            QBAdding::conversionCommand(type, game, destination, u"/dev/sdb1"_qs, splitSize, compression);
    QTEST(command.launchPath, "launchPath");
    QCOMPARE(command.arguments, arguments.split(u' '));
    QTEST(command.display, "display");
}

void tst_QBDocument::skipAlert_data()
{
    QTest::addColumn<int>("screening");
    QTest::addColumn<QStringList>("filenames");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("informativeText");

    QTest::newRow("one same ID") << int(QBAdding::Screening::SameID) << names(1)
                                 << u"'/v/game1.wbfs' has an ID that already exists on the destination drive. "
                                    "Do you want to skip it?"_qs
                                 << u"/v/game1.wbfs"_qs;
    QTest::newRow("12 same IDs: 9 names and ...")
            << int(QBAdding::Screening::SameID) << names(12)
            << u"12 files have an ID that already exists on the destination drive. Do you want to skip them?"_qs
            << (names(9) << u"..."_qs).join(u'\n');
    QTest::newRow("10 collisions: every name")
            << int(QBAdding::Screening::Collision) << names(10)
            << u"10 files already exist or are being transferred to the destination drive. "
               "Do you want to skip them?"_qs
            << names(10).join(u'\n');
}

void tst_QBDocument::skipAlert()
{
    QFETCH(int, screening);
    QFETCH(QStringList, filenames);
    const QBAlert alert = QBAdding::skipAlert(QBAdding::Screening(screening), filenames);
    QTEST(alert.message, "message");
    QTEST(alert.informativeText, "informativeText");
    QCOMPARE((QStringList{alert.defaultButton, alert.alternateButton, alert.otherButton}),
             (QStringList{u"Skip"_qs, u"Continue"_qs, u"Cancel"_qs}));
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
    QCOMPARE(QBEditing::moveArguments(path, u"/v/B.x"_qs),
             (QStringList{u"move"_qs, u"--source"_qs, path, u"--dest"_qs, u"/v/B.x"_qs, u"--sections"_qs}));
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

QTEST_GUILESS_MAIN(tst_QBDocument)
#include "tst_qbdocument.moc"
