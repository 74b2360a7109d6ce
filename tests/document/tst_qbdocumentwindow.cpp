// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "document/qbdocumentwindow.h"
#include "document/qbfilesystem.h"
#include "document/qbgamefiltermodel.h"
#include "document/qblibrarycache.h"
#include "gamedata/qbdetailspopover.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "qbscriptedalerts.h"
#include "qbtesthttpserver.h"
#include "qbtestimages.h"
#include "tasks/qboperationqueue.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QBuffer>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QProgressBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTimer>
#include <QToolButton>

#include <memory>

namespace {

const QString titleKey = u"title"_qs;

QImage picture(QRgb color)
{
    QImage image(176, 248, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

QByteArray png(const QImage &image)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

bool waitListed(QBDocumentWindow *window)
{
    return QTest::qWaitFor([window] { return !window->document()->isBrowsing(); }, 30000);
}

QStringList arrangedValues(QBDocumentWindow *window, const QString &key)
{
    QStringList values;
    for (const QBListedGame &game : window->document()->games())
        values << game.value(key).toString();
    return values;
}

QPoint rowPoint(QTableView *table, int row)
{
    const int column = QBGameListModel::columnForKey(titleKey);
    return {table->columnViewportPosition(column) + 10, table->rowViewportPosition(row) + table->rowHeight(row) / 2};
}

QPoint coverPoint(QListView *grid, int index)
{
    return grid->visualRect(grid->model()->index(index, grid->modelColumn())).center();
}

// Opens the view's context menu at position, as a right-click does, and
// runs inMenu while it is open; the menu is closed after it.
void rightClick(QAbstractItemView *view, const QPoint &position, const std::function<void()> &inMenu)
{
    QTimer::singleShot(0, view, [inMenu] {
        inMenu();
        if (QWidget *menu = QApplication::activePopupWidget())
            menu->close();
    });
    QContextMenuEvent event(QContextMenuEvent::Mouse, position, view->viewport()->mapToGlobal(position));
    QApplication::sendEvent(view->viewport(), &event);
}

QAction *item(QMenu *menu, const QString &key)
{
    for (QAction *action : menu->actions()) {
        if (action->data().toString() == key)
            return action;
    }
    return nullptr;
}

// The items of a menu that are checked, once it has been opened.
QStringList checkedItems(QMenu *menu)
{
    menu->popup(QPoint(0, 0));
    QStringList keys;
    for (const QAction *action : menu->actions()) {
        if (action->isChecked())
            keys << action->data().toString();
    }
    menu->close();
    return keys;
}

}

class tst_QBDocumentWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void listingAndSharedFreeSpace();
    void sourcesThatFail();
    void selectionDisplayModesAndDetails();
    void filterSortColumnsAndReload();
    void coversAndDatabaseUpdates();
    void reopenedFromTheLibraryCache();
    void liveSources();

private:
    QBDocumentWindow *open(const QString &path, int type);

    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBGameCenter> m_center;
    std::unique_ptr<QBGameDataMenus> m_menus;
    QList<QPointer<QBDocumentWindow>> m_windows;
    std::vector<std::unique_ptr<QAbstractItemModelTester>> m_testers;
};

void tst_QBDocumentWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QBSupportFolder::setLocation(m_dir.filePath(u"support"_qs));
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
}

void tst_QBDocumentWindow::init()
{
    QSettings().clear();
    QBSettings::setValue(SettingsKey::languages, QStringList{u"en"_qs});
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    m_alerts = std::make_unique<QBScriptedAlerts>();
    m_center = std::make_unique<QBGameCenter>();
    QTRY_VERIFY(!m_center->isParsing());
    m_menus = std::make_unique<QBGameDataMenus>(m_center.get());
}

void tst_QBDocumentWindow::cleanup()
{
    m_testers.clear();
    for (const QPointer<QBDocumentWindow> &window : std::as_const(m_windows))
        delete window.data();
    m_windows.clear();
    m_menus.reset();
    m_center.reset();
    m_alerts.reset();
}

QBDocumentWindow *tst_QBDocumentWindow::open(const QString &path, int type)
{
    QBDocumentWindow *window = QBDocumentWindow::create(path, type, 1, *m_menus);
    if (!window)
        return nullptr;
    m_windows << window;
    m_testers.push_back(std::make_unique<QAbstractItemModelTester>(window->document()->gameList()));
    m_testers.push_back(std::make_unique<QAbstractItemModelTester>(window->document()->gameListController()));
    window->show();
    if (!QTest::qWaitForWindowExposed(window))
        return nullptr;
    return window;
}

void tst_QBDocumentWindow::listingAndSharedFreeSpace()
{
    QBDocumentWindow *folder = open(m_library.folder, QBDocument::Folder);
    QVERIFY(folder);
    QCOMPARE(folder->windowTitle(), QDir::toNativeSeparators(m_library.folder));
    QCOMPARE(folder->statusTextField()->text(), u"Loading ..."_qs);
    QVERIFY(!folder->reloadButton()->isEnabled());
    QVERIFY(!folder->reloadAction()->isEnabled());
    QCOMPARE(folder->actionForCommand(QBDocumentCommand::Reload), folder->reloadAction());
    QSignalSpy statuses(folder->document(), &QBDocument::statusTextChanged);
    QVERIFY(waitListed(folder));

    QStringList seen;
    for (const QList<QVariant> &status : std::as_const(statuses))
        seen << status.first().toString();
    QCOMPARE(seen.size(), 7);
    QCOMPARE(seen.first(), u"1 game found, please wait ..."_qs);
    QCOMPARE(seen.at(5), u"6 games found, please wait ..."_qs);
    // Decimal gigabytes of the folder's file system, one decimal.
    const QStorageInfo volume(m_library.folder);
    const float total = float(volume.bytesTotal()) / 1e9f;
    const QRegularExpression final(u"^6 games, ([0-9]+\\.[0-9]) of ([0-9]+\\.[0-9]) GB available$"_qs);
    const QRegularExpressionMatch figures = final.match(folder->statusTextField()->text());
    QVERIFY2(figures.hasMatch(), qPrintable(folder->statusTextField()->text()));
    QCOMPARE(figures.captured(2), QString::number(double(total), 'f', 1));
    QVERIFY(qAbs(figures.captured(1).toDouble() - double(volume.bytesAvailable()) / 1e9) < 0.5);
    QVERIFY(folder->reloadButton()->isEnabled());
    QVERIFY(folder->reloadAction()->isEnabled());

    QBSettings::setValue(SettingsKey::browseRecursively, true);
    QTest::mouseClick(folder->reloadButton(), Qt::LeftButton);
    QVERIFY(waitListed(folder));
    QStringList ids = arrangedValues(folder, u"id"_qs);
    ids.sort();
    QCOMPARE(ids, m_library.allIds);
    QBSettings::setValue(SettingsKey::browseRecursively, false);

    // A WBFS file is a file system of its own: its figures are not its
    // volume's, and its listing tells its neighbour the volume's free space.
    QBFilesystemCenter::shared()->postFilesystemDidChange(folder->document()->filesystem(), 0.0f);
    QVERIFY(folder->statusTextField()->text().startsWith(u"7 games, 0.0 of"_qs));
    QBDocumentWindow *partition = open(m_library.container, QBDocument::Partition);
    QVERIFY(partition);
    QVERIFY(waitListed(partition));
    QVERIFY(partition->document()->filesystem() != folder->document()->filesystem());
    QCOMPARE(partition->document()->totalSpace(), 10.2f);
    const float free = partition->document()->freeSpace();
    QVERIFY(free > 10.0f && free <= 10.2f);
    QCOMPARE(partition->statusTextField()->text(),
             QString::asprintf("3 games, %.1f of 10.2 GB available", double(free)));
    QVERIFY(qAbs(double(folder->document()->freeSpace()) - double(volume.bytesAvailable()) / 1e9) < 0.5);
    QCOMPARE(folder->document()->totalSpace(), total);
    QVERIFY(m_alerts->alerts.isEmpty());

    // A document that is listing keeps its own line; one on another file
    // system leaves the news be.
    folder->reloadAction()->trigger();
    QCOMPARE(folder->statusTextField()->text(), u"Loading ..."_qs);
    const QString partitionLine = partition->statusTextField()->text();
    QBFilesystemCenter::shared()->postFilesystemDidChange(folder->document()->filesystem(), 1.0f);
    QCOMPARE(folder->statusTextField()->text(), u"Loading ..."_qs);
    QCOMPARE(partition->statusTextField()->text(), partitionLine);
    QBFilesystemCenter::shared()->postFilesystemDidChange(partition->document()->filesystem(), 1.0f);
    QCOMPARE(partition->statusTextField()->text(), u"3 games, 1.0 of 10.2 GB available"_qs);
    QVERIFY(waitListed(folder));
}

void tst_QBDocumentWindow::sourcesThatFail()
{
    QVERIFY(!QBDocumentWindow::create(m_dir.filePath(u"missing"_qs), QBDocument::Folder, 1, *m_menus));
    QVERIFY(!QBDocumentWindow::create(m_dir.filePath(u"missing"_qs), QBDocument::Partition, 1, *m_menus));

    QFile notes(m_dir.filePath(u"notes.txt"_qs));
    QVERIFY(notes.open(QIODevice::WriteOnly));
    notes.write("not a partition\n");
    notes.close();
    QBDocumentWindow *notPartition = open(notes.fileName(), QBDocument::Partition);
    QVERIFY(notPartition);
    QVERIFY(waitListed(notPartition));
    QCOMPARE(m_alerts->messages(), QStringList{u"'%1' could not be opened correctly."_qs.arg(notes.fileName())});
    QCOMPARE(m_alerts->alerts.first().informativeText, QString());
    QCOMPARE(m_alerts->alerts.first().defaultButton, u"OK"_qs);
    QCOMPARE(notPartition->statusTextField()->text(), u"0 games, 0.0 of 0.0 GB available"_qs);

    // A folder that disappears while it is open: its watcher lists it again.
    QTemporaryDir gone(m_dir.filePath(u"goneXXXXXX"_qs));
    QVERIFY(QFile::copy(m_library.path(u"Delta [RQDK01].ciso"_qs), gone.filePath(u"Delta.ciso"_qs)));
    QBDocumentWindow *folder = open(gone.path(), QBDocument::Folder);
    QVERIFY(folder);
    QVERIFY(waitListed(folder));
    QCOMPARE(folder->document()->games().size(), 1);
    QVERIFY(gone.remove());
    QTRY_COMPARE(m_alerts->alerts.size(), 2);
    QVERIFY(waitListed(folder));
    QCOMPARE(m_alerts->alerts.last().message, u"'%1' could not be opened correctly."_qs.arg(gone.path()));
    QVERIFY(m_alerts->alerts.last().informativeText.startsWith(u"If you have 'Deep search' checked"_qs));
    QCOMPARE(folder->statusTextField()->text(), u"0 games, 0.0 of 0.0 GB available"_qs);

    // Records with keys missing are listed and drawn all the same.
    folder->document()->browsingDidFinish({{u"game"_qs, QVariantMap{{u"id"_qs, u"RXXE01"_qs}}}});
    folder->document()->browsingDidFinish({{u"game"_qs, QVariantMap()}});
    QCOMPARE(folder->document()->games().size(), 2);
    QVERIFY(!folder->grab().isNull());
    QTest::mouseClick(folder->displayModeSegment(0), Qt::LeftButton);
    QVERIFY(!folder->grab().isNull());
    QCOMPARE(folder->scrollView()->currentWidget(), folder->imageBrowserView());
}

void tst_QBDocumentWindow::selectionDisplayModesAndDetails()
{
    QBDocumentWindow *window = open(m_library.folder, QBDocument::Folder);
    QVERIFY(window);
    QBDocument *document = window->document();
    QSignalSpy current(document, &QBDocument::documentDidBecomeCurrent);
    QWidget other;
    other.show();
    other.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&other));
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window));
    QCOMPARE(current.size(), 1);
    QVERIFY(waitListed(window));
    QTableView *table = window->tableView();
    QListView *grid = window->imageBrowserView();

    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, rowPoint(table, 1));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::ControlModifier, rowPoint(table, 4));
    QCOMPARE(document->selectedIndexes(), (QList<int>{1, 4}));
    QVERIFY(window->revealAction()->isEnabled());
    QVERIFY(window->detailsAction()->isEnabled());

    // A menu opened on an unselected row acts on that row only.
    QList<int> inMenu;
    rightClick(table, rowPoint(table, 2), [&] { inMenu = document->selectedIndexes(); });
    QCOMPARE(inMenu, QList<int>{2});
    QCOMPARE(document->selectedIndexes(), (QList<int>{1, 4}));
    rightClick(table, rowPoint(table, 4), [&] { inMenu = document->selectedIndexes(); });
    QCOMPARE(inMenu, (QList<int>{1, 4}));

    // The selection goes over to the covers, and back.
    QTest::mouseClick(window->displayModeSegment(0), Qt::LeftButton);
    QCOMPARE(window->scrollView()->currentWidget(), grid);
    QCOMPARE(document->displayMode(), 0);
    QCOMPARE(QBSettings::value(SettingsKey::displayMode).toInt(), 0);
    QCOMPARE(document->selectedIndexes(), (QList<int>{1, 4}));
    QTRY_VERIFY(grid->visualRect(grid->model()->index(5, 0)).isValid());
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, coverPoint(grid, 0));
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::ControlModifier, coverPoint(grid, 3));
    QCOMPARE(document->selectedIndexes(), (QList<int>{0, 3}));
    int clicked = 0;
    rightClick(grid, coverPoint(grid, 5), [&] {
        clicked = document->imageBrowserClickedIndex();
        inMenu = document->selectedIndexes();
    });
    QCOMPARE(clicked, 5);
    QCOMPARE(inMenu, QList<int>{5});
    QCOMPARE(document->imageBrowserClickedIndex(), -1);
    QTest::mouseClick(window->displayModeSegment(1), Qt::LeftButton);
    QCOMPARE(window->scrollView()->currentWidget(), table);
    QCOMPARE(document->selectedIndexes(), (QList<int>{0, 3}));
    QCOMPARE(QBSettings::value(SettingsKey::displayMode).toInt(), 1);

    // Double-clicking a row shows its details.
    QBDetailsPopover *popover = QBDetailsPopover::shared();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, rowPoint(table, 3));
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, rowPoint(table, 3));
    QVERIFY(popover->isVisible());
    QCOMPARE(m_center->detailsViewOwner(), document);
    const QBListedGame game = document->arrangedGame(3);
    const QString id = game.value(u"id"_qs).toString();
    QCOMPARE(popover->titleTextField()->text(), game.value(titleKey).toString());
    QCOMPARE(popover->infosTextView()->toPlainText(),
             u"Powered by gametdb.com\nId: %1\nRegion: %2"_qs.arg(id, game.value(u"region"_qs).toString()));
    const QTextCharFormat label = popover->infosTextView()->document()->begin().begin().fragment().charFormat();
    QCOMPARE(label.anchorHref(), u"https://www.gametdb.com/Wii/"_qs + id);
    // Its cover follows a later arrival.
    m_center->setImage(id, picture(qRgb(200, 0, 0)));
    const QImage shown = popover->coverImageView()->pixmap().toImage();
    QCOMPARE(shown.pixelColor(shown.rect().center()), QColor(200, 0, 0));

    // Double-clicking another row while they show closes them.
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, rowPoint(table, 1));
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, rowPoint(table, 1));
    QVERIFY(!popover->isVisible());
    QCOMPARE(m_center->detailsViewOwner(), nullptr);

    // The command shows them; a click elsewhere closes them by itself.
    window->detailsAction()->trigger();
    QVERIFY(popover->isVisible());
    QCOMPARE(popover->titleTextField()->text(), document->arrangedGame(1).value(titleKey).toString());
    QTest::mouseClick(window->searchField(), Qt::LeftButton);
    QVERIFY(!popover->isVisible());
    QCOMPARE(m_center->detailsViewOwner(), nullptr);

    // A change of display mode closes them; so does a reload.
    window->detailsAction()->trigger();
    QVERIFY(popover->isVisible());
    QTest::mouseClick(window->displayModeSegment(0), Qt::LeftButton);
    QVERIFY(!popover->isVisible());
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, coverPoint(grid, 2));
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, coverPoint(grid, 2));
    QVERIFY(popover->isVisible());
    QCOMPARE(popover->titleTextField()->text(), document->arrangedGame(2).value(titleKey).toString());
    QCOMPARE(m_center->detailsViewOwner(), document);
    window->reloadAction()->trigger();
    QVERIFY(!popover->isVisible());
    QVERIFY(waitListed(window));

    // Closing the window closes them, announces the close and keeps the
    // window's frame.
    QTRY_VERIFY(grid->visualRect(grid->model()->index(0, 0)).isValid());
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, coverPoint(grid, 0));
    window->detailsAction()->trigger();
    QVERIFY(popover->isVisible());
    QSignalSpy willClose(document, &QBDocument::documentWillClose);
    window->close();
    QVERIFY(!popover->isVisible());
    QCOMPARE(willClose.size(), 1);
    QVERIFY(!QBSettings::windowFrame(m_library.folder).isEmpty());
}

void tst_QBDocumentWindow::filterSortColumnsAndReload()
{
    QBDocumentWindow *window = open(m_library.folder, QBDocument::Folder);
    QVERIFY(window);
    QVERIFY(waitListed(window));

    // Case and accents are ignored.
    QTest::keyClicks(window->searchField(), u"ca mar"_qs);
    QCOMPARE(arrangedValues(window, u"id"_qs), QStringList{u"RQFP01"_qs});
    window->searchField()->clear();
    QCOMPARE(window->document()->games().size(), 6);

    // A new key refilters the text at once; the menu marks the key in use.
    QCOMPARE(checkedItems(window->searchMenu()), QStringList{titleKey});
    QTest::keyClicks(window->searchField(), u"rqb"_qs);
    QVERIFY(window->document()->games().isEmpty());
    item(window->searchMenu(), u"id"_qs)->trigger();
    QCOMPARE(arrangedValues(window, u"id"_qs), QStringList{u"RQBP01"_qs});
    QCOMPARE(checkedItems(window->searchMenu()), QStringList{u"id"_qs});
    QCOMPARE(window->searchField()->placeholderText(), u"Id"_qs);
    window->searchField()->clear();

    // Sorting by a header click, then the other way.
    QHeaderView *header = window->tableView()->horizontalHeader();
    const QPoint titleHeader(header->sectionViewportPosition(QBGameListModel::columnForKey(titleKey)) + 10,
                             header->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, titleHeader);
    const QStringList sorted{u"Alpha Quest"_qs, u"Beta: The Colon"_qs, u"Ça märche – Ünïcödé 日本"_qs,
                             u"Charlie WIA"_qs, u"Delta CISO"_qs,      u"Golf Cube"_qs};
    QCOMPARE(arrangedValues(window, titleKey), sorted);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, titleHeader);
    QStringList reversed = sorted;
    std::reverse(reversed.begin(), reversed.end());
    QCOMPARE(arrangedValues(window, titleKey), reversed);

    // Columns shown and hidden from the header's menu.
    QStringList visible = checkedItems(window->columnMenu());
    QCOMPARE(visible, (QStringList{u"cover"_qs, u"filename"_qs, u"filetype"_qs, u"id"_qs, u"region"_qs, u"size"_qs, titleKey}));
    QAction *genre = item(window->columnMenu(), u"genre"_qs);
    QAction *region = item(window->columnMenu(), u"region"_qs);
    genre->trigger();
    region->trigger();
    QVERIFY(!window->tableView()->isColumnHidden(QBGameListModel::columnForKey(u"genre"_qs)));
    QVERIFY(window->tableView()->isColumnHidden(QBGameListModel::columnForKey(u"region"_qs)));

    // The layout and the order are the source's: a new window finds them.
    window->close();
    window = open(m_library.folder, QBDocument::Folder);
    QVERIFY(waitListed(window));
    QVERIFY(!window->tableView()->isColumnHidden(QBGameListModel::columnForKey(u"genre"_qs)));
    QVERIFY(window->tableView()->isColumnHidden(QBGameListModel::columnForKey(u"region"_qs)));
    QCOMPARE(arrangedValues(window, titleKey), reversed);

    // A reload removes the shown games only: the hidden ones are listed a
    // second time.
    QTest::keyClicks(window->searchField(), u"BETA"_qs);
    QCOMPARE(window->document()->games().size(), 1);
    window->reloadAction()->trigger();
    QVERIFY(waitListed(window));
    QCOMPARE(window->document()->games().size(), 1);
    window->searchField()->clear();
    QStringList ids = arrangedValues(window, u"id"_qs);
    QCOMPARE(ids.size(), 11);
    QCOMPARE(ids.count(u"RQBP01"_qs), 1);
    QCOMPARE(ids.count(u"RQAE01"_qs), 2);
}

void tst_QBDocumentWindow::coversAndDatabaseUpdates()
{
    // Every cover is on disk but one, which the cover server has.
    QBTestHttpServer server;
    server.setRoute(u"/wii/cover3D/EN/RQAE01.png"_qs, png(picture(qRgb(0, 0, 200))));
    QBSettings::setValue(SettingsKey::coverServer, server.url());
    QBSettings::setValue(SettingsKey::downloadCovers, true);
    for (const QString &id : m_library.allIds) {
        if (id != u"RQAE01"_qs)
            QVERIFY(picture(qRgb(0, 150, 0)).save(QBSupportFolder::coverPath(id)));
    }

    // The library with the WBFS file beside it: three games listed twice.
    QBSettings::setValue(SettingsKey::browseRecursively, true);
    QBDocumentWindow *window = open(m_dir.path(), QBDocument::Folder);
    QVERIFY(window);
    QVERIFY(waitListed(window));
    QCOMPARE(window->document()->games().size(), 10);
    QBGameListModel *games = window->document()->gameList();
    auto versions = [games](const QString &id) {
        QList<int> list;
        for (int row = 0; row < games->rowCount(); ++row) {
            if (games->value(row, u"id"_qs).toString() == id)
                list << games->bundle(row)->imageVersion().toInt();
        }
        return list;
    };
    QTRY_COMPARE(versions(u"RQAE01"_qs), (QList<int>{1, 1}));
    QCOMPARE(versions(u"RQBP01"_qs), (QList<int>{0, 0}));
    QCOMPARE(server.requests(), QStringList{u"/wii/cover3D/EN/RQAE01.png"_qs});
    // Covers on disk are read off the event loop, some maybe after the
    // fetched one arrived.
    for (int row = 0; row < games->rowCount(); ++row) {
        const bool fetched = games->value(row, u"id"_qs).toString() == u"RQAE01"_qs;
        QTRY_COMPARE(games->index(row, 0).data(QBGameListModel::CoverRole).value<QImage>().pixelColor(10, 10),
                     fetched ? QColor(0, 0, 200) : QColor(0, 150, 0));
    }

    // A database that arrives while a filter hides some games: only the
    // shown ones take it in, and the details shown follow.
    QTest::keyClicks(window->searchField(), u"beta"_qs);
    QCOMPARE(window->document()->games().size(), 2);
    QTest::mouseClick(window->tableView()->viewport(), Qt::LeftButton, {}, rowPoint(window->tableView(), 0));
    window->detailsAction()->trigger();
    QBDetailsPopover *popover = QBDetailsPopover::shared();
    QVERIFY(popover->isVisible());
    QVERIFY(!popover->infosTextView()->toPlainText().contains(u"Genre"_qs));
    QFile database(m_dir.filePath(u"support/wiitdb.xml"_qs));
    QVERIFY(database.open(QIODevice::WriteOnly));
    database.write(R"(<datafile>
        <game><id>RQAE01</id><genre>adventure</genre><locale lang="EN"><title>Alpha Database</title></locale></game>
        <game><id>RQBP01</id><genre>puzzle</genre><input players="2"/><locale lang="EN"><title>Beta Database</title></locale></game>
        <game><id>ZZZZ01</id><region>PAL</region><locale lang="EN"><title>Zulu</title></locale></game>
        </datafile>)");
    database.close();
    QSignalSpy loaded(m_center.get(), &QBGameCenter::databaseDidLoad);
    m_center->parseDatabase();
    QVERIFY(loaded.wait());
    for (int row = 0; row < games->rowCount(); ++row) {
        const QString id = games->value(row, u"id"_qs).toString();
        const QVariant genre = games->value(row, u"genre"_qs);
        QCOMPARE(genre.toString(), id == u"RQBP01"_qs ? u"puzzle"_qs : QString());
    }
    QCOMPARE(popover->titleTextField()->text(), u"Beta Database"_qs);
    QVERIFY(popover->infosTextView()->toPlainText().endsWith(u"\nGenre: puzzle\nPlayers: 2"_qs));
    m_center->hideDetailsView();

    // The database's own document: its records, no covers, no files.
    QBDocumentWindow *titles = open(u"GameTDB"_qs, QBDocument::Database);
    QVERIFY(titles);
    QCOMPARE(titles->statusTextField()->text(), u"3 games"_qs);
    QVERIFY(!titles->document()->isBrowsing());
    QCOMPARE(titles->document()->blockingQueue()->operationCount(), 0);
    QCOMPARE(arrangedValues(titles, titleKey), (QStringList{u"Alpha Database"_qs, u"Beta Database"_qs, u"Zulu"_qs}));
    QVERIFY(!titles->displayModeSegment(0)->isEnabled());
    QCOMPARE(titles->imageBrowserView()->model(), nullptr);
    titles->columnMenu()->popup(QPoint(0, 0));
    for (QAction *column : titles->columnMenu()->actions()) {
        const bool file = QStringList{u"cover"_qs, u"filename"_qs, u"filetype"_qs, u"size"_qs}.contains(column->data().toString());
        QCOMPARE(column->isEnabled(), !file);
        QCOMPARE(titles->tableView()->isColumnHidden(QBGameListModel::columnForKey(column->data().toString())),
                 !column->isChecked());
        if (file)
            QVERIFY(!column->isChecked());
    }
    titles->columnMenu()->close();
    QTest::mouseClick(titles->tableView()->viewport(), Qt::LeftButton, {}, rowPoint(titles->tableView(), 1));
    QVERIFY(!titles->revealAction()->isEnabled());
    QTest::mouseDClick(titles->tableView()->viewport(), Qt::LeftButton, {}, rowPoint(titles->tableView(), 1));
    QVERIFY(popover->isVisible());
    QCOMPARE(popover->infosTextView()->toPlainText(), u"Powered by gametdb.com\nId: RQBP01\nGenre: puzzle\nPlayers: 2"_qs);
    QCOMPARE(popover->coverImageView()->pixmap().toImage().pixelColor(64, 90),
             QBGameBundle::missingCover()
                     .scaled(QSize(128, 180), Qt::KeepAspectRatio, Qt::SmoothTransformation)
                     .pixelColor(64, 90));
}

// A folder whose cached listing is out of date: Alpha's record has
// changed, a file that holds no game is cached as one, Charlie is new.
void tst_QBDocumentWindow::reopenedFromTheLibraryCache()
{
    QTemporaryDir folder(m_dir.filePath(u"cachedXXXXXX"_qs));
    const QString alpha = folder.filePath(u"Alpha.wbfs"_qs);
    const QString ghost = folder.filePath(u"Ghost.iso"_qs);
    QVERIFY(QFile::copy(m_library.path(u"Alpha Quest [RQAE01].wbfs"_qs), alpha));
    QVERIFY(QFile::copy(m_library.path(u"Charlie [RQCJ01].wia"_qs), folder.filePath(u"Charlie.wia"_qs)));
    QFile notImage(ghost);
    QVERIFY(notImage.open(QIODevice::WriteOnly) && notImage.write("no game here") > 0);
    notImage.close();
    auto record = [](const QString &id, const QString &title, const QString &filename) {
        return QVariantMap{{u"id"_qs, id}, {titleKey, title}, {u"filename"_qs, filename}, {u"size"_qs, 0.1f}};
    };
    const QBLibraryCache::Source source{folder.path(), QBDocument::Folder, false};
    QVERIFY(QBLibraryCache::write(QBLibraryCache::folder(), source,
                                  {record(u"RQAE01"_qs, u"Old Alpha"_qs, alpha), record(u"RQGE01"_qs, u"Ghost"_qs, ghost)}));

    // The browse waits, so that the cached games are seen alone.
    QBDocumentWindow *window = QBDocumentWindow::create(folder.path(), QBDocument::Folder, 1, *m_menus);
    QVERIFY(window);
    m_windows << window;
    QBDocument *document = window->document();
    document->blockingQueue()->setSuspended(true);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QTRY_COMPARE(document->gameList()->rowCount(), 2);
    QVERIFY(document->isBrowsing());
    QVERIFY(window->browsingIndicator()->isVisible());
    QCOMPARE(window->statusTextField()->text(), u"Loading ..."_qs);
    document->gameListController()->sort(QBGameListModel::columnForKey(u"id"_qs), Qt::DescendingOrder);
    QCOMPARE(arrangedValues(window, u"id"_qs), (QStringList{u"RQGE01"_qs, u"RQAE01"_qs}));
    QTableView *table = window->tableView();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, rowPoint(table, 1));
    window->detailsAction()->trigger();
    QVERIFY(document->selectedGame()->value(u"filetype"_qs).toString().isEmpty());
    const QPointer<QBGameBundle> alphaGame = document->selectedGame()->bundle;

    // The listing updates Alpha in its row, adds Charlie and removes the
    // ghost: no reset, the selection and the details stay with Alpha.
    QSignalSpy resets(document->gameList(), &QAbstractItemModel::modelReset);
    document->blockingQueue()->setSuspended(false);
    QVERIFY(waitListed(window));
    QVERIFY(!window->browsingIndicator()->isVisible());
    QCOMPARE(arrangedValues(window, u"id"_qs), (QStringList{u"RQCJ01"_qs, u"RQAE01"_qs}));
    QCOMPARE(resets.size(), 0);
    QVERIFY(alphaGame && document->gameList()->rowOf(alphaGame) >= 0);
    QCOMPARE(document->selectedIndexes(), QList<int>{1});
    QCOMPARE(document->selectedGame()->value(u"filetype"_qs).toString(), u"WBFS/WII"_qs);
    QVERIFY(QBDetailsPopover::shared()->isVisible());
    QCOMPARE(m_center->detailsViewOwner(), document);
    QVERIFY(window->statusTextField()->text().startsWith(u"2 games, "_qs));
    QVERIFY(m_alerts->alerts.isEmpty());
    m_center->hideDetailsView();

    // The listing replaced the cached one; a damaged file is replaced too.
    QTRY_COMPARE(QBLibraryCache::read(QBLibraryCache::folder(), source).value_or(QList<QVariantMap>()).size(), 2);
    QFile cached(QBLibraryCache::folder() + u'/' + QBLibraryCache::fileName(source));
    QVERIFY(cached.open(QIODevice::WriteOnly | QIODevice::Truncate) && cached.write("{\"palometLibrary\":") > 0);
    cached.close();
    window->close();
    window = open(folder.path(), QBDocument::Folder);
    QVERIFY(waitListed(window));
    QCOMPARE(window->document()->games().size(), 2);
    QTRY_COMPARE(QBLibraryCache::read(QBLibraryCache::folder(), source).value_or(QList<QVariantMap>()).size(), 2);
    delete window;
}

// Images that another program copies into or deletes from an open folder,
// and a game it adds to an open WBFS file.
void tst_QBDocumentWindow::liveSources()
{
    QTemporaryDir folder(m_dir.filePath(u"liveXXXXXX"_qs));
    QVERIFY(QFile::copy(m_library.path(u"Alpha Quest [RQAE01].wbfs"_qs), folder.filePath(u"Alpha.wbfs"_qs)));
    QBDocumentWindow *window = open(folder.path(), QBDocument::Folder);
    QVERIFY(window);
    QVERIFY(waitListed(window));
    QVERIFY(QFile::copy(m_library.path(u"Charlie [RQCJ01].wia"_qs), folder.filePath(u"Charlie.wia"_qs)));
    QTRY_COMPARE_WITH_TIMEOUT(arrangedValues(window, u"id"_qs), (QStringList{u"RQAE01"_qs, u"RQCJ01"_qs}), 10000);
    QVERIFY(QFile::remove(folder.filePath(u"Alpha.wbfs"_qs)));
    QTRY_COMPARE_WITH_TIMEOUT(arrangedValues(window, u"id"_qs), QStringList{u"RQCJ01"_qs}, 10000);
    QTRY_VERIFY(window->statusTextField()->text().startsWith(u"1 game, "_qs));

    QTemporaryDir other(m_dir.filePath(u"partXXXXXX"_qs));
    const QString part = QBTestImages::makeWbfsFile(other.filePath(u"part.wbfs"_qs),
                                                    {m_library.path(u"Golf [GQGE01].iso"_qs)}, 1);
    QVERIFY2(!part.isEmpty(), qPrintable(QBTestImages::lastError()));
    QBDocumentWindow *partition = open(part, QBDocument::Partition);
    QVERIFY(partition);
    QVERIFY(waitListed(partition));
    QVERIFY(QBTestImages::run(u"wwt"_qs, {u"add"_qs, u"--part"_qs, part, u"--quiet"_qs, u"--source"_qs,
                                          m_library.path(u"Delta [RQDK01].ciso"_qs)}));
    QTRY_COMPARE_WITH_TIMEOUT(arrangedValues(partition, u"id"_qs), (QStringList{u"GQGE01"_qs, u"RQDK01"_qs}), 10000);
    QVERIFY(m_alerts->alerts.isEmpty());
    delete partition;
    delete window;
}

QTEST_MAIN(tst_QBDocumentWindow)
#include "tst_qbdocumentwindow.moc"
