// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/qbdocumentcontroller.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <memory>

class QBApplicationMenus;
class QBDocumentWindow;
class QBDownloadWindow;
class QBGameCenter;
class QBGameDataMenus;
class QBHelpWindow;
class QBPreferencesWindow;
class QBStartWindow;
class QCloseEvent;

// The windows of the program around the document controller: the start
// window, shown while no document is open, the document windows with
// their menu bars, the panels and dialogs the controller asks for, the
// Preferences window and the export's progress. It also turns the
// desktop's requests into the controller's: paths handed over, a later
// launch, quitting.
//
// The program does not end when its last window closes: closing the last
// document window shows the start window, and quitting goes through the
// controller's question (Quit, or closing the start window).
class QBApplicationWindows : public QObject, private QBDocumentControllerViews
{
    Q_OBJECT

public:
    QBApplicationWindows(QBDocumentController *controller, QBGameCenter *center, QObject *parent = nullptr);
    ~QBApplicationWindows() override;

    // The launch: the start window at once when nothing is to be reopened,
    // then the controller's start-up, then the paths.
    void start(const QStringList &paths = {});
    // Paths from the command line or a later launch: a folder opens as a
    // folder document, a file is handed over as the system does.
    void open(const QStringList &paths);
    // A later launch of the program, with its paths (none: it was started
    // again to bring the program forward).
    void launched(const QStringList &paths);
    // The Quit command; false when the user chose to stay.
    bool quit();
    // Ends the program as quit() does, without its question, once every
    // tool has been stopped (a signal asked for the end).
    void quitWithoutQuestions();
    // The Preferences; with a setting, at its control.
    void showPreferences(const QString &setting = QString()) override;
    // The user guide that ships with the program.
    void showHelp() override;

    QBDocumentController *controller() const { return m_controller; }
    QBStartWindow *startWindow() const { return m_startWindow.get(); }
    QBApplicationMenus *menus() const { return m_menus; }
    QBGameDataMenus *gameDataMenus() const { return m_gameDataMenus.get(); }
    // Made when first shown.
    QBPreferencesWindow *preferencesWindow() const;
    // Made when first shown.
    QBHelpWindow *helpWindow() const;
    static QBDocumentWindow *windowForDocument(const QBDocument *document);

private:
    // QBDocumentControllerViews
    QBDocument *makeDocument(const QString &filename, int type, int displayMode) override;
    bool setFrameUsingName(QBDocument *document) override;
    void cascadeWindow(QBDocument *document, QBDocument *from) override;
    void makeKeyAndOrderFront(QBDocument *document) override;
    void showStartWindow() override;
    // The panels (qbapplicationwindowspanels.cpp).
    QString runOpenPanel() override;
    QString runPartitionPanel(const QString &title) override;
    QString runWbfsFilePanel() override;
    QString runExportPanel() override;
    void exportDidStart(QBGameListExport *job) override;

    QWidget *dialogParent() const;
    void documentsChanged();
    void startWindowCloseRequested(QCloseEvent *event);

    QBDocumentController *m_controller;
    std::unique_ptr<QBGameDataMenus> m_gameDataMenus;
    QBApplicationMenus *m_menus;
    std::unique_ptr<QBStartWindow> m_startWindow;
    std::unique_ptr<QBDownloadWindow> m_downloadWindow;
    QPointer<QBPreferencesWindow> m_preferencesWindow;
    QPointer<QBHelpWindow> m_helpWindow;
    void endProgram();

    bool m_quitting = false;
};
