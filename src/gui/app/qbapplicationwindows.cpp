// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbapplicationwindows.h"

#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "document/qbdocumentwindow.h"
#include "gamedata/qbdownloadwindow.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "qbapplicationmenus.h"
#include "qbhelpwindow.h"
#include "qbpreferenceswindow.h"
#include "qbstartwindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QWindow>

namespace {

// Tells the log once when the first window of the run is on screen; the
// start-up benchmark reads it.
class FirstWindowProbe : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Expose) {
            if (auto *window = qobject_cast<QWindow *>(watched); window && window->isExposed()) {
                qCInfo(lcApp) << "First window shown";
                deleteLater();
                qApp->removeEventFilter(this);
            }
        }
        return false;
    }
};

}

QBApplicationWindows::QBApplicationWindows(QBDocumentController *controller, QBGameCenter *center, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
    , m_gameDataMenus(std::make_unique<QBGameDataMenus>(center))
    , m_menus(new QBApplicationMenus(controller, m_gameDataMenus.get(), this))
    , m_startWindow(std::make_unique<QBStartWindow>())
    , m_downloadWindow(std::make_unique<QBDownloadWindow>(center))
{
    m_controller->setViews(this);
    m_startWindow->setQuickStartActions(
            {m_menus->openPathAction(), m_menus->openPartitionAction(), m_menus->openWbfsFileAction(),
             m_menus->openDatabaseAction()});
    m_menus->installMenuBar(m_startWindow.get());
    connect(m_startWindow.get(), &QBStartWindow::closeRequested, this,
            &QBApplicationWindows::startWindowCloseRequested);
    connect(m_menus->quitAction(), &QAction::triggered, this, &QBApplicationWindows::quit);
    connect(m_menus->preferencesAction(), &QAction::triggered, this, [this] { showPreferences(); });
    connect(m_controller, &QBDocumentController::documentsChanged, this, &QBApplicationWindows::documentsChanged);
    // Quitting is the controller's question, not the last window's close.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (qApp)
        qApp->installEventFilter(new FirstWindowProbe(this));
}

QBApplicationWindows::~QBApplicationWindows()
{
    m_quitting = true;
    m_controller->setViews(nullptr);
    const QList<QBDocument *> documents = m_controller->documents();
    for (QBDocument *document : documents)
        delete windowForDocument(document);
    delete m_preferencesWindow.data();
    delete m_helpWindow.data();
}

QBDocumentWindow *QBApplicationWindows::windowForDocument(const QBDocument *document)
{
    // A document is its window's child.
    return document ? qobject_cast<QBDocumentWindow *>(document->parent()) : nullptr;
}

// --- Launching ------------------------------------------------------------

void QBApplicationWindows::start(const QStringList &paths)
{
    // Something to look at before the welcome, if there is one.
    if (paths.isEmpty() && !QBDocumentController::hasSavedDocuments())
        m_startWindow->show();
    m_controller->applicationDidFinishLaunching();
    open(paths);
    if (m_controller->documents().isEmpty())
        showStartWindow();
}

void QBApplicationWindows::open(const QStringList &paths)
{
    for (const QString &path : paths) {
        const QFileInfo source(path);
        if (!source.exists()) {
            qCWarning(lcApp).noquote() << "Nothing to open at" << path;
            continue;
        }
        if (source.isDir())
            m_controller->openDocument(source.absoluteFilePath(), QBDocument::Folder,
                                       QBSettings::displayMode());
        else
            m_controller->applicationOpenFile(source.absoluteFilePath());
    }
}

void QBApplicationWindows::launched(const QStringList &paths)
{
    if (!paths.isEmpty()) {
        open(paths);
        return;
    }
    // Started again with documents open: the program comes forward.
    if (!m_controller->applicationShouldHandleReopen()) {
        if (QBDocumentWindow *window = windowForDocument(m_controller->currentDocument())) {
            window->raise();
            window->activateWindow();
        }
    }
}

bool QBApplicationWindows::quit()
{
    if (m_quitting)
        return true;
    if (m_controller->applicationShouldTerminate() == 0)
        return false;
    endProgram();
    return true;
}

void QBApplicationWindows::quitWithoutQuestions()
{
    if (m_quitting)
        return;
    m_controller->saveDocuments();
    endProgram();
}

void QBApplicationWindows::endProgram()
{
    m_quitting = true;
    // Closing saves each window's frame and table layout.
    const QList<QBDocument *> documents = m_controller->documents();
    for (QBDocument *document : documents) {
        if (QBDocumentWindow *window = windowForDocument(document))
            window->close();
    }
    if (m_preferencesWindow)
        m_preferencesWindow->close();
    if (m_helpWindow)
        m_helpWindow->close();
    m_startWindow->hide();
    m_downloadWindow->hide();
    // With the windows gone, the tools' ends are awaited.
    m_controller->applicationWillTerminate();
    QCoreApplication::quit();
}

void QBApplicationWindows::startWindowCloseRequested(QCloseEvent *event)
{
    // With no document open, closing the start window ends the program.
    if (m_quitting || !m_controller->documents().isEmpty())
        return;
    if (!quit())
        event->ignore();
}

void QBApplicationWindows::documentsChanged()
{
    if (m_quitting)
        return;
    if (m_controller->documents().isEmpty())
        showStartWindow();
    else
        m_startWindow->hide();
}

QBPreferencesWindow *QBApplicationWindows::preferencesWindow() const
{
    return m_preferencesWindow;
}

void QBApplicationWindows::showPreferences(const QString &setting)
{
    if (!m_preferencesWindow)
        m_preferencesWindow = new QBPreferencesWindow;
    m_preferencesWindow->show();
    m_preferencesWindow->raise();
    m_preferencesWindow->activateWindow();
    if (!setting.isEmpty())
        m_preferencesWindow->showSetting(setting);
}

QBHelpWindow *QBApplicationWindows::helpWindow() const
{
    return m_helpWindow;
}

void QBApplicationWindows::showHelp()
{
    if (!m_helpWindow)
        m_helpWindow = new QBHelpWindow;
    m_helpWindow->show();
    m_helpWindow->raise();
    m_helpWindow->activateWindow();
}

// --- Documents ------------------------------------------------------------

QBDocument *QBApplicationWindows::makeDocument(const QString &filename, int type, int displayMode)
{
    QBDocumentWindow *window = QBDocumentWindow::create(filename, type, displayMode, *m_gameDataMenus);
    if (!window)
        return nullptr;
    m_menus->installMenuBar(window);
    return window->document();
}

bool QBApplicationWindows::setFrameUsingName(QBDocument *document)
{
    QBDocumentWindow *window = windowForDocument(document);
    return window && window->setFrameUsingName();
}

void QBApplicationWindows::cascadeWindow(QBDocument *document, QBDocument *from)
{
    QBDocumentWindow *window = windowForDocument(document);
    const QBDocumentWindow *previous = windowForDocument(from);
    if (!window)
        return;
    // Right and down on the screen.
    const QRect frame = previous ? previous->geometry() : QRect();
    window->setGeometry(frame.translated(200, 40));
}

void QBApplicationWindows::makeKeyAndOrderFront(QBDocument *document)
{
    QBDocumentWindow *window = windowForDocument(document);
    if (!window)
        return;
    window->show();
    window->raise();
    window->activateWindow();
    // Key at once, as the command asked; the desktop's activation, when it
    // comes, says the same again.
    document->windowDidBecomeKey();
}

void QBApplicationWindows::showStartWindow()
{
    m_startWindow->show();
    m_startWindow->raise();
    m_startWindow->activateWindow();
}
