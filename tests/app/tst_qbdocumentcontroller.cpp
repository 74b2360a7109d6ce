// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbapplicationmenus.h"
#include "app/qbapplicationwindows.h"
#include "app/qbdocumentcontroller.h"
#include "app/qbhelpwindow.h"
#include "app/qbinstancechannel.h"
#include "app/qbmessageboxpresenter.h"
#include "app/qbpreferenceswindow.h"
#include "app/qbsignalwatcher.h"
#include "app/qbstartwindow.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "conversion/qbconversioncontroller.h"
#include "document/qbdocumentwindow.h"
#include "gamedata/qbgamecenter.h"
#include "panels/qbnamingpanel.h"
#include "panels/qbselectpartitionpanel.h"
#include "qbfaketool.h"
#include "qbscriptedalerts.h"
#include "qbtestfiles.h"
#include "qbtesthttpserver.h"
#include "qbtestimages.h"
#include "tasks/qboperation.h"
#include "tasks/qboperationqueue.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>
#include <QtConcurrent>

#include <memory>
#include <signal.h>

namespace {

// An operation that runs until it is cancelled: a conversion as far as
// the quit question is concerned.
class Endless : public QBOperation
{
protected:
    void main() override
    {
        connect(this, &QBOperation::cancelled, this, [this] { finish(); });
    }
};

// Names every game "Big", confirmed at once.
class FixedName : public QBNamingPanel
{
public:
    bool runModalWithTitle(const QString &, const QList<QVariantMap> &) override { return true; }
    QString stringForGame(const QVariantMap &) const override { return u"Big"_qs; }
};

// Runs act on the modal dialog named name once it is up, from inside its
// own event loop; a dialog still open afterwards is rejected, so that a
// failed check never leaves the test blocked.
void whenModal(const QString &name, std::function<void(QDialog *)> act)
{
    auto *poll = new QTimer(qApp);
    auto tries = std::make_shared<int>(0);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, name, act, tries] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!dialog || dialog->objectName() != name) {
            if (++*tries > 500)
                poll->deleteLater();
            return;
        }
        poll->deleteLater();
        act(dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
    poll->start(10);
}

// Chooses a menu item as the user does: the menu opens (its items are
// validated), then a click on the item. False when the item is disabled.
bool choose(QMainWindow *window, const QString &menuTitle, const QString &itemText)
{
    QMenu *menu = QBApplicationMenus::menu(window->menuBar(), menuTitle);
    if (!menu)
        return false;
    menu->popup(window->mapToGlobal(QPoint(10, 10)));
    if (!QTest::qWaitFor([menu] { return menu->isVisible(); }))
        return false;
    for (QAction *item : menu->actions()) {
        if (item->text() != itemText)
            continue;
        if (!item->isEnabled())
            break;
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(item).center());
        // The offscreen platform leaves the closed menu active; the window
        // takes its shortcuts back as it would on a desktop.
        (void)QTest::qWaitFor([menu] { return !menu->isVisible(); }, 1000);
        QCoreApplication::processEvents();
        if (qobject_cast<QMenu *>(QApplication::activeWindow()) && window->isVisible()) {
            QApplication::setActiveWindow(window);
            (void)QTest::qWaitFor([window] { return QApplication::activeWindow() == window; }, 1000);
        }
        return true;
    }
    menu->close();
    return false;
}

// A folder chosen in the open panel: the panel shows it, nothing typed.
void chooseFolder(QDialog *panel, const QString &folder)
{
    static_cast<QFileDialog *>(panel)->setDirectory(folder);
    static_cast<QFileDialog *>(panel)->selectFile(QString());
    panel->accept();
}

// A file name typed in the panel, as the user does; the panel's folder
// may not be listed yet.
void typeFileName(QDialog *panel, const QString &name)
{
    auto *edit = panel->findChild<QLineEdit *>(u"fileNameEdit"_qs);
    QVERIFY(edit);
    edit->setText(name);
}

void chooseFile(QDialog *panel, const QString &path)
{
    typeFileName(panel, path);
    panel->accept();
}

QString savedDocuments()
{
    return QSettings().value(SettingsKey::documents).toString();
}

constexpr auto archive = &QBDocumentController::archiveEntries;

}

class tst_QBDocumentController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void startUpSeedsOncePerBuild();
    void quitSavesTheOpenDocuments();
    void reopeningSkipsWhatIsGone();
    void windowPlacement();
    void openingCommands();
    void exportFromTheMenu();
    void preferences();
    void laterLaunches();
    void signalEndsAsQuitWithoutQuestions();

    void answers_data();
    void answers();

private:
    void launch(int build = QBDocumentController::programBuildVersion(), const QStringList &paths = {});
    QBDocumentWindow *window(const QString &filename) const;
    QBDocumentWindow *waitListed(const QString &filename) const;

    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
    QString m_support;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBGameCenter> m_center;
    std::unique_ptr<QBDocumentController> m_controller;
    std::unique_ptr<QBApplicationWindows> m_windows;

};

void tst_QBDocumentController::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    m_support = m_dir.filePath(u"support"_qs);
    QBSupportFolder::setLocation(m_support);
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
    QVERIFY(QDir().mkpath(m_support));
    QVERIFY(QBTestFiles::write(m_support + u"/wiitdb.xml"_qs, "<datafile><game><id>RZAE01</id></game>"
                               "<game><id>RZBE01</id></game><game><id>RZCE01</id></game></datafile>"));
}

void tst_QBDocumentController::init()
{
    QSettings().clear();
    QBSettings::setValue(SettingsKey::languages, QStringList{u"en"_qs});
    QBSettings::setValue(SettingsKey::downloadCovers, false);
    m_alerts = std::make_unique<QBScriptedAlerts>();
    m_center = std::make_unique<QBGameCenter>();
    QTRY_VERIFY(m_center->hasDatabase());
}

void tst_QBDocumentController::cleanup()
{
    m_windows.reset();
    m_controller.reset();
    m_center.reset();
    m_alerts.reset();
    QBSupportFolder::setLocation(m_support);
}

// A launch of the program as main() makes it, after the last one ended.
void tst_QBDocumentController::launch(int build, const QStringList &paths)
{
    m_windows.reset();
    m_controller.reset();
    // The welcome comes from the event loop, once the tools have answered.
    const bool welcome = QBSettings::lastVersion() != build && !QBSettings::firstAlert();
    m_controller = std::make_unique<QBDocumentController>();
    m_controller->setBuildVersion(build);
    m_windows = std::make_unique<QBApplicationWindows>(m_controller.get(), m_center.get());
    m_windows->start(paths);
    if (welcome)
        QTest::qWaitFor([] { return QBSettings::firstAlert(); }, 10000);
}

QBDocumentWindow *tst_QBDocumentController::window(const QString &filename) const
{
    return QBApplicationWindows::windowForDocument(m_controller->documentForFilename(filename));
}

QBDocumentWindow *tst_QBDocumentController::waitListed(const QString &filename) const
{
    // Reopened windows after the first come from the event loop, up to 64
    // of them, each listed by wit.
    QBDocumentWindow *found = nullptr;
    if (!QTest::qWaitFor([&] { return (found = window(filename)) != nullptr; }, 30000)
        || !QTest::qWaitFor([found] { return !found->document()->isBrowsing(); }, 30000))
        return nullptr;
    return found;
}

void tst_QBDocumentController::startUpSeedsOncePerBuild()
{
    const int build = QBDocumentController::programBuildVersion();
    bool startWindowBehindWelcome = false;
    m_alerts->onAlert = [this, &startWindowBehindWelcome](const QBAlert &) {
        startWindowBehindWelcome = m_windows->startWindow()->isVisible();
    };
    launch();
    m_alerts->onAlert = nullptr;
    QCOMPARE(m_alerts->messages(), QStringList{u"Welcome to Palomet!"_qs});
    QVERIFY(m_alerts->alerts.first().alternateButton.isEmpty());
    QVERIFY(startWindowBehindWelcome);
    // The system's tools are named with their versions, not sent for.
    const QString welcomeText = m_alerts->alerts.first().informativeText;
    QVERIFY2(QRegularExpression(u"with wit [0-9][0-9.]*[a-z]*, installed on your system"_qs).match(welcomeText).hasMatch()
                     && welcomeText.contains(u"with wwt "_qs) && !welcomeText.contains(u"Download WIT"_qs),
             qPrintable(welcomeText));
    QSettings settings;
    QCOMPARE(settings.value(SettingsKey::lastVersion).toInt(), build);
    QCOMPARE(settings.value(SettingsKey::firstAlert).toBool(), true);
    const QVariantMap defaults =
            QJsonDocument::fromJson(QBTestFiles::read(QBDocumentController::defaultsResource)).object().toVariantMap();
    QVERIFY(!defaults.isEmpty());
    // Every key is stored; the one set before the launch keeps its value.
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        QVERIFY2(settings.contains(it.key()), qPrintable(it.key()));
    QCOMPARE(settings.value(SettingsKey::downloadCovers).toBool(), false);

    // The same build again: nothing is seeded, no welcome, even without
    // firstAlert.
    settings.remove(SettingsKey::firstAlert);
    settings.remove(SettingsKey::exportFormat);
    settings.setValue(SettingsKey::conversionFormat, u"iso"_qs);
    m_alerts->alerts.clear();
    launch();
    QVERIFY(m_alerts->alerts.isEmpty());
    QVERIFY(!settings.contains(SettingsKey::exportFormat));
    QVERIFY(!settings.contains(SettingsKey::firstAlert));

    // A new build keeps the user's choice, adds what is missing, and
    // considers the welcome again, which holds back no folder given to it.
    int documentsBehindWelcome = 0;
    m_alerts->onAlert = [this, &documentsBehindWelcome](const QBAlert &) {
        documentsBehindWelcome = int(m_controller->documents().size());
    };
    launch(build + 1, {m_library.folder});
    m_alerts->onAlert = nullptr;
    QCOMPARE(documentsBehindWelcome, 1);
    QCOMPARE(settings.value(SettingsKey::conversionFormat).toString(), u"iso"_qs);
    QCOMPARE(settings.value(SettingsKey::exportFormat).toString(), u"html"_qs);
    QCOMPARE(settings.value(SettingsKey::lastVersion).toInt(), build + 1);
    QCOMPARE(m_alerts->messages(), QStringList{u"Welcome to Palomet!"_qs});
}

void tst_QBDocumentController::quitSavesTheOpenDocuments()
{
    launch();
    QBStartWindow *start = m_windows->startWindow();
    QVERIFY(QTest::qWaitForWindowExposed(start));

    // A folder from the open panel, a WBFS file, and the database.
    whenModal(u"openPanel"_qs, [this](QDialog *dialog) {
        QVERIFY(!dialog->findChild<QCheckBox *>(SettingsKey::browseRecursively)->isChecked());
        chooseFolder(dialog, m_library.folder);
    });
    QVERIFY(choose(start, u"File"_qs, u"Open Folder…"_qs));
    QBDocumentWindow *folder = waitListed(m_library.folder);
    QVERIFY(folder);
    QCOMPARE(folder->document()->games().size(), m_library.topLevelIds.size());
    QVERIFY(!start->isVisible());
    whenModal(u"wbfsFilePanel"_qs, [this](QDialog *dialog) { chooseFile(dialog, m_library.container); });
    QVERIFY(choose(folder, u"File"_qs, u"Open WBFS File…"_qs));
    QBDocumentWindow *partition = waitListed(m_library.container);
    QVERIFY(partition);
    QCOMPARE(partition->document()->documentType(), int(QBDocument::Partition));
    QCOMPARE(partition->document()->games().size(), 3);
    QVERIFY(choose(partition, u"File"_qs, u"Open Database"_qs));
    QBDocumentWindow *database = window(QBDocumentController::databaseDocumentName);
    QVERIFY(database);
    QCOMPARE(database->document()->games().size(), 3);
    QVERIFY(choose(folder, u"View"_qs, u"Cover Grid"_qs));
    QCOMPARE(folder->document()->displayMode(), 0);

    // Quitting while a conversion runs, answered "Cancel": nothing changes.
    QBOperationQueue *conversions = QBConversionController::sharedController()->conversionQueue();
    conversions->addOperation(new Endless);
    QSettings().setValue(SettingsKey::documents, u"as before"_qs);
    m_alerts->alerts.clear();
    m_alerts->answers = {QBAlertAnswer::Alternate};
    QVERIFY(!m_windows->quit());
    conversions->cancelAllOperations();
    QCOMPARE(m_alerts->messages(),
             QStringList{u"Some conversions are still running. Are you sure you want to quit?"_qs});
    QCOMPARE(savedDocuments(), u"as before"_qs);
    QCOMPARE(m_controller->documents().size(), 3);

    // Quit by its shortcut: the folder and the partition are saved in the
    // order they were opened, with their display modes.
    QTRY_VERIFY(!QBConversionController::sharedController()->isConverting());
    QVERIFY(QTest::qWaitForWindowActive(folder));
    QTest::keySequence(folder, QKeySequence(Qt::CTRL | Qt::Key_Q));
    QCOMPARE(savedDocuments(), archive({{m_library.folder, 0, 0}, {m_library.container, 1, 1}}));
    QVERIFY(m_controller->documents().isEmpty());
    QVERIFY(!start->isVisible());

    // The next launch reopens both, as tables, without the start window.
    launch();
    QVERIFY(waitListed(m_library.folder));
    QCOMPARE(window(m_library.folder)->document()->displayMode(), 1);
    QVERIFY(waitListed(m_library.container));
    QCOMPARE(m_controller->documents().size(), 2);
    QVERIFY(!m_windows->startWindow()->isVisible());

    // With only the database open, an empty list is saved.
    m_controller->openDatabase();
    for (const QString &filename : {m_library.folder, m_library.container})
        QVERIFY(choose(window(filename), u"File"_qs, u"Close"_qs));
    QCOMPARE(m_controller->documents().size(), 1);
    QVERIFY(m_windows->quit());
    QCOMPARE(savedDocuments(), archive({}));

    // With nothing open, the key goes; closing the start window quits.
    launch();
    QVERIFY(m_controller->documents().isEmpty());
    QVERIFY(m_windows->startWindow()->isVisible());
    QVERIFY(m_windows->startWindow()->close());
    QVERIFY(!QSettings().contains(SettingsKey::documents));
}

void tst_QBDocumentController::reopeningSkipsWhatIsGone()
{
    const QString vanished = m_dir.filePath(u"vanished"_qs);
    QSettings().setValue(SettingsKey::documents,
                         u"{\"version\":1,\"documents\":[[\"%1\",0,1],[\"x\"],[\"%2\",1,1],17,[\"%3\",0,0]]}"_qs.arg(
                                 vanished, m_dir.filePath(u"unplugged.wbfs"_qs), m_library.folder));
    launch();
    QVERIFY(waitListed(m_library.folder));
    QCOMPARE(m_controller->documents().size(), 1);
    QCOMPARE(m_alerts->messages(), QStringList{u"Welcome to Palomet!"_qs});

    // A list longer than anyone leaves open: the first window at once, the
    // others after it up to 64, and the rest dropped from the list.
    QList<QBDocumentEntry> many;
    for (int i = 0; i < 100; ++i) {
        many.append({m_dir.filePath(u"many/%1"_qs.arg(i)), 0, 1});
        QVERIFY(QDir().mkpath(many.last().filename));
    }
    QSettings().setValue(SettingsKey::documents, archive(many));
    launch();
    QCOMPARE(m_controller->documents().size(), 1);
    QCOMPARE(savedDocuments(), archive(many.mid(0, 64)));
    QVERIFY(waitListed(many.at(63).filename));
    QCOMPARE(m_controller->documents().size(), 64);

    // A list that cannot be read at all opens nothing.
    m_alerts->alerts.clear();
    QSettings().setValue(SettingsKey::documents, u"\x01garbage{"_qs);
    launch();
    QVERIFY(m_controller->documents().isEmpty());
    QVERIFY(m_windows->startWindow()->isVisible());
    QVERIFY(m_alerts->alerts.isEmpty());

    // A settings file that cannot be written (a folder stands in its
    // place): the program starts, opens and quits all the same.
    const QString file = QSettings().fileName();
    m_windows.reset();
    m_controller.reset();
    QVERIFY(QFile::remove(file));
    QVERIFY(QDir().mkpath(file));
    const QRegularExpression unwritten(u"^The settings could not be written"_qs);
    for (int i = 0; i < 3; ++i)
        QTest::ignoreMessage(QtWarningMsg, unwritten);
    launch();
    m_controller->openDocument(m_library.folder, QBDocument::Folder, 1);
    QVERIFY(waitListed(m_library.folder));
    QVERIFY(m_windows->quit());
    m_windows.reset();
    m_controller.reset();
    QVERIFY(QDir(file).removeRecursively());
}

void tst_QBDocumentController::windowPlacement()
{
    launch();
    const QString sub = m_library.path(u"sub"_qs);
    m_controller->openDocument(m_library.folder, QBDocument::Folder, 0);
    QBDocumentWindow *first = window(m_library.folder);
    QVERIFY(first && QTest::qWaitForWindowExposed(first));
    QCOMPARE(first->document()->displayMode(), 1);
    first->setGeometry(60, 70, 420, 300);
    m_controller->openDocument(sub, QBDocument::Folder, 1);
    QBDocumentWindow *second = window(sub);
    QVERIFY(second && QTest::qWaitForWindowExposed(second));
    QCOMPARE(second->geometry(), QRect(260, 110, 420, 300));
    QCOMPARE(m_controller->currentDocument(), second->document());

    // The same folder again brings its window forward.
    m_controller->openDocument(m_library.folder, QBDocument::Folder, 1);
    QCOMPARE(m_controller->documents().size(), 2);
    QCOMPARE(m_controller->currentDocument(), first->document());
    // A file hands over its folder; an open document's own path does not.
    QVERIFY(m_controller->applicationOpenFile(m_library.path(u"sub/Echo [RQEE01].wdf"_qs)));
    QCOMPARE(m_controller->currentDocument(), second->document());
    QVERIFY(!m_controller->applicationOpenFile(sub));
    QCOMPARE(m_controller->documents().size(), 2);

    // Each frame is saved under its path and used at the next launch.
    second->setGeometry(40, 50, 380, 260);
    QVERIFY(m_windows->quit());
    launch();
    QVERIFY(waitListed(m_library.folder) && waitListed(sub));
    QCOMPARE(window(m_library.folder)->geometry(), QRect(60, 70, 420, 300));
    QCOMPARE(window(sub)->geometry(), QRect(40, 50, 380, 260));

    // The start window keeps its place, in a run and from one run to the
    // next.
    QBStartWindow *start = m_windows->startWindow();
    start->show();
    start->setGeometry(90, 80, 600, 380);
    start->hide();
    start->move(0, 0);
    start->show();
    QCOMPARE(start->geometry(), QRect(90, 80, 600, 380));
    QVERIFY(m_windows->quit());
    launch();
    QCOMPARE(m_windows->startWindow()->geometry(), QRect(90, 80, 600, 380));
}

void tst_QBDocumentController::openingCommands()
{
    launch();
    QBStartWindow *start = m_windows->startWindow();
    m_alerts->alerts.clear();

    // Without the tools, the commands say where to get them.
    QBSupportFolder::setLocation(m_dir.filePath(u"empty support"_qs));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "");
    QVERIFY(choose(start, u"File"_qs, u"Open Folder…"_qs));
    QVERIFY(choose(start, u"File"_qs, u"Open WBFS Partition…"_qs));
    QVERIFY(choose(start, u"File"_qs, u"Open WBFS File…"_qs));
    qputenv("PATH", path);
    QCOMPARE(m_alerts->messages(),
             (QStringList{u"Before browsing this resource you have to download WIT from the File menu."_qs,
                          u"Before browsing this resource you have to download WWT from the File menu."_qs,
                          u"Before browsing this resource you have to download WWT from the File menu."_qs}));
    QCOMPARE(m_alerts->alerts.first().informativeText, QString());
    QVERIFY(m_controller->documents().isEmpty());

    // The partition panel's choice opens as a partition.
    {
        QBFakeTool tool;
        tool.setScript(u"out [part-1]\\npath=%1\\nsize=10000000000\\n\\n\n"_qs.arg(m_library.container));
        whenModal(QString(), [](QDialog *dialog) {
            auto *panel = qobject_cast<QBSelectPartitionPanel *>(dialog);
            QVERIFY(panel);
            QCOMPARE(panel->windowTitle(), u"Open WBFS partition"_qs);
            QTRY_VERIFY(panel->selectPartitionMenu()->isEnabled());
            QTest::mouseClick(panel->okButton(), Qt::LeftButton);
        });
        QVERIFY(choose(start, u"File"_qs, u"Open WBFS Partition…"_qs));
        QVERIFY(window(m_library.container));
        QCOMPARE(window(m_library.container)->document()->documentType(), int(QBDocument::Partition));
        QVERIFY(tool.invocations().contains(u"wwt | find | --auto | --all | --sections"_qs));
        window(m_library.container)->close();
    }
    QBSupportFolder::setLocation(m_support);

    // A file that is not a WBFS file is refused, whatever its name.
    const QString fake = m_dir.filePath(u"fake.wbfs"_qs);
    QVERIFY(QBTestFiles::write(fake, "ISO!"));
    whenModal(u"wbfsFilePanel"_qs, [&fake](QDialog *dialog) { chooseFile(dialog, fake); });
    m_alerts->alerts.clear();
    QVERIFY(choose(start, u"File"_qs, u"Open WBFS File…"_qs));
    QCOMPARE(m_alerts->messages(), QStringList{u"“fake.wbfs” is not a WBFS file."_qs});
    QVERIFY(m_controller->documents().isEmpty());

    // Deep search in the open panel is the browseRecursively setting.
    whenModal(u"openPanel"_qs, [this](QDialog *dialog) {
        dialog->findChild<QCheckBox *>(SettingsKey::browseRecursively)->setChecked(true);
        chooseFolder(dialog, m_library.folder);
    });
    QVERIFY(choose(start, u"File"_qs, u"Open Folder…"_qs));
    QVERIFY(QBSettings::browseRecursively());
    QBDocumentWindow *folder = waitListed(m_library.folder);
    QVERIFY(folder);
    QCOMPARE(folder->document()->games().size(), m_library.allIds.size());

    // The window's own commands sit in the menus with the document's
    // rules: nothing selected, nothing to remove or rename; a folder has
    // nothing to recover.
    for (const auto &[menu, item] : {std::pair{u"Edit"_qs, u"Remove…"_qs}, {u"Edit"_qs, u"Rename…"_qs},
                                     {u"File"_qs, u"Recover removed games"_qs}})
        QVERIFY2(!choose(folder, menu, item), qPrintable(item));
    folder->tableView()->selectRow(0);
    QVERIFY(!choose(folder, u"File"_qs, u"Recover removed games"_qs));
    m_alerts->alerts.clear();
    m_alerts->answers = {QBAlertAnswer::Alternate};
    QVERIFY(choose(folder, u"Edit"_qs, u"Remove…"_qs));
    QCOMPARE(m_alerts->alerts.size(), 1);
    QVERIFY(m_alerts->alerts.first().message.startsWith(u"Are you sure you want to remove"_qs));
    QCOMPARE(folder->document()->games().size(), m_library.allIds.size());
    folder->tableView()->clearSelection();

    // The help ships with the program. The web links need a site; without
    // one the user is told which page it would be, and can go where the
    // site is set.
    QVERIFY(choose(folder, u"Help"_qs, u"Palomet Help"_qs));
    QVERIFY(m_windows->helpWindow()->isVisible());
    QVERIFY(m_windows->helpWindow()->browser()->toPlainText().contains(u"Getting started"_qs));
    m_windows->helpWindow()->close();
    m_alerts->alerts.clear();
    m_alerts->answers = {QBAlertAnswer::Default};
    QVERIFY(choose(folder, u"Help"_qs, u"Donate"_qs));
    QCOMPARE(m_alerts->messages(), QStringList{u"No web site is set for Palomet."_qs});
    QVERIFY(m_alerts->alerts.first().informativeText.contains(u"\"/palomet/wordpress/?page_id=101\""_qs));
    QCOMPARE(m_windows->preferencesWindow()->focusWidget()->objectName(), SettingsKey::toolServer);
    m_windows->preferencesWindow()->close();
}

void tst_QBDocumentController::exportFromTheMenu()
{
    QBTestHttpServer server;
    server.setRoute(u"/wii/cover3D/FR/RQBP01.png"_qs, "png");
    server.setRoute(u"/wii/cover3D/FR/RQDK01.png"_qs, "png", QBTestHttpServer::Mode::Held);
    QBSettings::setValue(SettingsKey::coverServer, server.url());
    QBSettings::setValue(SettingsKey::languages, QStringList{u"fr"_qs});
    launch();
    QVERIFY(!choose(m_windows->startWindow(), u"File"_qs, u"Export Game List…"_qs));
    m_controller->openDocument(m_library.folder, QBDocument::Folder, 1);
    QBDocumentWindow *folder = waitListed(m_library.folder);
    QVERIFY(folder);
    // Only the games shown go, in the order shown.
    QTest::keyClicks(folder->searchField(), u"TA"_qs);
    folder->tableView()->sortByColumn(QBGameListModel::columnForKey(u"title"_qs), Qt::DescendingOrder);
    QString out = m_dir.filePath(u"out"_qs);
    QVERIFY(QDir().mkpath(out));

    // The text list, its format chosen in the panel before a name with the
    // other extension is typed: the question is about the file written.
    QVERIFY(QBTestFiles::write(out + u"/list.txt"_qs, "mine"));
    whenModal(u"exportPanel"_qs, [&out](QDialog *dialog) {
        auto *panel = static_cast<QFileDialog *>(dialog);
        QCOMPARE(panel->directory().path(), QDir::homePath());
        QCOMPARE(panel->selectedFiles().value(0).section(u'/', -1), u"library.html"_qs);
        panel->setDirectory(out);
        panel->findChild<QComboBox *>(SettingsKey::exportFormat)->setCurrentText(u"txt"_qs);
        typeFileName(panel, u"list.html"_qs);
        dialog->accept();
        QVERIFY(dialog->isVisible());
        dialog->accept();
    });
    m_alerts->alerts.clear();
    m_alerts->answers = {QBAlertAnswer::Alternate};
    QVERIFY(choose(folder, u"File"_qs, u"Export Game List…"_qs));
    QTRY_VERIFY(QFileInfo(out + u"/list.txt"_qs).size() > 4);
    QCOMPARE(m_alerts->messages(), QStringList(2, u"'list.txt' already exists. Do you want to replace it?"_qs));
    const QString expected = u"\uFEFF[RQDK01] Delta CISO\n[RQBP01] Beta: The Colon\n"_qs;
    QCOMPARE(QBTestFiles::read(out + u"/list.txt"_qs), QByteArray(reinterpret_cast<const char *>(expected.utf16()), expected.size() * 2));
    QCOMPARE(QBSettings::value(SettingsKey::exportFormat).toString(), u"txt"_qs);

    // The page waits for its covers behind a progress that can cancel it.
    // It opens where the last export went, and a folder typed with the name
    // stays when the format changes.
    QString last = std::exchange(out, m_dir.filePath(u"pages"_qs));
    QVERIFY(QDir().mkpath(out));
    auto exportPage = [this, folder, &out, &last] {
        whenModal(u"exportPanel"_qs, [&out, &last](QDialog *dialog) {
            auto *panel = static_cast<QFileDialog *>(dialog);
            QCOMPARE(panel->directory().path(), std::exchange(last, out));
            typeFileName(panel, out + u"/page"_qs);
            dialog->findChild<QComboBox *>(SettingsKey::exportFormat)->setCurrentText(u"html"_qs);
            QCOMPARE(panel->selectedFiles().value(0), out + u"/page.html"_qs);
            dialog->accept();
        });
        return choose(folder, u"File"_qs, u"Export Game List…"_qs);
    };
    QVERIFY(exportPage());
    QProgressDialog *progress = nullptr;
    QTRY_VERIFY((progress = folder->findChild<QProgressDialog *>(u"exportProgress"_qs)) && progress->isVisible());
    QTRY_COMPARE(progress->value(), 1);
    QTest::mouseClick(progress->findChild<QPushButton *>(), Qt::LeftButton);
    QTRY_VERIFY(!folder->findChild<QProgressDialog *>(u"exportProgress"_qs));
    server.release();
    QVERIFY(!QFile::exists(out + u"/page.html"_qs));

    server.setRoute(u"/wii/cover3D/FR/RQDK01.png"_qs, QByteArray());
    QVERIFY(exportPage());
    QTRY_VERIFY(QFile::exists(out + u"/page.html"_qs));
    const QByteArray bytes = QBTestFiles::read(out + u"/page.html"_qs);
    QVERIFY(bytes.startsWith("\xFF\xFE"));
    const QString html =
            QString::fromUtf16(reinterpret_cast<const char16_t *>(bytes.constData() + 2), (bytes.size() - 2) / 2);
    QVERIFY(html.startsWith(u"<html>\n<head><title>"_qs + m_library.folder + u"</title>"_qs));
    const qsizetype delta =
            html.indexOf(server.url() + u"/wii/cover3D/EN/RQDK01.png' /></td><td>RQDK01</td><td>Delta CISO</td>"_qs);
    const qsizetype beta = html.indexOf(
            server.url() + u"/wii/cover3D/FR/RQBP01.png' /></td><td>RQBP01</td><td>Beta: The Colon</td>"_qs);
    QVERIFY(delta > 0 && beta > delta);
}

void tst_QBDocumentController::preferences()
{
    launch();
    QVERIFY(choose(m_windows->startWindow(), u"Edit"_qs, u"Preferences…"_qs));
    QBPreferencesWindow *preferences = m_windows->preferencesWindow();
    QVERIFY(preferences && QTest::qWaitForWindowActive(preferences));

    auto *format = preferences->findChild<QComboBox *>(SettingsKey::conversionFormat);
    QCOMPARE(format->currentText(), u"wbfs"_qs);
    QTest::keyClick(format, Qt::Key_End);
    QCOMPARE(QBSettings::value(SettingsKey::conversionFormat).toString(), u"wia"_qs);
    QVERIFY(QBConversionController::sharedController()->isFormatWIA());

    QTest::mouseClick(preferences->findChild<QCheckBox *>(SettingsKey::notifyWhenDone), Qt::LeftButton);
    QCOMPARE(QBSettings::value(SettingsKey::notifyWhenDone).toBool(), false);
    auto *languages = preferences->findChild<QLineEdit *>(SettingsKey::languages);
    languages->setFocus();
    languages->selectAll();
    QTest::keyClicks(languages, u"fr, de"_qs);
    QTest::keyClick(languages, Qt::Key_Return);
    QCOMPARE(QSettings().value(SettingsKey::languages).toStringList(), (QStringList{u"fr"_qs, u"de"_qs}));
    auto *covers = preferences->findChild<QLineEdit *>(SettingsKey::coverServer);
    covers->setFocus();
    QTest::keyClicks(covers, u"http://covers.example"_qs);
    QTest::keyClick(covers, Qt::Key_Return);
    QCOMPARE(QBSettings::value(SettingsKey::coverServer).toString(), u"http://covers.example"_qs);
    covers->clear();
    QTest::keyClick(covers, Qt::Key_Return);
    QCOMPARE(QBSettings::value(SettingsKey::coverServer), QBSettings::defaultValue(SettingsKey::coverServer));

    // What the panels change shows when the window comes back.
    preferences->close();
    QBSettings::setValue(SettingsKey::exportFormat, u"txt"_qs);
    QBSettings::setValue(SettingsKey::browseRecursively, true);
    QVERIFY(choose(m_windows->startWindow(), u"Edit"_qs, u"Preferences…"_qs));
    QCOMPARE(preferences->findChild<QComboBox *>(SettingsKey::exportFormat)->currentText(), u"txt"_qs);
    QVERIFY(preferences->findChild<QCheckBox *>(SettingsKey::browseRecursively)->isChecked());
    QCOMPARE(preferences->findChild<QComboBox *>(SettingsKey::conversionFormat)->currentText(), u"wia"_qs);
}

void tst_QBDocumentController::laterLaunches()
{
    launch();
    QBStartWindow *start = m_windows->startWindow();
    start->hide();
    const QString name = m_dir.filePath(u"channel"_qs);
    QBInstanceChannel running(name);
    QVERIFY(running.listen());
    connect(&running, &QBInstanceChannel::launched, m_windows.get(), &QBApplicationWindows::launched);
    const QBInstanceChannel later(name);
    auto forward = [&later](const QStringList &paths) {
        QFuture<bool> answer = QtConcurrent::run([&later, paths] { return later.forward(paths); });
        return QTest::qWaitFor([&answer] { return answer.isFinished(); }) && answer.result();
    };

    // Started again with nothing open: the start window comes back.
    QVERIFY(forward({}));
    QTRY_VERIFY(start->isVisible());
    // A file handed over opens its folder.
    QVERIFY(forward({m_library.path(u"Golf [GQGE01].iso"_qs)}));
    QTRY_VERIFY(window(m_library.folder));
    QVERIFY(!start->isVisible());
    QVERIFY(forward({}));
    QVERIFY(!start->isVisible());
    QCOMPARE(m_controller->documents().size(), 1);

    QVERIFY(!QBInstanceChannel(m_dir.filePath(u"nobody"_qs)).forward({}, 500));
}

void tst_QBDocumentController::signalEndsAsQuitWithoutQuestions()
{
    // A gigabyte of GameCube data to WIA: wit takes seconds over it.
    const QString source = m_dir.filePath(u"signal/source"_qs);
    const QString out = m_dir.filePath(u"signal/out"_qs);
    QVERIFY(QDir().mkpath(out));
    QVERIFY(!QBTestImages::makeGameCubeImage(source + u"/Big [GQZE01].iso"_qs, u"GQZE01"_qs, u"Big Cube"_qs,
                                             qint64(1000) << 20)
                     .isEmpty());
    QBSettings::setValue(SettingsKey::conversionFormat, u"wia"_qs);
    QBSettings::setValue(SettingsKey::shouldCreateParentDirectory, false);
    launch();
    QBSignalWatcher watcher;
    connect(&watcher, &QBSignalWatcher::signalReceived, m_windows.get(), &QBApplicationWindows::quitWithoutQuestions);
    m_controller->openDocument(source, QBDocument::Folder, 1);
    m_controller->openDocument(out, QBDocument::Folder, 1);
    QBDocumentWindow *from = waitListed(source);
    QBDocumentWindow *to = waitListed(out);
    QVERIFY(from && to);
    FixedName name;
    to->document()->addGames({from->document()->arrangedGame(0).values()}, &name);
    QBConversionController *conversions = QBConversionController::sharedController();
    QTRY_VERIFY(!conversions->conversionQueue()->operations().isEmpty());
    const QProcess *tool = conversions->conversionQueue()->operations().first()->findChild<QProcess *>();
    const QDir written(out, {}, QDir::NoSort, QDir::Files | QDir::Hidden);
    QTRY_VERIFY_WITH_TIMEOUT(!written.entryList({u".*.tmp"_qs}).isEmpty(), 30000);
    const qint64 pid = tool->processId();

    // Ended from outside while wit writes: no question, wit stopped and its
    // temporary file gone, the documents saved, the windows closed.
    m_alerts->alerts.clear();
    QVERIFY(::kill(::getpid(), SIGTERM) == 0);
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->documents().isEmpty(), 30000);
    QCOMPARE(::kill(pid_t(pid), 0), -1);
    QCOMPARE(written.entryList(), QStringList());
    QVERIFY(!m_alerts->messages().contains(u"Some conversions are still running. Are you sure you want to quit?"_qs));
    QVERIFY(savedDocuments().contains(source));
}

void tst_QBDocumentController::answers_data()
{
    // An empty click presses Escape and closes the window first, then
    // clicks the default button: neither may answer on its own.
    QTest::addColumn<QString>("click");
    QTest::addColumn<int>("answer");
    QTest::newRow("default") << u"Continue"_qs << 1;
    QTest::newRow("alternate") << u"Abort all"_qs << 0;
    QTest::newRow("other") << u"Abort"_qs << -1;
    QTest::newRow("escape does not answer") << QString() << 1;
}

void tst_QBDocumentController::answers()
{
    QFETCH(QString, click);
    QFETCH(int, answer);
    QString shownText;
    QStringList buttons;
    // Answer the box from inside its own event loop, as a user would.
    QTimer::singleShot(0, this, [&] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        QVERIFY(box);
        shownText = box->text() + u'|' + box->informativeText();
        for (QAbstractButton *button : box->buttons())
            buttons << button->text();
        if (click.isEmpty()) {
            QTest::keyClick(box, Qt::Key_Escape);
            box->close();
            QVERIFY(box->isVisible());
            click = u"Continue"_qs;
        }
        for (QAbstractButton *button : box->buttons()) {
            if (button->text() == click)
                button->click();
        }
    });
    QBMessageBoxPresenter presenter;
    const int result = presenter.runAlert(
            {u"Message"_qs, u"Details"_qs, u"Continue"_qs, u"Abort all"_qs, u"Abort"_qs});
    QCOMPARE(shownText, u"Message|Details"_qs);
    buttons.sort();
    QCOMPARE(buttons, (QStringList{u"Abort"_qs, u"Abort all"_qs, u"Continue"_qs}));
    QCOMPARE(result, answer);
}

QTEST_MAIN(tst_QBDocumentController)
#include "tst_qbdocumentcontroller.moc"
