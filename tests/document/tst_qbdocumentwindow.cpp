// SPDX-License-Identifier: GPL-3.0-or-later
// Document windows over real folders and WBFS files, listed by the real
// wit and wwt, and games moved between them: dragged and dropped,
// converted, extracted, added, removed, recovered and renamed.
#include "../conversion/qbrecordingdesktop.h"
#include "../panels/qbpaneltestutil.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversionlistmodel.h"
#include "document/qbdocumentediting.h"
#include "document/qbdocumentwindow.h"
#include "document/qbdragdata.h"
#include "document/qbfilesystem.h"
#include "document/qbgamefiltermodel.h"
#include "document/qbgamelistmodel.h"
#include "document/qblibrarycache.h"
#include "gamedata/qbdetailspopover.h"
#include "gamedata/qbdownloadwindow.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "panels/qbconvertpanel.h"
#include "panels/qbrenamepanel.h"
#include "qbfaketool.h"
#include "qbscriptedalerts.h"
#include "qbtestfiles.h"
#include "qbtesthttpserver.h"
#include "qbtestimages.h"
#include "qbtestzip.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbtask.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDialog>
#include <QDirIterator>
#include <QDrag>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
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
const QStringList stock{u"Alpha [RQAE01].wdf"_qs, u"Beta [RQBP01].wdf"_qs, u"Charlie [RQCJ01].wdf"_qs,
                        u"Delta [RQDK01].wdf"_qs};

// The argument lists of the tool tasks added to queues, in order.
class TaskLog : public QObject
{
public:
    QList<QStringList> arguments;

    void watch(QBOperationQueue *queue)
    {
        connect(queue, &QBOperationQueue::operationCountChanged, this, [this, queue] {
            for (QBOperation *operation : queue->operations()) {
                auto *task = qobject_cast<QBTask *>(operation);
                if (task && !task->property("logged").toBool()) {
                    task->setProperty("logged", true);
                    arguments << task->arguments();
                }
            }
        });
    }
    QList<QStringList> take() { return std::exchange(arguments, {}); }
};

// What a drag out of a window carried.
struct Dragged
{
    std::unique_ptr<QMimeData> data;
    QImage image;
};

QPoint itemPoint(QAbstractItemView *view, int row)
{
    const int column = qobject_cast<QListView *>(view) ? qobject_cast<QListView *>(view)->modelColumn()
                                                       : QBGameListModel::columnForKey(u"title"_qs);
    return view->visualRect(view->model()->index(row, column)).center();
}

// Selects the rows with a click and control-clicks, then drags them out
// by the first one, as the pointer would.
Dragged drag(QBDocumentWindow *window, QAbstractItemView *view, const QList<int> &rows)
{
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, itemPoint(view, rows.first()));
    for (const int row : rows.mid(1))
        QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::ControlModifier, itemPoint(view, row));
    Dragged dragged;
    const QMetaObject::Connection watch = QObject::connect(window, &QBDocumentWindow::dragWillStart, [&](QDrag *drag) {
        dragged.data = std::make_unique<QMimeData>();
        for (const QString &format : drag->mimeData()->formats())
            dragged.data->setData(format, drag->mimeData()->data(format));
        dragged.image = drag->pixmap().toImage();
    });
    const QPoint start = itemPoint(view, rows.first());
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, start);
    QTest::mouseMove(view->viewport(), start + QPoint(4, 4));
    QTest::mouseMove(view->viewport(), start + QPoint(40, 40));
    QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, start + QPoint(40, 40));
    QObject::disconnect(watch);
    return dragged;
}

// Whether the view took the data as it entered and as it was dropped, at
// the given point of its viewport.
std::pair<bool, bool> drop(QAbstractItemView *view, const QMimeData *data, QPoint at = {5, 5})
{
    QDragEnterEvent enter(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &enter);
    QDropEvent dropped(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &dropped);
    return {enter.isAccepted(), dropped.isAccepted() && dropped.dropAction() == Qt::CopyAction};
}

// Acts in the panel once it shows (a drop opens it from the event loop);
// deleting the returned watch gives up waiting.
QTimer *whenPanelShows(QDialog *panel, std::function<void()> act)
{
    auto *poll = new QTimer(panel);
    QObject::connect(poll, &QTimer::timeout, panel, [panel, poll, act] {
        if (!panel->isVisible())
            return;
        poll->deleteLater();
        poll->stop();
        whenShown(panel, act);
    });
    poll->start(10);
    return poll;
}

// Replaces the pattern of a panel's field with title, " [", id and "]".
bool composeTitleAndId(QBRenamePanel *panel)
{
    QBTokenField *field = panel->tokenField();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Delete);
    const bool chosen = chooseToken(field, u"title"_qs);
    QTest::keyClicks(field, u" ["_qs);
    return chosen && chooseToken(field, u"id"_qs) && (QTest::keyClicks(field, u"]"_qs), true);
}

// A key pressed in the window's table, the window being the active one
// (shortcuts go to the active window only).
bool pressInTable(QBDocumentWindow *window, Qt::Key key, Qt::KeyboardModifiers modifiers = {})
{
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window))
        return false;
    window->tableView()->setFocus();
    QTest::keyClick(window->tableView(), key, modifiers);
    return true;
}

QStringList values(QBDocumentWindow *window, const QString &key, bool sorted = false)
{
    QStringList list;
    for (const QBListedGame &game : window->document()->games())
        list << game.value(key).toString();
    if (sorted)
        list.sort();
    return list;
}

int rowOf(QBDocumentWindow *window, const QString &id)
{
    return int(values(window, u"id"_qs).indexOf(id));
}

bool waitListed(QBDocumentWindow *window)
{
    return QTest::qWaitFor([window] { return !window->document()->isBrowsing(); }, 30000);
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

    void intoAPartitionAndOut();
    void conversionOptions();
    void removingAndRecovering();
    void renamingByPattern();
    void refusedDropsAndTheDragImage();
    void listingAndSharedFreeSpace();
    void sourcesThatFail();
    void selectionDisplayModesAndDetails();
    void filterSortColumnsAndReload();
    void coversAndDatabaseUpdates();
    void databaseDownloadWindow();
    void cachedAndLiveSources();

private:
    QBDocumentWindow *open(const QString &path, int type, int displayMode = 1, bool listed = true,
                           bool suspended = false);
    QString folderWith(const QString &name, const QStringList &images);
    bool idle(QBDocumentWindow *window = nullptr);

    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
    QBRecordingDesktop m_desktop;
    std::unique_ptr<QBConversionController> m_controller;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBGameCenter> m_center;
    std::unique_ptr<QBGameDataMenus> m_menus;
    QList<QPointer<QBDocumentWindow>> m_windows;
    std::vector<std::unique_ptr<QAbstractItemModelTester>> m_testers;
    TaskLog m_conversions;
};

void tst_QBDocumentWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSupportFolder::setLocation(m_dir.filePath(u"support"_qs));
    QVERIFY2(QBTestImages::makeLibrary(m_dir.filePath(u"lib"_qs), &m_library), qPrintable(QBTestImages::lastError()));
    const QStringList titles{u"Alpha Quest"_qs, u"Beta: The Colon"_qs, u"Charlie WIA"_qs, u"Delta CISO"_qs};
    for (int i = 0; i < stock.size(); ++i) {
        const QString id = stock.at(i).section(u'[', 1).left(6);
        QVERIFY2(!QBTestImages::makeWiiImage(m_dir.filePath(u"stock/"_qs + stock.at(i)), id, titles.at(i)).isEmpty(),
                 qPrintable(QBTestImages::lastError()));
    }
    m_controller = std::make_unique<QBConversionController>(&m_desktop);
    m_conversions.watch(m_controller->conversionQueue());
}

void tst_QBDocumentWindow::init()
{
    // No covers or database left by an earlier case.
    QDir(m_dir.filePath(u"support"_qs)).removeRecursively();
    QSettings().clear();
    QBSettings::setValue(SettingsKey::languages, QStringList{u"en"_qs});
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    QBSettings::setValue(SettingsKey::notifyWhenDone, false);
    m_alerts = std::make_unique<QBScriptedAlerts>();
    m_center = std::make_unique<QBGameCenter>();
    QTRY_VERIFY(!m_center->isParsing());
    m_menus = std::make_unique<QBGameDataMenus>(m_center.get());
    m_conversions.take();
}

void tst_QBDocumentWindow::cleanup()
{
    QVERIFY(idle());
    m_controller->clearConversions();
    m_testers.clear();
    for (const QPointer<QBDocumentWindow> &window : std::as_const(m_windows))
        delete window.data();
    m_windows.clear();
    m_menus.reset();
    m_center.reset();
    m_alerts.reset();
}

// A window shown, its models checked as they change; listed: once its
// listing is done; suspended: its listing waits until its queue goes on.
QBDocumentWindow *tst_QBDocumentWindow::open(const QString &path, int type, int displayMode, bool listed,
                                             bool suspended)
{
    QBDocumentWindow *window = QBDocumentWindow::create(path, type, displayMode, *m_menus);
    if (!window)
        return nullptr;
    window->document()->blockingQueue()->setSuspended(suspended);
    m_windows << window;
    m_testers.push_back(std::make_unique<QAbstractItemModelTester>(window->document()->gameList()));
    m_testers.push_back(std::make_unique<QAbstractItemModelTester>(window->document()->gameListController()));
    window->show();
    if (!QTest::qWaitForWindowExposed(window) || (listed && !idle(window)))
        return nullptr;
    return window;
}

QString tst_QBDocumentWindow::folderWith(const QString &name, const QStringList &images)
{
    const QString folder = m_dir.filePath(name);
    QDir().mkpath(folder);
    for (const QString &image : images)
        QFile::copy(m_dir.filePath(u"stock/"_qs + image), folder + u'/' + image);
    return folder;
}

// No conversion running and, for a window, no task left on its queue. A
// drop's work, queued behind it, is done first.
bool tst_QBDocumentWindow::idle(QBDocumentWindow *window)
{
    QCoreApplication::sendPostedEvents();
    return QTest::qWaitFor(
            [&] {
                return !m_controller->isConverting()
                        && (!window || window->document()->blockingQueue()->operationCount() == 0);
            },
            60000);
}

void tst_QBDocumentWindow::intoAPartitionAndOut()
{
    const QString source = folderWith(u"into/source"_qs, stock.mid(0, 3));
    const QString part = QBTestImages::makeWbfsFile(m_dir.filePath(u"into/PART.wbfs"_qs), {}, 4);
    QBDocumentWindow *folder = open(source, QBDocument::Folder);
    QBDocumentWindow *partition = open(part, QBDocument::Partition);
    QVERIFY(folder && partition);
    QVERIFY(partition->statusTextField()->text().startsWith(u"0 games, "_qs));
    TaskLog listings;
    listings.watch(partition->document()->blockingQueue());

    // Two games out of the table, in the order of the list.
    const int alpha = rowOf(folder, u"RQAE01"_qs);
    const int charlie = rowOf(folder, u"RQCJ01"_qs);
    const Dragged dragged = drag(folder, folder->tableView(), {charlie, alpha});
    QVERIFY(dragged.data);
    QCOMPARE(dragged.image.size(), QSize(100, 141));
    const auto games = QBDragData::games(dragged.data.get());
    QVERIFY(games && games->size() == 2);
    QCOMPARE(games->first().value(u"id"_qs).toString(), alpha < charlie ? u"RQAE01"_qs : u"RQCJ01"_qs);

    // A stale figure that the partition's listing must replace.
    QBFilesystemCenter::shared()->postFilesystemDidChange(folder->document()->filesystem(), 0.0f);
    QCOMPARE(drop(partition->tableView(), dragged.data.get()), std::make_pair(true, true));
    QVERIFY(idle(partition));
    const QStringList alphaAdd{u"add"_qs,  u"--source"_qs,   source + u"/Alpha [RQAE01].wdf"_qs,
                               u"--part"_qs, part, u"--update"_qs, u"--sections"_qs, u"--progress"_qs};
    QVERIFY(m_conversions.arguments.contains(alphaAdd));
    QCOMPARE(m_conversions.take().size(), 2);
    QCOMPARE(m_controller->conversionList()->bundleAt(alpha < charlie ? 0 : 1)->value(u"display"_qs).toString(),
             u"Add '%1/RQAE01' < '%2/Alpha [RQAE01].wdf'"_qs.arg(part, source));
    QCOMPARE(listings.take().first().mid(0, 4), (QStringList{u"list"_qs, u"--part"_qs, part, u"--include"_qs}));
    QCOMPARE(values(partition, u"id"_qs, true), (QStringList{u"RQAE01"_qs, u"RQCJ01"_qs}));
    // Both windows show their new free space: the partition its own, the
    // folder that of the volume the WBFS file grew on.
    const QString free = QString::number(double(partition->document()->freeSpace()), 'f', 1);
    const QString total = QString::number(double(partition->document()->totalSpace()), 'f', 1);
    QCOMPARE(partition->statusTextField()->text(), u"2 games, %1 of %2 GB available"_qs.arg(free, total));
    QVERIFY(qAbs(double(folder->document()->freeSpace()) - double(QStorageInfo(source).bytesAvailable()) / 1e9)
            < 0.1);
    QVERIFY(m_alerts->alerts.isEmpty());

    // The same games again: skipped, let through (and then also through
    // the second question, the paths being listed), or cancelled.
    const QList<QList<int>> rounds{{QBAlertAnswer::Default},
                                   {QBAlertAnswer::Alternate, QBAlertAnswer::Alternate},
                                   {QBAlertAnswer::Other}};
    qsizetype asked = 0;
    for (const QList<int> &answers : rounds) {
        m_alerts->answers = answers;
        asked += answers.size();
        QCOMPARE(drop(partition->imageBrowserView(), dragged.data.get()), std::make_pair(true, true));
        QTRY_COMPARE_WITH_TIMEOUT(m_alerts->alerts.size(), asked, 30000);
        QVERIFY(idle(partition));
    }
    QCOMPARE(m_alerts->messages(),
             (QStringList{u"2 files have an ID that already exists on the destination drive. Do you want to skip them?"_qs,
                          u"2 files have an ID that already exists on the destination drive. Do you want to skip them?"_qs,
                          u"2 files already exist or are being transferred to the destination drive. Do you want to skip them?"_qs,
                          u"2 files have an ID that already exists on the destination drive. Do you want to skip them?"_qs}));
    // Only the games let through were added again, which wwt leaves be.
    QCOMPARE(m_conversions.take().size(), 2);
    QCOMPARE(partition->document()->games().size(), 2);

    // Out of the cover grid into a folder, named by a pattern, each game in
    // a folder of its own that does not exist yet.
    const QString out = folderWith(u"into/out"_qs, {});
    QBDocumentWindow *target = open(out, QBDocument::Folder, 0);
    partition->setDisplayMode(0);
    QTRY_VERIFY(partition->imageBrowserView()->visualRect(partition->imageBrowserView()->model()->index(0, 0)).isValid());
    const Dragged cover = drag(partition, partition->imageBrowserView(), {rowOf(partition, u"RQAE01"_qs)});
    QBConvertPanel *panel = QBConvertPanel::convertPanel();
    QString title;
    whenPanelShows(panel, [&] {
        title = panel->windowTitle();
        QVERIFY(composeTitleAndId(panel));
        QTest::keyClick(panel->tokenField(), Qt::Key_Return);
    });
    QCOMPARE(drop(target->imageBrowserView(), cover.data.get(), {300, 300}), std::make_pair(true, true));
    QTRY_VERIFY_WITH_TIMEOUT(!title.isEmpty(), 30000);
    QVERIFY(idle(target));
    QCOMPARE(title, u"Extract 'RQAE01'"_qs);
    const QString extracted = out + u"/Alpha Quest [RQAE01]/Alpha Quest [RQAE01].wbfs"_qs;
    QCOMPARE(m_conversions.take(),
             (QList<QStringList>{{u"extract"_qs, u"RQAE01"_qs, u"--dest"_qs, extracted, u"--part"_qs, part,
                                  u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs}}));
    QVERIFY(QFileInfo(extracted).size() > 0);
    QCOMPARE(values(target, u"filename"_qs), QStringList{extracted});
    QCOMPARE(m_alerts->alerts.size(), 4);
    // Removed, the game takes along the folder made for it, now empty.
    m_alerts->answers = {QBAlertAnswer::Default};
    QTest::mouseClick(target->displayModeSegment(1), Qt::LeftButton);
    target->tableView()->selectRow(0);
    target->removeAction()->trigger();
    QVERIFY(idle(target));
    QVERIFY(!QFileInfo::exists(QFileInfo(extracted).path()));
    QVERIFY(QFileInfo(out).isDir());
}

void tst_QBDocumentWindow::conversionOptions()
{
    const QString source = folderWith(u"options/source"_qs, stock.mid(0, 3));
    const QString out = folderWith(u"options/out"_qs, {});
    QBDocumentWindow *folder = open(source, QBDocument::Folder);
    QBDocumentWindow *target = open(out, QBDocument::Folder);
    QVERIFY(folder && target);
    QBSettings::setValue(SettingsKey::shouldCreateParentDirectory, false);
    QBConvertPanel *panel = QBConvertPanel::convertPanel();

    // To WIA with compression, then to WBFS with each kind of split.
    const QList<std::tuple<QString, int, QStringList, QString>> cases{
            {u"wia"_qs, 0, {u"--compression"_qs, u"LZMA"_qs}, u"WIA/WII"_qs},
            {u"wbfs"_qs, 4096, {u"--split"_qs}, u"WBFS/WII"_qs},
            {u"wbfs"_qs, 2000, {u"--split-size"_qs, u"2000M"_qs}, u"WBFS/WII"_qs}};
    int round = 0;
    for (const auto &[format, splitSize, options, filetype] : cases) {
        QBSettings::setValue(SettingsKey::conversionFormat, format);
        QBSettings::setValue(SettingsKey::splitSize, splitSize);
        const int row = rowOf(folder, stock.at(round).section(u'[', 1).left(6));
        const QVariantMap game = folder->document()->arrangedGame(row).values();
        const Dragged dragged = drag(folder, folder->tableView(), {row});
        whenPanelShows(panel, [&] {
            QVERIFY(composeTitleAndId(panel));
            QTest::keyClicks(panel->tokenField(), u" %1"_qs.arg(round));
            panel->okButton()->click();
        });
        QCOMPARE(drop(target->tableView(), dragged.data.get()), std::make_pair(true, true));
        QTRY_COMPARE_WITH_TIMEOUT(m_conversions.arguments.size(), 1, 30000);
        QVERIFY(idle(target));
        const QString destination = u"%1/%2 [%3] %4.%5"_qs.arg(out, game.value(u"title"_qs).toString().remove(u':'),
                                                               game.value(u"id"_qs).toString())
                                            .arg(round)
                                            .arg(format);
        QCOMPARE(m_conversions.take().first(),
                 QStringList({u"copy"_qs, u"--source"_qs, game.value(u"filename"_qs).toString(), u"--dest"_qs,
                              destination, u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs})
                         + options);
        const int converted = int(values(target, u"filename"_qs).indexOf(destination));
        QVERIFY2(converted >= 0, qPrintable(values(target, u"filename"_qs).join(u", ")));
        QCOMPARE(target->document()->arrangedGame(converted).value(u"filetype"_qs).toString(), filetype);
        ++round;
    }
    QCOMPARE(m_alerts->alerts.size(), 0);

    // Two games whose names compose alike (let through the question about
    // their IDs, which the folder has now): the second is asked about and
    // skipped, rather than written over the first.
    const QStringList sources = values(folder, u"filename"_qs).mid(0, 2);
    const Dragged both = drag(folder, folder->tableView(), {0, 1});
    whenPanelShows(panel, [&] {
        panel->tokenField()->selectAll();
        QTest::keyClick(panel->tokenField(), Qt::Key_Delete);
        QTest::keyClicks(panel->tokenField(), u"Same"_qs);
        panel->okButton()->click();
    });
    m_alerts->answers = {QBAlertAnswer::Alternate, QBAlertAnswer::Default};
    QCOMPARE(drop(target->tableView(), both.data.get()), std::make_pair(true, true));
    QTRY_COMPARE_WITH_TIMEOUT(m_conversions.arguments.size(), 1, 30000);
    QVERIFY(idle(target));
    QCOMPARE(m_alerts->messages().last(), u"'%1' already exists or is being transferred to the destination drive. "
                                          "Do you want to skip it?"_qs.arg(sources.at(1)));
    QCOMPARE(m_conversions.take().first().mid(2, 3), (QStringList{sources.at(0), u"--dest"_qs, out + u"/Same.wbfs"_qs}));
}

void tst_QBDocumentWindow::removingAndRecovering()
{
    const QString source = folderWith(u"remove/source"_qs, stock.mid(0, 3));
    QStringList three;
    for (const QString &image : stock.mid(0, 3))
        three << m_dir.filePath(u"stock/"_qs + image);
    const QString part = QBTestImages::makeWbfsFile(m_dir.filePath(u"remove/PART.wbfs"_qs), three, 4);
    QBDocumentWindow *folder = open(source, QBDocument::Folder);
    QBDocumentWindow *partition = open(part, QBDocument::Partition);
    QVERIFY(folder && partition);
    TaskLog tasks;
    tasks.watch(partition->document()->blockingQueue());

    // A game that a conversion is to read stops the removal.
    m_controller->conversionQueue()->setSuspended(true);
    const QString out = folderWith(u"remove/out"_qs, {});
    QBDocumentWindow *target = open(out, QBDocument::Folder);
    const int alpha = rowOf(folder, u"RQAE01"_qs);
    const Dragged dragged = drag(folder, folder->tableView(), {alpha});
    whenPanelShows(QBConvertPanel::convertPanel(), [] {
        QVERIFY(composeTitleAndId(QBConvertPanel::convertPanel()));
        QBConvertPanel::convertPanel()->okButton()->click();
    });
    QVERIFY(drop(target->tableView(), dragged.data.get()).second);
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->isConverting(), 30000);
    QVERIFY(pressInTable(folder, Qt::Key_Delete));
    QCOMPARE(m_alerts->messages(),
             QStringList{u"There are some games being transferred, please wait before removing them."_qs});
    QCOMPARE(m_alerts->alerts.first().informativeText, source + u"/Alpha [RQAE01].wdf"_qs);
    m_controller->cancelAllConversions();
    m_controller->conversionQueue()->setSuspended(false);
    QVERIFY(idle(folder));

    // The context menu holds removing and renaming.
    QVERIFY(folder->gameMenu()->actions().contains(folder->removeAction()));
    QVERIFY(folder->gameMenu()->actions().contains(folder->renameAction()));

    // Cancelled, then confirmed.
    m_alerts->answers = {QBAlertAnswer::Alternate, QBAlertAnswer::Default};
    folder->removeAction()->trigger();
    QVERIFY(idle(folder));
    QCOMPARE(folder->document()->games().size(), 3);
    folder->removeAction()->trigger();
    QVERIFY(idle(folder));
    QCOMPARE(m_alerts->alerts.at(1).message, u"Are you sure you want to remove 'Alpha [RQAE01].wdf'?"_qs);
    QCOMPARE(m_alerts->alerts.at(1).informativeText, u"This operation cannot be undone."_qs);
    QVERIFY(!QFile::exists(source + u"/Alpha [RQAE01].wdf"_qs));
    QCOMPARE(values(folder, u"id"_qs).contains(u"RQAE01"_qs), false);
    QVERIFY(folder->statusTextField()->text().startsWith(u"2 games, "_qs));

    // Two of three games on the partition, then all back.
    const float freeBefore = partition->document()->freeSpace();
    const float sizes = partition->document()->arrangedGame(0).value(u"size"_qs).toFloat()
            + partition->document()->arrangedGame(2).value(u"size"_qs).toFloat();
    const QStringList removed{values(partition, u"id"_qs).at(0), values(partition, u"id"_qs).at(2)};
    drag(partition, partition->tableView(), {0, 2});
    QVERIFY(pressInTable(partition, Qt::Key_Delete));
    QVERIFY(idle(partition));
    QCOMPARE(m_alerts->alerts.last().message, u"Are you sure you want to remove 2 files?"_qs);
    QCOMPARE(m_alerts->alerts.last().informativeText,
             u"You can undo this operation later unless you make any change to the WBFS partition in the meantime. "
             "To recover removed games, just select 'File > Recover removed games'."_qs);
    QCOMPARE(tasks.take(), (QList<QStringList>{{u"remove"_qs, removed.at(0), removed.at(1), u"--part"_qs, part,
                                                u"--no-free"_qs, u"--sections"_qs}}));
    QCOMPARE(partition->document()->games().size(), 1);
    QCOMPARE(partition->statusTextField()->text(),
             u"1 game, %1 of %2 GB available"_qs.arg(double(freeBefore + sizes), 0, 'f', 1)
                     .arg(double(partition->document()->totalSpace()), 0, 'f', 1));
    QVERIFY(partition->recoverAction()->isEnabled());
    QVERIFY(!folder->recoverAction()->isEnabled());
    partition->recoverAction()->trigger();
    QVERIFY(idle(partition));
    QCOMPARE(tasks.take().first(), (QStringList{u"recover"_qs, part}));
    QCOMPARE(partition->document()->games().size(), 3);

    // One of two games has gone behind the window's back: wwt removes the
    // other and fails, and the partition is listed again, once, although
    // the filter hides the game that stays.
    const QStringList ids = values(partition, u"id"_qs);
    QVERIFY(QBTestImages::run(u"wwt"_qs, {u"remove"_qs, ids.at(0), u"--part"_qs, part}));
    drag(partition, partition->tableView(), {0, 1});
    QVERIFY(pressInTable(partition, Qt::Key_Delete));
    partition->document()->gameListController()->setFilter(u"id"_qs, ids.at(0));
    QVERIFY(idle(partition));
    QCOMPARE(m_alerts->alerts.last().message, u"An error occurred."_qs);
    QCOMPARE(partition->document()->gameListController()->games()->rowCount(), 1);
    partition->document()->gameListController()->setFilter(u"id"_qs, {});
    QCOMPARE(values(partition, u"id"_qs), QStringList{ids.at(2)});
    QCOMPARE(tasks.take().last(), QBBrowsingTask::partitionArguments(part));

    // A WBFS file in a folder holds three games: removing one of its rows
    // names them all, and all three leave with the file.
    const QString multi = folderWith(u"remove/multi"_qs, {stock.at(3)});
    QVERIFY(!QBTestImages::makeWbfsFile(multi + u"/three.wbfs"_qs, three, 4).isEmpty());
    QBDocumentWindow *shared = open(multi, QBDocument::Folder);
    QVERIFY(shared);
    shared->tableView()->selectRow(rowOf(shared, u"RQBP01"_qs));
    shared->removeAction()->trigger();
    QVERIFY(idle(shared));
    QCOMPARE(m_alerts->alerts.last().message, u"Are you sure you want to remove 'three.wbfs'?"_qs);
    QCOMPARE(m_alerts->alerts.last().informativeText,
             u"'three.wbfs' holds 3 games, which are all removed with it:\nAlpha Quest\nBeta: The Colon\nCharlie WIA\n\n"
             "This operation cannot be undone."_qs);
    QVERIFY(!QFile::exists(multi + u"/three.wbfs"_qs));
    QCOMPARE(values(shared, u"id"_qs), QStringList{u"RQDK01"_qs});

    // wit says it removed a file it could not delete (a folder the user
    // may not write): the game stays, and the user is told.
    QBFakeTool fake;
    fake.setScript(u"out [version]\\nprog=wit\\n\\n - REMOVE 1/1 WDF:%1\\n\\n\nexit 0\n"_qs.arg(source));
    const QString beta = source + u"/Beta [RQBP01].wdf"_qs;
    const QString freeText = folder->statusTextField()->text();
    folder->tableView()->selectRow(rowOf(folder, u"RQBP01"_qs));
    folder->removeAction()->trigger();
    QVERIFY(idle(folder));
    QCOMPARE(fake.invocations(), QStringList{u"wit | remove | %1 | --sections"_qs.arg(beta)});
    // wwt removes by ID: one that is not a disc's is never given to it.
    const qsizetype alerted = m_alerts->alerts.size();
    partition->document()->browsingDidFinish(
            {{u"game"_qs, QVariantMap{{u"id"_qs, u"RQAE01=x"_qs}, {u"filename"_qs, QString(part + u"/RQAE01=x"_qs)}}}});
    partition->tableView()->selectRow(rowOf(partition, u"RQAE01=x"_qs));
    partition->removeAction()->trigger();
    QVERIFY(idle(partition));
    QVERIFY(tasks.take().isEmpty());
    QCOMPARE(m_alerts->alerts.size(), alerted + 1);
    QCOMPARE(m_alerts->alerts.last().message, u"An error occurred."_qs);
    QCOMPARE(m_alerts->alerts.last().informativeText,
             u"The selected game couldn't be removed. Please refresh the game list to make sure you are viewing "
             "the current one."_qs);
    QVERIFY(values(folder, u"filename"_qs).contains(beta));
    QCOMPARE(folder->statusTextField()->text(), freeText);
}

void tst_QBDocumentWindow::renamingByPattern()
{
    const QString source = folderWith(u"rename"_qs, stock.mid(0, 3));
    // A name that is taken: that game keeps its file, and the file in the
    // way is left as it is.
    const QString taken = source + u"/Charlie WIA [RQCJ01].wdf"_qs;
    QVERIFY(QBTestFiles::write(taken, "mine"));
    QBDocumentWindow *folder = open(source, QBDocument::Folder);
    QVERIFY(folder);
    QCOMPARE(folder->document()->games().size(), 3);
    TaskLog tasks;
    tasks.watch(folder->document()->blockingQueue());
    QList<std::pair<int, int>> counters;
    connect(folder->document(), &QBDocument::renomationsChanged, this, [&] {
        counters << std::make_pair(folder->document()->completedRenomations(), folder->document()->totalRenomations());
    });

    QVERIFY(pressInTable(folder, Qt::Key_A, Qt::ControlModifier));
    const QStringList before = values(folder, u"filename"_qs);
    QBRenamePanel *panel = QBRenamePanel::renamePanel();
    QString title;
    whenShown(panel, [&] {
        title = panel->windowTitle();
        QVERIFY(composeTitleAndId(panel));
        panel->okButton()->click();
    });
    folder->renameAction()->trigger();
    QVERIFY(idle(folder));
    QCOMPARE(title, u"Rename 3 files"_qs);

    // One move per game, in the order of the list; the colon of a title is
    // left out. The move onto the taken name fails, so the folder is listed
    // again once all are done.
    QList<QStringList> queued = tasks.take();
    QCOMPARE(queued.takeLast(), QBBrowsingTask::folderArguments(source, false));
    QStringList sources;
    QStringList renamed;
    for (const QStringList &move : std::as_const(queued)) {
        QCOMPARE(move, QBEditing::moveArguments(move.value(2), move.value(4)));
        sources << move.at(2);
        renamed << QFileInfo(move.at(4)).fileName();
    }
    QCOMPARE(sources, before);
    renamed.sort();
    QCOMPARE(renamed, (QStringList{u"Alpha Quest [RQAE01].wdf"_qs, u"Beta The Colon [RQBP01].wdf"_qs,
                                   u"Charlie WIA [RQCJ01].wdf"_qs}));
    QCOMPARE(counters, (QList<std::pair<int, int>>{{0, 3}, {1, 3}, {2, 3}, {3, 3}}));

    const QStringList files = values(folder, u"filename"_qs, true);
    QCOMPARE(files, (QStringList{source + u"/Alpha Quest [RQAE01].wdf"_qs, source + u"/Beta The Colon [RQBP01].wdf"_qs,
                                 source + u"/Charlie [RQCJ01].wdf"_qs}));
    for (const QString &file : files)
        QVERIFY(QFile::exists(file));
    QCOMPARE(QBTestFiles::read(taken), QByteArray("mine"));
}

void tst_QBDocumentWindow::refusedDropsAndTheDragImage()
{
    const QString source = folderWith(u"refused/source"_qs, stock.mid(0, 2));
    const QString out = folderWith(u"refused/out"_qs, {});
    QBDocumentWindow *folder = open(source, QBDocument::Folder, 0);
    QBDocumentWindow *target = open(out, QBDocument::Folder, 0);
    QBDocumentWindow *titles = open(u"GameTDB"_qs, QBDocument::Database);
    QVERIFY(folder && target && titles);
    QListView *grid = folder->imageBrowserView();
    QTRY_VERIFY(grid->visualRect(grid->model()->index(1, 0)).isValid());

    // One game without a cover: the missing cover under the count's red
    // badge. Its cover arrives: the cover.
    const int alpha = rowOf(folder, u"RQAE01"_qs);
    const QImage missing = drag(folder, grid, {alpha}).image;
    m_center->setImage(u"RQAE01"_qs, QBTestFiles::picture(qRgb(0, 0, 255)));
    const Dragged dragged = drag(folder, grid, {alpha});
    const QColor badge = missing.pixelColor(3, 6);
    QVERIFY(badge.red() > 200 && badge.green() < 60 && badge.blue() < 60);
    const QColor drawn = missing.pixelColor(50, 100);
    const QColor cover = QBGameBundle::missingCover()
                                 .scaled(100, 141, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                                 .pixelColor(50, 100);
    QVERIFY(qAbs(drawn.red() - cover.red()) + qAbs(drawn.green() - cover.green()) + qAbs(drawn.blue() - cover.blue())
            <= 6);
    QCOMPARE(dragged.image.pixelColor(50, 100), QColor(Qt::blue));

    // The database neither gives nor takes; foreign data is refused as it
    // comes in. Data that came in is offered a copy wherever it moves over
    // a grid, and refused by the drop itself when it cannot be read.
    QSignalSpy dragsOut(titles, &QBDocumentWindow::dragWillStart);
    drag(titles, titles->tableView(), {0});
    QCOMPARE(dragsOut.size(), 0);
    QCOMPARE(drop(titles->tableView(), dragged.data.get()), std::make_pair(false, false));
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(source + u"/Alpha [RQAE01].wdf"_qs)});
    QCOMPARE(drop(target->tableView(), &files), std::make_pair(false, false));
    QCOMPARE(drop(target->imageBrowserView(), &files), std::make_pair(false, false));
    QMimeData damaged;
    damaged.setData(QBDragData::mimeType, dragged.data->data(QBDragData::mimeType).chopped(3));
    QWidget *viewport = target->imageBrowserView()->viewport();
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &damaged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &enter);
    QVERIFY(enter.isAccepted());
    for (const QPoint &at : {QPoint(viewport->width() - 2, viewport->height() - 2), QPoint(5, 5)}) {
        QDragMoveEvent move(at, Qt::CopyAction, &damaged, Qt::LeftButton, Qt::NoModifier);
        move.ignore();
        QApplication::sendEvent(viewport, &move);
        QVERIFY(move.isAccepted() && move.dropAction() == Qt::CopyAction);
    }
    QDropEvent dropped(QPoint(5, 5), Qt::CopyAction, &damaged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &dropped);
    QVERIFY(!dropped.isAccepted());
    QTRY_COMPARE_WITH_TIMEOUT(m_alerts->messages(), QStringList{u"The dragged games could not be read."_qs}, 30000);

    // A game whose file went after it was dragged: the conversion fails and
    // says so; no file is written (only the game's folder was made).
    QVERIFY(QFile::remove(source + u"/Alpha [RQAE01].wdf"_qs));
    whenPanelShows(QBConvertPanel::convertPanel(), [] {
        QVERIFY(composeTitleAndId(QBConvertPanel::convertPanel()));
        QBConvertPanel::convertPanel()->okButton()->click();
    });
    QVERIFY(drop(target->imageBrowserView(), dragged.data.get()).second);
    QTRY_COMPARE_WITH_TIMEOUT(m_alerts->alerts.size(), 2, 30000);
    QVERIFY(idle(target));
    QVERIFY(m_alerts->alerts.last().message.startsWith(u"An error has been detected while converting '%1/Alpha"_qs.arg(source)));
    QDirIterator written(out, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    QVERIFY2(!written.hasNext(), qPrintable(written.next()));
    QCOMPARE(target->document()->games().size(), 0);

    // A partition without a free block: wwt fails, the user is told, and
    // the partition lists nothing new.
    const QString full = m_dir.filePath(u"refused/FULL.wbfs"_qs);
    QVERIFY(QBTestImages::run(u"wwt"_qs, {u"format"_qs, u"--inode"_qs, u"--size"_qs, u"10M"_qs, u"--force"_qs, full}));
    QBDocumentWindow *partition = open(full, QBDocument::Partition);
    QVERIFY(partition);
    const QString beta = source + u"/Beta [RQBP01].wdf"_qs;
    const std::unique_ptr<QMimeData> betaData(
            QBDragData::mimeData({folder->document()->arrangedGame(rowOf(folder, u"RQBP01"_qs)).values()}));
    QVERIFY(drop(partition->tableView(), betaData.get()).second);
    QTRY_COMPARE_WITH_TIMEOUT(m_alerts->alerts.size(), 3, 30000);
    QVERIFY(idle(partition));
    QVERIFY(m_alerts->alerts.last().message.startsWith(
            u"An error has been detected while converting '%1' to '%2/RQBP01'."_qs.arg(beta, full)));
    QCOMPARE(partition->document()->games().size(), 0);
    QVERIFY(QFile::exists(beta));

    // A game whose ID is not a disc's is never handed to wwt: not to be
    // extracted by it (it reads "ID=dest" as a destination), nor added where
    // wwt would list it by its ID.
    m_conversions.take();
    QVariantMap odd = folder->document()->arrangedGame(rowOf(folder, u"RQBP01"_qs)).values();
    odd.insert(u"id"_qs, u"RQBP01=/x"_qs);
    odd.insert(u"isOnWBFS"_qs, true);
    const std::unique_ptr<QMimeData> onWbfs(QBDragData::mimeData({odd}));
    odd.insert(u"isOnWBFS"_qs, false);
    const std::unique_ptr<QMimeData> inFolder(QBDragData::mimeData({odd}));
    const QPointer<QTimer> panelWatch = whenPanelShows(QBConvertPanel::convertPanel(), [] {
        QBConvertPanel::convertPanel()->okButton()->click();
    });
    QVERIFY(drop(target->tableView(), onWbfs.get()).second);
    QVERIFY(drop(partition->tableView(), inFolder.get()).second);
    QTRY_COMPARE_WITH_TIMEOUT(m_alerts->alerts.size(), 5, 30000);
    delete panelWatch.data();
    QVERIFY(idle(target) && idle(partition));
    QCOMPARE(m_alerts->messages().mid(3), QStringList(2, u"'Beta [RQBP01].wdf' cannot be transferred."_qs));
    QVERIFY(m_conversions.take().isEmpty());
}

void tst_QBDocumentWindow::listingAndSharedFreeSpace()
{
    QBDocumentWindow *folder = open(m_library.folder, QBDocument::Folder, 1, false);
    QVERIFY(folder);
    QCOMPARE(folder->windowTitle(), QDir::toNativeSeparators(m_library.folder));
    QCOMPARE(folder->statusTextField()->text(), u"Loading ..."_qs);
    QVERIFY(!folder->reloadButton()->isEnabled());
    QVERIFY(!folder->reloadAction()->isEnabled());
    QSignalSpy statuses(folder->document(), &QBDocument::statusTextChanged);
    QVERIFY(waitListed(folder));

    QCOMPARE(statuses.size(), 7);
    QCOMPARE(statuses.first().first().toString(), u"1 game found, please wait ..."_qs);
    QCOMPARE(statuses.at(5).first().toString(), u"6 games found, please wait ..."_qs);
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
    QCOMPARE(values(folder, u"id"_qs, true), m_library.allIds);
    QBSettings::setValue(SettingsKey::browseRecursively, false);

    // A WBFS file is a file system of its own: its figures are not its
    // volume's, and its listing tells its neighbour the volume's free space.
    QBFilesystemCenter::shared()->postFilesystemDidChange(folder->document()->filesystem(), 0.0f);
    QVERIFY(folder->statusTextField()->text().startsWith(u"7 games, 0.0 of"_qs));
    QBDocumentWindow *partition = open(m_library.container, QBDocument::Partition);
    QVERIFY(partition && waitListed(partition));
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

    const QString notes = m_dir.filePath(u"notes.txt"_qs);
    QVERIFY(QBTestFiles::write(notes, "not a partition\n"));
    QBDocumentWindow *notPartition = open(notes, QBDocument::Partition);
    QVERIFY(notPartition && waitListed(notPartition));
    QCOMPARE(m_alerts->messages(), QStringList{u"'%1' could not be opened correctly."_qs.arg(notes)});
    QCOMPARE(notPartition->statusTextField()->text(), u"0 games, 0.0 of 0.0 GB available"_qs);

    // A folder that disappears while it is open: its watcher lists it again.
    QTemporaryDir gone(m_dir.filePath(u"goneXXXXXX"_qs));
    QVERIFY(QFile::copy(m_library.path(u"Delta [RQDK01].ciso"_qs), gone.filePath(u"Delta.ciso"_qs)));
    QBDocumentWindow *folder = open(gone.path(), QBDocument::Folder);
    QVERIFY(folder && waitListed(folder));
    QCOMPARE(folder->document()->games().size(), 1);
    QVERIFY(gone.remove());
    QTRY_COMPARE(m_alerts->alerts.size(), 2);
    QVERIFY(waitListed(folder));
    QCOMPARE(m_alerts->alerts.last().message, u"'%1' could not be opened correctly."_qs.arg(gone.path()));
    QVERIFY(m_alerts->alerts.last().informativeText.startsWith(u"If you have 'Deep search' checked"_qs));
    QCOMPARE(folder->statusTextField()->text(), u"0 games, 0.0 of 0.0 GB available"_qs);

    // A file that the tool cannot open is named.
    const QString broken = folderWith(u"broken"_qs, stock.mid(0, 1));
    QVERIFY(QFile::link(m_dir.filePath(u"nowhere.wbfs"_qs), broken + u"/Broken [RXXE01].wbfs"_qs));
    QVERIFY(open(broken, QBDocument::Folder));
    QTRY_COMPARE(m_alerts->alerts.size(), 3);
    QCOMPARE(m_alerts->alerts.last().message, u"'%1' could not be opened correctly."_qs.arg(broken));
    QVERIFY2(m_alerts->alerts.last().informativeText.startsWith(
                     u"This file could not be read:\nBroken [RXXE01].wbfs\n\nIf you have 'Deep search'"_qs),
             qPrintable(m_alerts->alerts.last().informativeText));

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

    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 1));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::ControlModifier, itemPoint(table, 4));
    QCOMPARE(document->selectedIndexes(), (QList<int>{1, 4}));
    QVERIFY(window->revealAction()->isEnabled());
    QVERIFY(window->detailsAction()->isEnabled());

    // A menu opened on an unselected row acts on that row only.
    QList<int> inMenu;
    rightClick(table, itemPoint(table, 2), [&] { inMenu = document->selectedIndexes(); });
    QCOMPARE(inMenu, QList<int>{2});
    QCOMPARE(document->selectedIndexes(), (QList<int>{1, 4}));
    rightClick(table, itemPoint(table, 4), [&] { inMenu = document->selectedIndexes(); });
    QCOMPARE(inMenu, (QList<int>{1, 4}));

    // The selection goes over to the covers, and back.
    QTest::mouseClick(window->displayModeSegment(0), Qt::LeftButton);
    QCOMPARE(window->scrollView()->currentWidget(), grid);
    QCOMPARE(document->displayMode(), 0);
    QCOMPARE(QBSettings::value(SettingsKey::displayMode).toInt(), 0);
    QCOMPARE(document->selectedIndexes(), (QList<int>{1, 4}));
    QTRY_VERIFY(grid->visualRect(grid->model()->index(5, 0)).isValid());
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, itemPoint(grid, 0));
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::ControlModifier, itemPoint(grid, 3));
    QCOMPARE(document->selectedIndexes(), (QList<int>{0, 3}));
    int clicked = 0;
    rightClick(grid, itemPoint(grid, 5), [&] {
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
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 3));
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 3));
    QVERIFY(popover->isVisible());
    QCOMPARE(m_center->detailsViewOwner(), document);
    const QBListedGame game = document->arrangedGame(3);
    const QString id = game.value(u"id"_qs).toString();
    QCOMPARE(popover->titleTextField()->text(), game.value(titleKey).toString());
    // The region as the database names it; labels in words.
    QCOMPARE(game.value(u"region"_qs).toString(), u"USA "_qs);
    QCOMPARE(popover->infosTextView()->toPlainText(), u"Powered by gametdb.com\nID: %1\nRegion: NTSC-U"_qs.arg(id));
    // Beside the row, never over the toolbar's search field.
    const QRect row(table->viewport()->mapToGlobal(table->visualRect(table->model()->index(3, 1)).topLeft()),
                    table->visualRect(table->model()->index(3, 1)).size());
    const QRect search(window->searchField()->mapToGlobal(QPoint()), window->searchField()->size());
    QVERIFY(!popover->frameGeometry().intersects(row.adjusted(0, 1, 0, -1)));
    QVERIFY(!popover->frameGeometry().intersects(search));
    // Escape is the popover's only in its window: a dialog keeps its own.
    QDialog dialog;
    dialog.show();
    QSignalSpy rejected(&dialog, &QDialog::rejected);
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QCOMPARE(rejected.size(), 1);
    QVERIFY(popover->isVisible());
    QTest::keyClick(table, Qt::Key_Escape);
    QVERIFY(!popover->isVisible());
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 3));
    QVERIFY(popover->isVisible());
    const QTextCharFormat label = popover->infosTextView()->document()->begin().begin().fragment().charFormat();
    QCOMPARE(label.anchorHref(), u"https://www.gametdb.com/Wii/"_qs + id);
    // Its cover follows a later arrival.
    m_center->setImage(id, QBTestFiles::picture(qRgb(200, 0, 0)));
    const QImage shown = popover->coverImageView()->pixmap().toImage();
    QCOMPARE(shown.pixelColor(shown.rect().center()), QColor(200, 0, 0));

    // Double-clicking another row while they show closes them.
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 1));
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 1));
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
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, itemPoint(grid, 2));
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, itemPoint(grid, 2));
    QVERIFY(popover->isVisible());
    QCOMPARE(popover->titleTextField()->text(), document->arrangedGame(2).value(titleKey).toString());
    QCOMPARE(m_center->detailsViewOwner(), document);
    window->reloadAction()->trigger();
    QVERIFY(!popover->isVisible());
    QVERIFY(waitListed(window));

    // Closing the window closes them, announces the close and keeps the
    // window's frame.
    QTRY_VERIFY(grid->visualRect(grid->model()->index(0, 0)).isValid());
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, itemPoint(grid, 0));
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
    QVERIFY(window && waitListed(window));

    // Case and accents are ignored.
    QTest::keyClicks(window->searchField(), u"ca mar"_qs);
    QCOMPARE(values(window, u"id"_qs), QStringList{u"RQFP01"_qs});
    window->searchField()->clear();
    QCOMPARE(window->document()->games().size(), 6);

    // A new key refilters the text at once; the menu marks the key in use.
    QCOMPARE(checkedItems(window->searchMenu()), QStringList{titleKey});
    QTest::keyClicks(window->searchField(), u"rqb"_qs);
    QVERIFY(window->document()->games().isEmpty());
    item(window->searchMenu(), u"id"_qs)->trigger();
    QCOMPARE(values(window, u"id"_qs), QStringList{u"RQBP01"_qs});
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
    QCOMPARE(values(window, titleKey), sorted);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, titleHeader);
    QStringList reversed = sorted;
    std::reverse(reversed.begin(), reversed.end());
    QCOMPARE(values(window, titleKey), reversed);

    // Columns shown and hidden from the header's menu.
    QVERIFY(checkedItems(window->columnMenu()).contains(u"region"_qs));
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
    QCOMPARE(values(window, titleKey), reversed);

    // A reload removes the shown games only: the hidden ones are listed a
    // second time.
    QTest::keyClicks(window->searchField(), u"BETA"_qs);
    QCOMPARE(window->document()->games().size(), 1);
    window->reloadAction()->trigger();
    QVERIFY(waitListed(window));
    QCOMPARE(window->document()->games().size(), 1);
    window->searchField()->clear();
    QStringList ids = values(window, u"id"_qs);
    QCOMPARE(ids.size(), 11);
    QCOMPARE(ids.count(u"RQBP01"_qs), 1);
    QCOMPARE(ids.count(u"RQAE01"_qs), 2);
}

void tst_QBDocumentWindow::coversAndDatabaseUpdates()
{
    // Every cover is on disk but one, which the cover server has.
    QBTestHttpServer server;
    server.setRoute(u"/wii/cover3D/EN/RQAE01.png"_qs, QBTestFiles::png(QBTestFiles::picture(qRgb(0, 0, 200))));
    QBSettings::setValue(SettingsKey::coverServer, server.url());
    QBSettings::setValue(SettingsKey::downloadCovers, true);
    for (const QString &id : m_library.allIds) {
        if (id != u"RQAE01"_qs)
            QVERIFY(QBTestFiles::picture(qRgb(0, 150, 0)).save(QBSupportFolder::coverPath(id)));
    }

    // The library with the WBFS file beside it: three games listed twice.
    QBSettings::setValue(SettingsKey::browseRecursively, true);
    QBDocumentWindow *window = open(m_dir.filePath(u"lib"_qs), QBDocument::Folder);
    QVERIFY(window && waitListed(window));
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
    QTRY_COMPARE_WITH_TIMEOUT(versions(u"RQAE01"_qs), (QList<int>{1, 1}), 30000);
    QCOMPARE(versions(u"RQBP01"_qs), (QList<int>{0, 0}));
    QCOMPARE(server.requests(), QStringList{u"/wii/cover3D/EN/RQAE01.png"_qs});
    // Covers on disk are read off the event loop, some maybe after the
    // fetched one arrived.
    for (int row = 0; row < games->rowCount(); ++row) {
        const bool fetched = games->value(row, u"id"_qs).toString() == u"RQAE01"_qs;
        QTRY_COMPARE_WITH_TIMEOUT(games->index(row, 0).data(QBGameListModel::CoverRole).value<QImage>().pixelColor(10, 10),
                                  fetched ? QColor(0, 0, 200) : QColor(0, 150, 0), 30000);
    }

    // A database that arrives while a filter hides some games: only the
    // shown ones take it in, and the details shown follow.
    QTest::keyClicks(window->searchField(), u"beta"_qs);
    QCOMPARE(window->document()->games().size(), 2);
    QTest::mouseClick(window->tableView()->viewport(), Qt::LeftButton, {}, itemPoint(window->tableView(), 0));
    window->detailsAction()->trigger();
    QBDetailsPopover *popover = QBDetailsPopover::shared();
    QVERIFY(popover->isVisible());
    QVERIFY(!popover->infosTextView()->toPlainText().contains(u"Genre"_qs));
    QVERIFY(QBTestFiles::write(m_dir.filePath(u"support/wiitdb.xml"_qs), R"(<datafile>
        <game><id>RQAE01</id><genre>adventure</genre><locale lang="EN"><title>Alpha Database</title></locale></game>
        <game><id>RQBP01</id><genre>puzzle</genre><input players="2"/><locale lang="EN"><title>Beta Database</title>
        <filename>/etc/passwd</filename><filetype>x</filetype><size>900</size><coverPath>/x.png</coverPath></locale></game>
        <game><id>ZZZZ01</id><region>PAL</region><locale lang="EN"><title>Zulu</title></locale></game>
        </datafile>)"));
    // What locates and describes the files stays the tool's.
    auto toolValues = [window] {
        QStringList list;
        for (const QString &key : {u"filename"_qs, u"filetype"_qs, u"size"_qs, u"coverPath"_qs})
            list << values(window, key);
        return list;
    };
    const QStringList files = toolValues();
    QSignalSpy loaded(m_center.get(), &QBGameCenter::databaseDidLoad);
    m_center->parseDatabase();
    QVERIFY(loaded.wait(30000));
    QCOMPARE(toolValues(), files);
    for (int row = 0; row < games->rowCount(); ++row) {
        const bool beta = games->value(row, u"id"_qs).toString() == u"RQBP01"_qs;
        QCOMPARE(games->value(row, u"genre"_qs).toString(), beta ? u"puzzle"_qs : QString());
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
    QCOMPARE(values(titles, titleKey), (QStringList{u"Alpha Database"_qs, u"Beta Database"_qs, u"Zulu"_qs}));
    QVERIFY(!titles->displayModeSegment(0)->isEnabled());
    QCOMPARE(titles->imageBrowserView()->model(), nullptr);
    titles->columnMenu()->popup(QPoint(0, 0));
    QAction *filename = item(titles->columnMenu(), u"filename"_qs);
    QVERIFY(!filename->isEnabled() && !filename->isChecked());
    QVERIFY(titles->tableView()->isColumnHidden(QBGameListModel::columnForKey(u"filename"_qs)));
    titles->columnMenu()->close();
    QTest::mouseClick(titles->tableView()->viewport(), Qt::LeftButton, {}, itemPoint(titles->tableView(), 1));
    QVERIFY(!titles->revealAction()->isEnabled());
    QTest::mouseDClick(titles->tableView()->viewport(), Qt::LeftButton, {}, itemPoint(titles->tableView(), 1));
    QVERIFY(popover->isVisible());
    QCOMPARE(popover->infosTextView()->toPlainText(), u"Powered by gametdb.com\nID: RQBP01\nGenre: puzzle\nPlayers: 2"_qs);
    QCOMPARE(popover->coverImageView()->pixmap().toImage().pixelColor(64, 90),
             QBGameBundle::missingCover()
                     .scaled(QSize(128, 180), Qt::KeepAspectRatio, Qt::SmoothTransformation)
                     .pixelColor(64, 90));
}

// The download items and the window that shows a download's progress.
void tst_QBDocumentWindow::databaseDownloadWindow()
{
    QBTestHttpServer server;
    const QByteArray database = "<datafile><game><id>RMCP01</id></game></datafile>";
    server.setRoute(u"/wiitdb.zip"_qs, QBTestZip::make({{u"wiitdb.xml"_qs, database}}), QBTestHttpServer::Mode::Slow);
    QBSettings::setValue(SettingsKey::databaseServer, server.url());
    QBDownloadWindow window(m_center.get());
    const QList<QAction *> items = m_menus->downloadActions();
    QCOMPARE(items.last()->text(), u"Download database"_qs);

    QList<int> shares;
    connect(window.downloadProgressIndicator(), &QProgressBar::valueChanged, this, [&](int value) { shares << value; });
    items.last()->trigger();
    QVERIFY(window.isVisible());
    QCOMPARE(window.downloadTextField()->text(), u"Downloading the database ..."_qs);
    QCOMPARE(window.downloadProgressIndicator()->maximum(), 0);
    QCOMPARE(items.last()->text(), u"Downloading database ..."_qs);
    for (QAction *item : items)
        QVERIFY(!item->isEnabled());

    QSignalSpy loaded(m_center.get(), &QBGameCenter::databaseDidLoad);
    QVERIFY(loaded.wait(30000));
    QVERIFY(!window.isVisible());
    // The slow answer came in pieces, each shown on the bar once its
    // length was known.
    QVERIFY2(shares.size() > 3, qPrintable(QString::number(shares.size())));
    QVERIFY(std::is_sorted(shares.cbegin(), shares.cend()));
    QCOMPARE(shares.last(), 1000);
    QCOMPARE(items.last()->text(), u"Update database"_qs);
    for (QAction *item : items)
        QVERIFY(item->isEnabled());
    QVERIFY(m_alerts->alerts.isEmpty());
}

// A folder whose cached listing is out of date: Alpha's record has
// changed, a file that holds no game is cached as one, Charlie is new.
// Then other programs change it as it is open.
void tst_QBDocumentWindow::cachedAndLiveSources()
{
    QTemporaryDir folder(m_dir.filePath(u"cachedXXXXXX"_qs));
    const QString alpha = folder.filePath(u"Alpha.wbfs"_qs);
    const QString ghost = folder.filePath(u"Ghost.iso"_qs);
    QVERIFY(QFile::copy(m_library.path(u"Alpha Quest [RQAE01].wbfs"_qs), alpha));
    QVERIFY(QFile::copy(m_library.path(u"Charlie [RQCJ01].wia"_qs), folder.filePath(u"Charlie.wia"_qs)));
    QVERIFY(QBTestFiles::write(ghost, "no game here"));
    auto record = [](const QString &id, const QString &title, const QString &filename) {
        return QVariantMap{{u"id"_qs, id}, {titleKey, title}, {u"filename"_qs, filename}, {u"size"_qs, 0.1f}};
    };
    const QBLibraryCache::Source source{folder.path(), QBDocument::Folder, false};
    QVERIFY(QBLibraryCache::write(QBLibraryCache::folder(), source,
                                  {record(u"RQAE01"_qs, u"Old Alpha"_qs, alpha), record(u"RQGE01"_qs, u"Ghost"_qs, ghost)}));

    // The browse waits, so that the cached games are seen alone.
    QBDocumentWindow *window = open(folder.path(), QBDocument::Folder, 1, false, true);
    QVERIFY(window);
    QBDocument *document = window->document();
    QTRY_COMPARE(document->gameList()->rowCount(), 2);
    QVERIFY(document->isBrowsing());
    QVERIFY(window->browsingIndicator()->isVisible());
    QCOMPARE(window->statusTextField()->text(), u"Loading ..."_qs);
    document->gameListController()->sort(QBGameListModel::columnForKey(u"id"_qs), Qt::DescendingOrder);
    QCOMPARE(values(window, u"id"_qs), (QStringList{u"RQGE01"_qs, u"RQAE01"_qs}));
    QTableView *table = window->tableView();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, itemPoint(table, 1));
    window->detailsAction()->trigger();
    QVERIFY(document->selectedGame()->value(u"filetype"_qs).toString().isEmpty());
    const QPointer<QBGameBundle> alphaGame = document->selectedGame()->bundle;

    // The listing updates Alpha in its row, adds Charlie and removes the
    // ghost: no reset, the selection and the details stay with Alpha.
    QSignalSpy resets(document->gameList(), &QAbstractItemModel::modelReset);
    document->blockingQueue()->setSuspended(false);
    QVERIFY(waitListed(window));
    QVERIFY(!window->browsingIndicator()->isVisible());
    QCOMPARE(values(window, u"id"_qs), (QStringList{u"RQCJ01"_qs, u"RQAE01"_qs}));
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
    QVERIFY(QBTestFiles::write(QBLibraryCache::folder() + u'/' + QBLibraryCache::fileName(source), "{\"palometLibrary\":"));
    window->close();
    window = open(folder.path(), QBDocument::Folder);
    QVERIFY(waitListed(window));
    QCOMPARE(window->document()->games().size(), 2);
    QTRY_COMPARE(QBLibraryCache::read(QBLibraryCache::folder(), source).value_or(QList<QVariantMap>()).size(), 2);

    // Images that another program copies into or deletes from the open
    // folder, and a game it adds to an open WBFS file.
    QVERIFY(QFile::copy(m_library.path(u"Delta [RQDK01].ciso"_qs), folder.filePath(u"Delta.ciso"_qs)));
    QTRY_VERIFY_WITH_TIMEOUT(values(window, u"id"_qs).contains(u"RQDK01"_qs), 10000);
    QVERIFY(QFile::remove(alpha));
    QTRY_VERIFY_WITH_TIMEOUT(!values(window, u"id"_qs).contains(u"RQAE01"_qs), 10000);
    QTRY_VERIFY(window->statusTextField()->text().startsWith(u"2 games, "_qs));
    QTemporaryDir other(m_dir.filePath(u"partXXXXXX"_qs));
    const QString part = QBTestImages::makeWbfsFile(other.filePath(u"part.wbfs"_qs),
                                                    {m_library.path(u"Golf [GQGE01].iso"_qs)}, 1);
    QVERIFY2(!part.isEmpty(), qPrintable(QBTestImages::lastError()));
    QBDocumentWindow *partition = open(part, QBDocument::Partition);
    QVERIFY(partition && waitListed(partition));
    QVERIFY(QBTestImages::run(u"wwt"_qs, {u"add"_qs, u"--part"_qs, part, u"--quiet"_qs, u"--source"_qs,
                                          m_library.path(u"Delta [RQDK01].ciso"_qs)}));
    QTRY_COMPARE_WITH_TIMEOUT(values(partition, u"id"_qs), (QStringList{u"GQGE01"_qs, u"RQDK01"_qs}), 10000);
    QVERIFY(m_alerts->alerts.isEmpty());
    delete partition;
    delete window;
}

QTEST_MAIN(tst_QBDocumentWindow)
#include "tst_qbdocumentwindow.moc"
