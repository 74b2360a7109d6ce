// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "document/qbdocument.h"
#include "document/qbgamefiltermodel.h"
#include "document/qblibrarycache.h"
#include "gamedata/qbgamecenter.h"
#include "qbscriptedalerts.h"

#include <QAbstractItemModelTester>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QDir>
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
    QTest::newRow("folder: remove, none selected") << 0 << false << none << -1 << "" << C::RemoveGame << noItem << false << -1;
    QTest::newRow("folder: rename, none selected") << 0 << false << none << -1 << "" << C::RenameGame << noItem << false << -1;
    QTest::newRow("folder: reveal, none selected") << 0 << false << none << -1 << "" << C::OpenInFinder << noItem << false << -1;
    QTest::newRow("folder: rename, clicked row") << 0 << true << none << 2 << "" << C::RenameGame << noItem << true << -1;
    QTest::newRow("partition: remove") << 1 << false << one << -1 << "" << C::RemoveGame << noItem << true << -1;
    QTest::newRow("partition: rename") << 1 << false << one << -1 << "" << C::RenameGame << noItem << false << -1;
    QTest::newRow("partition: reveal") << 1 << false << one << -1 << "" << C::OpenInFinder << noItem << false << -1;
    QTest::newRow("partition: recover, none selected") << 1 << false << none << -1 << "" << C::RecoverRemovedGames << noItem << true << -1;
    QTest::newRow("database: remove") << 2 << false << one << -1 << "" << C::RemoveGame << noItem << false << -1;
    QTest::newRow("database: rename") << 2 << false << one << -1 << "" << C::RenameGame << noItem << false << -1;
    QTest::newRow("database: recover") << 2 << false << one << -1 << "" << C::RecoverRemovedGames << noItem << false << -1;
    QTest::newRow("details, selected") << 0 << false << one << -1 << "other" << C::ToggleDetailsView << noItem << true << -1;
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
    QCOMPARE(QBDocument::displayStringForGames(QList<QBListedGame>()), u"0 files"_qs);
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

QTEST_GUILESS_MAIN(tst_QBDocument)
#include "tst_qbdocument.moc"
