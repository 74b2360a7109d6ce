// SPDX-License-Identifier: GPL-3.0-or-later
// Games moved between document windows with the real wit and wwt: dragged
// and dropped, converted, extracted, added, removed, recovered and renamed.
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
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "panels/qbconvertpanel.h"
#include "panels/qbrenamepanel.h"
#include "qbfaketool.h"
#include "qbscriptedalerts.h"
#include "qbtestimages.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbtask.h"

#include <QApplication>
#include <QDirIterator>
#include <QDrag>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QStorageInfo>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

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

QStringList values(QBDocumentWindow *window, const QString &key)
{
    QStringList list;
    for (const QBListedGame &game : window->document()->games())
        list << game.value(key).toString();
    return list;
}

int rowOf(QBDocumentWindow *window, const QString &id)
{
    return int(values(window, u"id"_qs).indexOf(id));
}

}

class tst_QBMovingGames : public QObject
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

private:
    QBDocumentWindow *open(const QString &path, int type, int displayMode = 1);
    QString folderWith(const QString &name, const QStringList &images);
    bool idle(QBDocumentWindow *window = nullptr);

    QTemporaryDir m_dir;
    QBRecordingDesktop m_desktop;
    std::unique_ptr<QBConversionController> m_controller;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBGameCenter> m_center;
    std::unique_ptr<QBGameDataMenus> m_menus;
    QList<QPointer<QBDocumentWindow>> m_windows;
    TaskLog m_conversions;
};

void tst_QBMovingGames::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QBSupportFolder::setLocation(m_dir.filePath(u"support"_qs));
    const QStringList titles{u"Alpha Quest"_qs, u"Beta: The Colon"_qs, u"Charlie WIA"_qs, u"Delta CISO"_qs};
    for (int i = 0; i < stock.size(); ++i) {
        const QString id = stock.at(i).section(u'[', 1).left(6);
        QVERIFY2(!QBTestImages::makeWiiImage(m_dir.filePath(u"stock/"_qs + stock.at(i)), id, titles.at(i)).isEmpty(),
                 qPrintable(QBTestImages::lastError()));
    }
    m_controller = std::make_unique<QBConversionController>(&m_desktop);
    m_conversions.watch(m_controller->conversionQueue());
}

void tst_QBMovingGames::init()
{
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

void tst_QBMovingGames::cleanup()
{
    QVERIFY(idle());
    m_controller->clearConversions();
    for (const QPointer<QBDocumentWindow> &window : std::as_const(m_windows))
        delete window.data();
    m_windows.clear();
    m_menus.reset();
    m_center.reset();
    m_alerts.reset();
}

QBDocumentWindow *tst_QBMovingGames::open(const QString &path, int type, int displayMode)
{
    QBDocumentWindow *window = QBDocumentWindow::create(path, type, displayMode, *m_menus);
    if (!window)
        return nullptr;
    m_windows << window;
    window->show();
    if (!QTest::qWaitForWindowExposed(window) || !idle(window))
        return nullptr;
    return window;
}

QString tst_QBMovingGames::folderWith(const QString &name, const QStringList &images)
{
    const QString folder = m_dir.filePath(name);
    QDir().mkpath(folder);
    for (const QString &image : images)
        QFile::copy(m_dir.filePath(u"stock/"_qs + image), folder + u'/' + image);
    return folder;
}

// No conversion running and, for a window, no task left on its queue. A
// drop's work, queued behind it, is done first.
bool tst_QBMovingGames::idle(QBDocumentWindow *window)
{
    QCoreApplication::sendPostedEvents();
    return QTest::qWaitFor(
            [&] {
                return !m_controller->isConverting()
                        && (!window || window->document()->blockingQueue()->operationCount() == 0);
            },
            60000);
}

void tst_QBMovingGames::intoAPartitionAndOut()
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
    QStringList listed = listings.take().first();
    QCOMPARE(listed.mid(0, 4), (QStringList{u"list"_qs, u"--part"_qs, part, u"--include"_qs}));
    QStringList ids = values(partition, u"id"_qs);
    ids.sort();
    QCOMPARE(ids, (QStringList{u"RQAE01"_qs, u"RQCJ01"_qs}));
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
        QTRY_COMPARE(m_alerts->alerts.size(), asked);
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
    QTRY_VERIFY(!title.isEmpty());
    QVERIFY(idle(target));
    QCOMPARE(title, u"Extract 'RQAE01'"_qs);
    const QString extracted = out + u"/Alpha Quest [RQAE01]/Alpha Quest [RQAE01].wbfs"_qs;
    QCOMPARE(m_conversions.take(),
             (QList<QStringList>{{u"extract"_qs, u"RQAE01"_qs, u"--dest"_qs, extracted, u"--part"_qs, part,
                                  u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs}}));
    QVERIFY(QFileInfo(extracted).size() > 0);
    QCOMPARE(values(target, u"filename"_qs), QStringList{extracted});
    QCOMPARE(m_alerts->alerts.size(), 4);
}

void tst_QBMovingGames::conversionOptions()
{
    const QString source = folderWith(u"options/source"_qs, stock.mid(0, 3));
    const QString out = folderWith(u"options/out"_qs, {});
    QBDocumentWindow *folder = open(source, QBDocument::Folder);
    QBDocumentWindow *target = open(out, QBDocument::Folder);
    QVERIFY(folder && target);
    QBSettings::setValue(SettingsKey::shouldCreateParentDirectory, false);
    QBConvertPanel *panel = QBConvertPanel::convertPanel();

    // To WIA with compression, then to WBFS with each kind of split.
    struct Case
    {
        QString format;
        int splitSize;
        QStringList options;
        QString filetype;
    };
    const QList<Case> cases{{u"wia"_qs, 0, {u"--compression"_qs, u"LZMA"_qs}, u"WIA/WII"_qs},
                            {u"wbfs"_qs, 4096, {u"--split"_qs}, u"WBFS/WII"_qs},
                            {u"wbfs"_qs, 2000, {u"--split-size"_qs, u"2000M"_qs}, u"WBFS/WII"_qs}};
    int round = 0;
    for (const Case &conversion : cases) {
        QBSettings::setValue(SettingsKey::conversionFormat, conversion.format);
        QBSettings::setValue(SettingsKey::splitSize, conversion.splitSize);
        const int row = rowOf(folder, stock.at(round).section(u'[', 1).left(6));
        const QVariantMap game = folder->document()->arrangedGame(row).values();
        const Dragged dragged = drag(folder, folder->tableView(), {row});
        whenPanelShows(panel, [&] {
            QVERIFY(composeTitleAndId(panel));
            QTest::keyClicks(panel->tokenField(), u" %1"_qs.arg(round));
            panel->okButton()->click();
        });
        QCOMPARE(drop(target->tableView(), dragged.data.get()), std::make_pair(true, true));
        QTRY_COMPARE(m_conversions.arguments.size(), 1);
        QVERIFY(idle(target));
        const QString destination = u"%1/%2 [%3] %4.%5"_qs.arg(out, game.value(u"title"_qs).toString().remove(u':'),
                                                               game.value(u"id"_qs).toString())
                                            .arg(round)
                                            .arg(conversion.format);
        QCOMPARE(m_conversions.take().first(),
                 QStringList({u"copy"_qs, u"--source"_qs, game.value(u"filename"_qs).toString(), u"--dest"_qs,
                              destination, u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs})
                         + conversion.options);
        const int converted = int(values(target, u"filename"_qs).indexOf(destination));
        QVERIFY2(converted >= 0, qPrintable(values(target, u"filename"_qs).join(u", ")));
        QCOMPARE(target->document()->arrangedGame(converted).value(u"filetype"_qs).toString(), conversion.filetype);
        ++round;
    }
    QCOMPARE(m_alerts->alerts.size(), 0);

    // Two games whose names compose alike (let through the question about
    // their IDs, which the folder has now): the second is asked about and
    // skipped, rather than written over the first.
    const QStringList sources{folder->document()->arrangedGame(0).value(u"filename"_qs).toString(),
                              folder->document()->arrangedGame(1).value(u"filename"_qs).toString()};
    const Dragged both = drag(folder, folder->tableView(), {0, 1});
    whenPanelShows(panel, [&] {
        panel->tokenField()->selectAll();
        QTest::keyClick(panel->tokenField(), Qt::Key_Delete);
        QTest::keyClicks(panel->tokenField(), u"Same"_qs);
        panel->okButton()->click();
    });
    m_alerts->answers = {QBAlertAnswer::Alternate, QBAlertAnswer::Default};
    QCOMPARE(drop(target->tableView(), both.data.get()), std::make_pair(true, true));
    QTRY_COMPARE(m_conversions.arguments.size(), 1);
    QVERIFY(idle(target));
    QCOMPARE(m_alerts->messages().last(), u"'%1' already exists or is being transferred to the destination drive. "
                                          "Do you want to skip it?"_qs.arg(sources.at(1)));
    QCOMPARE(m_conversions.take().first().mid(2, 3), (QStringList{sources.at(0), u"--dest"_qs, out + u"/Same.wbfs"_qs}));
}

void tst_QBMovingGames::removingAndRecovering()
{
    const QString source = folderWith(u"remove/source"_qs, stock.mid(0, 3));
    const QString part = QBTestImages::makeWbfsFile(m_dir.filePath(u"remove/PART.wbfs"_qs),
                                                    {source + u'/' + stock.at(0), source + u'/' + stock.at(1),
                                                     source + u'/' + stock.at(2)},
                                                    4);
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
    QTRY_VERIFY(m_controller->isConverting());
    QVERIFY(pressInTable(folder, Qt::Key_Delete));
    QCOMPARE(m_alerts->messages(),
             QStringList{u"There are some games being transferred, please wait before removing them."_qs});
    QCOMPARE(m_alerts->alerts.first().informativeText, source + u"/Alpha [RQAE01].wdf"_qs);
    m_controller->cancelAllConversions();
    m_controller->conversionQueue()->setSuspended(false);
    QVERIFY(idle(folder));

    // The menu bar finds the window's own commands; the context menu holds
    // removing and renaming.
    QCOMPARE(folder->actionForCommand(QBDocumentCommand::RemoveGame), folder->removeAction());
    QCOMPARE(folder->actionForCommand(QBDocumentCommand::RenameGame), folder->renameAction());
    QCOMPARE(folder->actionForCommand(QBDocumentCommand::RecoverRemovedGames), folder->recoverAction());
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
    QCOMPARE(std::make_pair(m_alerts->alerts.at(1).defaultButton, m_alerts->alerts.at(1).alternateButton),
             std::make_pair(u"OK"_qs, u"Cancel"_qs));
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
    QStringList three;
    for (const QString &image : stock.mid(0, 3))
        three << m_dir.filePath(u"stock/"_qs + image);
    QVERIFY(!QBTestImages::makeWbfsFile(multi + u"/three.wbfs"_qs, three, 4).isEmpty());
    QBDocumentWindow *shared = open(multi, QBDocument::Folder);
    QVERIFY(shared);
    QTest::mouseClick(shared->tableView()->viewport(), Qt::LeftButton, {},
                      itemPoint(shared->tableView(), rowOf(shared, u"RQBP01"_qs)));
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
    QTest::mouseClick(folder->tableView()->viewport(), Qt::LeftButton, {}, itemPoint(folder->tableView(), rowOf(folder, u"RQBP01"_qs)));
    folder->removeAction()->trigger();
    QVERIFY(idle(folder));
    QCOMPARE(fake.invocations(), QStringList{u"wit | remove | %1 | --sections"_qs.arg(beta)});
    // wwt removes by ID: one that is not a disc's is never given to it.
    const qsizetype alerted = m_alerts->alerts.size();
    partition->document()->browsingDidFinish(
            {{u"game"_qs, QVariantMap{{u"id"_qs, u"RQAE01=x"_qs}, {u"filename"_qs, QString(part + u"/RQAE01=x"_qs)}}}});
    QTest::mouseClick(partition->tableView()->viewport(), Qt::LeftButton, {},
                      itemPoint(partition->tableView(), rowOf(partition, u"RQAE01=x"_qs)));
    partition->removeAction()->trigger();
    QVERIFY(idle(partition));
    QVERIFY(tasks.take().isEmpty());
    QCOMPARE(m_alerts->alerts.size(), alerted + 1);
    QCOMPARE(m_alerts->alerts.last().message, u"An error occurred."_qs);
    QCOMPARE(m_alerts->alerts.last().message, u"An error occurred."_qs);
    QCOMPARE(m_alerts->alerts.last().informativeText,
             u"The selected game couldn't be removed. Please refresh the game list to make sure you are viewing "
             "the current one."_qs);
    QVERIFY(values(folder, u"filename"_qs).contains(beta));
    QCOMPARE(folder->statusTextField()->text(), freeText);
}

void tst_QBMovingGames::renamingByPattern()
{
    const QString source = folderWith(u"rename"_qs, stock.mid(0, 3));
    // A name that is taken: that game keeps its file, and the file in the
    // way is left as it is.
    QFile taken(source + u"/Charlie WIA [RQCJ01].wdf"_qs);
    QVERIFY(taken.open(QIODevice::WriteOnly) && taken.write("mine") == 4);
    taken.close();
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

    QStringList files = values(folder, u"filename"_qs);
    files.sort();
    QCOMPARE(files, (QStringList{source + u"/Alpha Quest [RQAE01].wdf"_qs, source + u"/Beta The Colon [RQBP01].wdf"_qs,
                                 source + u"/Charlie [RQCJ01].wdf"_qs}));
    for (const QString &file : std::as_const(files))
        QVERIFY(QFile::exists(file));
    QVERIFY(taken.open(QIODevice::ReadOnly));
    QCOMPARE(taken.readAll(), QByteArray("mine"));
}

void tst_QBMovingGames::refusedDropsAndTheDragImage()
{
    const QString source = folderWith(u"refused/source"_qs, stock.mid(0, 2));
    const QString out = folderWith(u"refused/out"_qs, {});
    QBDocumentWindow *folder = open(source, QBDocument::Folder, 0);
    QBDocumentWindow *target = open(out, QBDocument::Folder, 0);
    QBDocumentWindow *titles = open(u"GameTDB"_qs, QBDocument::Database);
    QVERIFY(folder && target && titles);
    QListView *grid = folder->imageBrowserView();
    QTRY_VERIFY(grid->visualRect(grid->model()->index(1, 0)).isValid());

    // One game without a cover: the missing cover, badge 1. Its cover
    // arrives: the cover, the same badge. A bigger count: a wider badge.
    const int alpha = rowOf(folder, u"RQAE01"_qs);
    const QImage missing = drag(folder, grid, {alpha}).image;
    m_center->setImage(u"RQAE01"_qs, [] {
        QImage blue(176, 248, QImage::Format_RGB32);
        blue.fill(Qt::blue);
        return blue;
    }());
    const Dragged dragged = drag(folder, grid, {alpha});
    const QImage one = dragged.image;
    auto isRed = [](const QImage &image, int x, int y) {
        const QColor c = image.pixelColor(x, y);
        return c.red() > 200 && c.green() < 60 && c.blue() < 60;
    };
    // The right end of the badge: the last red pixel of a row through it
    // (the count's black digits interrupt the red in between).
    auto badgeEnd = [&](const QImage &image) {
        int end = 0;
        for (int x = 0; x < image.width(); ++x) {
            if (isRed(image, x, 6))
                end = x + 1;
        }
        return end;
    };
    for (const QImage *image : {&missing, &one}) {
        QCOMPARE(image->size(), QSize(100, 141));
        QVERIFY(isRed(*image, 3, 6));
        QCOMPARE(image->pixelColor(0, 6), QColor(Qt::white));
        // The badge spans 30 of the cover's 176 pixels, plus its ring.
        QVERIFY(qAbs(badgeEnd(*image) - 18) <= 1);
    }
    const QImage missingScaled = QBGameBundle::missingCover().scaled(100, 141, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QColor shown = missing.pixelColor(50, 100);
    const QColor expected = missingScaled.pixelColor(50, 100);
    QVERIFY(qAbs(shown.red() - expected.red()) + qAbs(shown.green() - expected.green())
                    + qAbs(shown.blue() - expected.blue())
            <= 6);
    QCOMPARE(one.pixelColor(50, 100), QColor(Qt::blue));
    for (int i = 0; i < 118; ++i)
        folder->document()->browsingDidFinish({{u"game"_qs, QVariantMap{{u"id"_qs, u"RZZE%1"_qs.arg(i, 2, 10, QLatin1Char('0'))}}}});
    folder->imageBrowserView()->selectAll();
    const QImage many = folder->draggedImageForGameIndexes(folder->document()->selectedIndexes());
    QVERIFY(badgeEnd(many) > badgeEnd(one) + 10);

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
    QTRY_COMPARE(m_alerts->messages(), QStringList{u"The dragged games could not be read."_qs});

    // A game whose file went after it was dragged: the conversion fails and
    // says so; no file is written (only the game's folder was made).
    QVERIFY(QFile::remove(source + u"/Alpha [RQAE01].wdf"_qs));
    whenPanelShows(QBConvertPanel::convertPanel(), [] {
        QVERIFY(composeTitleAndId(QBConvertPanel::convertPanel()));
        QBConvertPanel::convertPanel()->okButton()->click();
    });
    QVERIFY(drop(target->imageBrowserView(), dragged.data.get()).second);
    QTRY_COMPARE(m_alerts->alerts.size(), 2);
    QVERIFY(idle(target));
    QVERIFY(m_alerts->alerts.last().message.startsWith(u"An error has been detected while converting '%1/Alpha"_qs.arg(source)));
    QDirIterator written(out, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    QVERIFY2(!written.hasNext(), qPrintable(written.next()));
    QCOMPARE(target->document()->games().size(), 0);

    // A partition without a free block: wwt fails, the user is told, and
    // the partition lists nothing new.
    const QString full = m_dir.filePath(u"refused/FULL.wbfs"_qs);
    QProcess format;
    format.start(u"wwt"_qs, {u"format"_qs, u"--inode"_qs, u"--size"_qs, u"10M"_qs, u"--force"_qs, full});
    QVERIFY(format.waitForFinished() && format.exitCode() == 0);
    QBDocumentWindow *partition = open(full, QBDocument::Partition);
    QVERIFY(partition);
    const QString beta = source + u"/Beta [RQBP01].wdf"_qs;
    const std::unique_ptr<QMimeData> betaData(
            QBDragData::mimeData({folder->document()->arrangedGame(rowOf(folder, u"RQBP01"_qs)).values()}));
    QVERIFY(drop(partition->tableView(), betaData.get()).second);
    QTRY_COMPARE(m_alerts->alerts.size(), 3);
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
    QTRY_COMPARE(m_alerts->alerts.size(), 5);
    delete panelWatch.data();
    QVERIFY(idle(target) && idle(partition));
    QCOMPARE(m_alerts->messages().mid(3), QStringList(2, u"'Beta [RQBP01].wdf' cannot be transferred."_qs));
    QVERIFY(m_conversions.take().isEmpty());
}

QTEST_MAIN(tst_QBMovingGames)
#include "tst_qbmovinggames.moc"
