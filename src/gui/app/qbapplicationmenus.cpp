// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbapplicationmenus.h"

#include "app/qbdocumentcontroller.h"
#include "conversion/qbconversionsbutton.h"
#include "document/qbdocumentwindow.h"
#include "gamedata/qbgamedatamenus.h"
#include "qbstartwindow.h"

#include <QAction>
#include <QActionGroup>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>

#include <algorithm>

namespace {

// A document command is the window's own action, so its shortcut is bound
// once and its enabled state follows the document's rules.
void addCommandItem(QMenu *menu, QBDocumentWindow *window, QBDocumentCommand command)
{
    if (QAction *own = window->actionForCommand(command))
        menu->addAction(own);
}

// The window's own items take the document's rules each time their menu
// opens; the program's items are left to the controller.
void validateWindowItems(QMenu *menu, QBDocumentWindow *window)
{
    QObject::connect(menu, &QMenu::aboutToShow, window, [menu, window] {
        const QList<QAction *> own = window->actions();
        for (QAction *item : menu->actions()) {
            if (own.contains(item) && QBDocumentWindow::command(item) != QBDocumentCommand::Other)
                window->validateUserInterfaceItem(item);
        }
    });
}

}

QBApplicationMenus::QBApplicationMenus(QBDocumentController *controller, QBGameDataMenus *gameDataMenus,
                                       QObject *parent)
    : QObject(parent)
    , m_controller(controller)
    , m_gameDataMenus(gameDataMenus)
{
    m_openPath = makeAction(tr("Open Folder…"), QKeySequence::Open);
    connect(m_openPath, &QAction::triggered, controller, &QBDocumentController::openPath);
    m_openPartition = makeAction(tr("Open WBFS Partition…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
    connect(m_openPartition, &QAction::triggered, controller, &QBDocumentController::openPartition);
    m_openWbfsFile = makeAction(tr("Open WBFS File…"), QKeySequence());
    connect(m_openWbfsFile, &QAction::triggered, controller, &QBDocumentController::openWbfsFile);
    m_openDatabase = makeAction(tr("Open Database"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_D));
    connect(m_openDatabase, &QAction::triggered, controller, &QBDocumentController::openDatabase);
    m_export = makeAction(tr("Export Game List…"), QKeySequence(Qt::CTRL | Qt::Key_E));
    connect(m_export, &QAction::triggered, controller, &QBDocumentController::exportGameList);
    m_copyDatabase = makeAction(tr("Copy Title Database to Drive"), QKeySequence());
    connect(m_copyDatabase, &QAction::triggered, controller, &QBDocumentController::copyDatabaseToDrive);
    m_preferences = makeAction(tr("Preferences…"), QKeySequence::Preferences);
    m_preferences->setMenuRole(QAction::PreferencesRole);
    // Some keyboard schemes bind nothing to Quit.
    const QKeySequence quit(QKeySequence::Quit);
    m_quit = makeAction(tr("Quit"), quit.isEmpty() ? QKeySequence(Qt::CTRL | Qt::Key_Q) : quit);
    m_quit->setMenuRole(QAction::QuitRole);

    const std::pair<QString, void (QBDocumentController::*)()> links[] = {
            {tr("Palomet Help"), &QBDocumentController::openHelp},
            {tr("Palomet Home Page"), &QBDocumentController::openHomepage},
            {tr("Report a Bug"), &QBDocumentController::reportBug},
            {tr("Donate"), &QBDocumentController::donate},
    };
    for (const auto &[text, open] : links) {
        QAction *link = makeAction(text, m_webLinks.isEmpty() ? QKeySequence(QKeySequence::HelpContents) : QKeySequence());
        connect(link, &QAction::triggered, controller, open);
        m_webLinks << link;
    }

    connect(controller, &QBDocumentController::validationChanged, this, &QBApplicationMenus::validate);
    validate();
}

QAction *QBApplicationMenus::makeAction(const QString &text, const QKeySequence &shortcut)
{
    auto *action = new QAction(text, this);
    action->setShortcut(shortcut);
    return action;
}

void QBApplicationMenus::validate()
{
    m_openDatabase->setEnabled(m_controller->validateUserInterfaceItem(QBDocumentController::Command::OpenDatabase));
    m_export->setEnabled(m_controller->validateUserInterfaceItem(QBDocumentController::Command::ExportGameList));
    m_copyDatabase->setEnabled(
            m_controller->validateUserInterfaceItem(QBDocumentController::Command::CopyDatabaseToDrive));
}

QMenu *QBApplicationMenus::menu(QMenuBar *bar, const QString &title)
{
    for (QAction *item : bar->actions()) {
        if (item->menu() && item->text().remove(u'&') == title)
            return item->menu();
    }
    return nullptr;
}

void QBApplicationMenus::addMissingGamesMenu(QMenu *edit, QBDocumentWindow *window)
{
    // One item per other open document, made when the menu opens; the
    // submenu is disabled while no other document is open.
    QMenu *missing = edit->addMenu(tr("Select Games Missing From"));
    auto validateMissing = [this, missing, window] {
        const QList<QBDocument *> open = m_controller->documents();
        missing->menuAction()->setEnabled(
                std::any_of(open.cbegin(), open.cend(), [window](QBDocument *other) { return other != window->document(); }));
    };
    connect(m_controller, &QBDocumentController::documentsChanged, missing, validateMissing);
    connect(edit, &QMenu::aboutToShow, missing, validateMissing);
    validateMissing();
    connect(missing, &QMenu::aboutToShow, missing, [this, missing, window] {
        missing->clear();
        for (QBDocument *other : m_controller->documents()) {
            if (other == window->document())
                continue;
            const QPointer<QBDocument> guard(other);
            connect(missing->addAction(other->filename()), &QAction::triggered, window, [window, guard] {
                if (guard)
                    window->selectGames(window->document()->indexesOfGamesMissingFrom(*guard));
            });
        }
    });
}

void QBApplicationMenus::installMenuBar(QBDocumentWindow *window)
{
    auto *conversions = new QAction(tr("Conversions"), window);
    connect(conversions, &QAction::triggered, window->conversionButton(), &QBConversionsButton::toggleConversionsView);
    build(window, window, conversions);
}

void QBApplicationMenus::installMenuBar(QBStartWindow *window)
{
    auto *conversions = new QAction(tr("Conversions"), window);
    connect(conversions, &QAction::triggered, window->conversionsButton(), &QBConversionsButton::toggleConversionsView);
    build(window, nullptr, conversions);
}

void QBApplicationMenus::build(QMainWindow *owner, QBDocumentWindow *document, QAction *conversions)
{
    QMenuBar *bar = owner->menuBar();
    auto *close = new QAction(tr("Close"), owner);
    close->setShortcut(QKeySequence::Close);
    connect(close, &QAction::triggered, owner, &QWidget::close);

    QMenu *file = bar->addMenu(tr("&File"));
    file->addActions({m_openPath, m_openPartition, m_openWbfsFile, m_openDatabase});
    file->addSeparator();
    file->addActions(m_gameDataMenus->downloadActions());
    file->addSeparator();
    file->addAction(m_export);
    file->addAction(m_copyDatabase);
    if (document) {
        file->addSeparator();
        addCommandItem(file, document, QBDocumentCommand::RecoverRemovedGames);
        file->addAction(document->reloadAction());
        file->addAction(document->revealAction());
        validateWindowItems(file, document);
    }
    file->addSeparator();
    file->addAction(close);
    file->addAction(m_quit);

    QMenu *edit = bar->addMenu(tr("&Edit"));
    if (document) {
        edit->addAction(document->findAction());
        QAction *searchIn = edit->addMenu(document->searchMenu());
        searchIn->setText(tr("Search In"));
        edit->addSeparator();
        addCommandItem(edit, document, QBDocumentCommand::RemoveGame);
        addCommandItem(edit, document, QBDocumentCommand::RenameGame);
        addMissingGamesMenu(edit, document);
        edit->addSeparator();
        validateWindowItems(edit, document);
    }
    edit->addAction(m_preferences);

    if (document) {
        QMenu *view = bar->addMenu(tr("&View"));
        auto *modes = new QActionGroup(document);
        const std::pair<QString, Qt::Key> looks[] = {{tr("Cover Grid"), Qt::Key_1}, {tr("Table"), Qt::Key_2}};
        for (int mode = 0; mode < 2; ++mode) {
            QAction *item = view->addAction(looks[mode].first);
            item->setShortcut(QKeySequence(Qt::CTRL | looks[mode].second));
            item->setCheckable(true);
            item->setActionGroup(modes);
            // The database has no covers to show.
            item->setEnabled(document->displayModeSegment(mode)->isEnabled());
            connect(item, &QAction::triggered, document, [document, mode] { document->setDisplayMode(mode); });
        }
        auto checkMode = [modes](int mode) { modes->actions().at(mode == 0 ? 0 : 1)->setChecked(true); };
        checkMode(document->document()->displayMode());
        connect(document->document(), &QBDocument::displayModeChanged, modes, checkMode);
        view->addSeparator();
        view->addAction(document->detailsAction());
        view->addSeparator();
        QAction *columns = view->addMenu(document->columnMenu());
        columns->setText(tr("Columns"));
        validateWindowItems(view, document);
    }

    QMenu *window = bar->addMenu(tr("&Window"));
    window->addAction(conversions);

    QMenu *help = bar->addMenu(tr("&Help"));
    help->addActions(m_webLinks);

    for (QMenu *menu : {file, edit, help})
        connect(menu, &QMenu::aboutToShow, this, &QBApplicationMenus::validate);
}
