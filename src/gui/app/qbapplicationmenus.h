// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

class QAction;
class QBDocumentController;
class QBDocumentWindow;
class QBGameDataMenus;
class QBStartWindow;
class QMainWindow;
class QMenu;
class QMenuBar;

// The menus of the program. Each window carries its own menu bar: the
// commands that belong to the whole program are one action each, shared
// by every bar (so one shortcut is never two actions), and a document
// window's bar holds that window's own actions for its commands.
class QBApplicationMenus : public QObject
{
    Q_OBJECT

public:
    QBApplicationMenus(QBDocumentController *controller, QBGameDataMenus *gameDataMenus, QObject *parent = nullptr);

    void installMenuBar(QBDocumentWindow *window);
    void installMenuBar(QBStartWindow *window);

    QAction *openPathAction() const { return m_openPath; }
    QAction *openPartitionAction() const { return m_openPartition; }
    QAction *openWbfsFileAction() const { return m_openWbfsFile; }
    QAction *openDatabaseAction() const { return m_openDatabase; }
    QAction *exportAction() const { return m_export; }
    QAction *copyDatabaseAction() const { return m_copyDatabase; }
    QAction *preferencesAction() const { return m_preferences; }
    QAction *quitAction() const { return m_quit; }
    QList<QAction *> webLinkActions() const { return m_webLinks; }

    // The menu of a bar with that title, for tests and for the desktop.
    static QMenu *menu(QMenuBar *bar, const QString &title);

public slots:
    // Enables the program's commands by the controller's rules.
    void validate();

private:
    QAction *makeAction(const QString &text, const QKeySequence &shortcut);
    void build(QMainWindow *owner, QBDocumentWindow *document, QAction *conversions);
    // Edit › Select Games Missing From ›, one item per other document.
    void addMissingGamesMenu(QMenu *edit, QBDocumentWindow *window);

    QBDocumentController *m_controller;
    QBGameDataMenus *m_gameDataMenus;
    QAction *m_openPath;
    QAction *m_openPartition;
    QAction *m_openWbfsFile;
    QAction *m_openDatabase;
    QAction *m_export;
    QAction *m_copyDatabase;
    QAction *m_preferences;
    QAction *m_quit;
    QList<QAction *> m_webLinks;
};
