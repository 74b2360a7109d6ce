// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentwindow.h"

#include "document/qbgamefiltermodel.h"
#include "gamedata/qbdetailspopover.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "panels/qbconvertpanel.h"
#include "panels/qbrenamepanel.h"
#include "qbimagebrowserview.h"
#include "qbtableview.h"

#include <QAction>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>

// The window's commands: its actions and menus, their validation by the
// document's rules, and what they run.

namespace {

const char commandProperty[] = "qbDocumentCommand";

}

void QBDocumentWindow::buildActions()
{
    auto makeAction = [this](const QString &text, QBDocumentCommand command, const QKeySequence &shortcut,
                             void (QBDocumentWindow::*slot)()) {
        auto *action = new QAction(text, this);
        setCommand(action, command);
        action->setShortcut(shortcut);
        connect(action, &QAction::triggered, this, slot);
        addAction(action);
        return action;
    };
    m_reloadAction = makeAction(QStringLiteral("Reload"), QBDocumentCommand::Reload, QKeySequence::Refresh,
                                &QBDocumentWindow::reload);
    m_findAction = makeAction(QStringLiteral("Find"), QBDocumentCommand::Other, QKeySequence::Find,
                              &QBDocumentWindow::performFindPanelAction);
    m_detailsAction = makeAction(QStringLiteral("Show Details"), QBDocumentCommand::ToggleDetailsView,
                                 QKeySequence(Qt::CTRL | Qt::Key_I), &QBDocumentWindow::toggleDetailsView);
    m_revealAction = makeAction(QStringLiteral("Show in File Manager"), QBDocumentCommand::OpenInFinder,
                                QKeySequence(), &QBDocumentWindow::openInFinder);
    m_renameAction = makeAction(QStringLiteral("Rename…"), QBDocumentCommand::RenameGame, QKeySequence(),
                                &QBDocumentWindow::renameGame);
    m_removeAction = makeAction(QStringLiteral("Remove…"), QBDocumentCommand::RemoveGame, QKeySequence::Delete,
                                &QBDocumentWindow::removeGame);
    // The text that the removal's question points to.
    m_recoverAction = makeAction(QStringLiteral("Recover removed games"), QBDocumentCommand::RecoverRemovedGames,
                                 QKeySequence(), &QBDocumentWindow::recoverRemovedGames);

    // Whatever a rule reads may have changed.
    connect(m_document, &QBDocument::isBrowsingChanged, this, &QBDocumentWindow::validateActions);
    connect(m_document, &QBDocument::displayModeChanged, this, &QBDocumentWindow::validateActions);
    connect(m_tableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &QBDocumentWindow::validateActions);
    connect(m_imageBrowserView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &QBDocumentWindow::validateActions);
    connect(m_document->gameListController(), &QAbstractItemModel::modelReset, this,
            &QBDocumentWindow::validateActions);
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        connect(center, &QBGameCenter::detailsViewOwnerChanged, this, &QBDocumentWindow::validateActions);
}

void QBDocumentWindow::buildMenus(const QBGameDataMenus &menus)
{
    m_gameMenu = new QMenu(this);
    m_gameMenu->addAction(m_detailsAction);
    m_gameMenu->addAction(m_revealAction);
    m_gameMenu->addSeparator();
    m_gameMenu->addAction(m_renameAction);
    m_gameMenu->addAction(m_removeAction);
    m_gameMenu->addSeparator();
    m_gameMenu->addAction(m_reloadAction);

    // Each window has its own copy of the search menu, so that its items
    // can show this window's search key. An item's data is the very key
    // string of the template's item.
    m_searchMenu = new QMenu(this);
    for (const QAction *item : menus.searchTemplateMenu()->actions()) {
        QAction *copy = m_searchMenu->addAction(item->text());
        copy->setFont(item->font());
        copy->setData(item->data());
        copy->setCheckable(true);
        setCommand(copy, QBDocumentCommand::UpdateContext);
        connect(copy, &QAction::triggered, this, [this, copy] { updateContext(copy); });
    }
    QAction *searchKeys = m_searchField->addAction(QIcon(QStringLiteral(":/palomet/document/search.svg")),
                                                   QLineEdit::LeadingPosition);
    searchKeys->setToolTip(QStringLiteral("Search in"));
    connect(searchKeys, &QAction::triggered, this, [this] {
        m_searchMenu->popup(m_searchField->mapToGlobal(QPoint(0, m_searchField->height())));
    });

    m_columnMenu = new QMenu(this);
    for (const QAction *item : menus.columnActions()) {
        QAction *copy = m_columnMenu->addAction(item->text());
        copy->setData(item->data());
        copy->setCheckable(true);
        setCommand(copy, QBDocumentCommand::SetTableViewColumn);
        connect(copy, &QAction::triggered, this, [this, copy] { setTableViewColumn(copy); });
    }
    QHeaderView *header = m_tableView->horizontalHeader();
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header, &QWidget::customContextMenuRequested, this,
            [this, header](const QPoint &position) { m_columnMenu->popup(header->mapToGlobal(position)); });

    for (QMenu *menu : {m_gameMenu, m_searchMenu, m_columnMenu}) {
        connect(menu, &QMenu::aboutToShow, this, [this, menu] {
            for (QAction *item : menu->actions())
                validateUserInterfaceItem(item);
        });
    }
}

void QBDocumentWindow::setCommand(QAction *action, QBDocumentCommand command)
{
    action->setProperty(commandProperty, int(command));
}

QBDocumentCommand QBDocumentWindow::command(const QAction *action)
{
    const QVariant value = action->property(commandProperty);
    return value.isValid() ? QBDocumentCommand(value.toInt()) : QBDocumentCommand::Other;
}

QAction *QBDocumentWindow::actionForCommand(QBDocumentCommand wanted) const
{
    const QList<QAction *> own = actions();
    for (QAction *action : own) {
        if (command(action) == wanted)
            return action;
    }
    return nullptr;
}

void QBDocumentWindow::validateUserInterfaceItem(QAction *item) const
{
    const QBItemValidation validation = m_document->validateUserInterfaceItem(command(item), item->data());
    item->setEnabled(validation.enabled);
    if (validation.state) {
        item->setCheckable(true);
        item->setChecked(*validation.state);
    }
}

void QBDocumentWindow::validateActions()
{
    for (QAction *action :
         {m_reloadAction, m_detailsAction, m_revealAction, m_renameAction, m_removeAction, m_recoverAction})
        validateUserInterfaceItem(action);
}

void QBDocumentWindow::updateContext(QAction *item)
{
    m_document->updateContext(item->data().toString());
    m_searchField->setPlaceholderText(QBGameCenter::capitalizedKey(m_document->searchContext()));
}

void QBDocumentWindow::performFindPanelAction()
{
    m_searchField->setFocus(Qt::ShortcutFocusReason);
    m_searchField->selectAll();
}

void QBDocumentWindow::toggleDetailsView()
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!center)
        return;
    if (m_document->ownsDetailsView()) {
        center->hideDetailsView();
        return;
    }
    const QList<int> indexes = m_document->selectedIndexes();
    if (indexes.isEmpty())
        return;
    const int index = indexes.last();
    const QBListedGame game = m_document->arrangedGame(index);
    QWidget *view;
    QRect rect;
    if (m_document->displayMode() == 0) {
        view = m_imageBrowserView->viewport();
        rect = m_imageBrowserView->visualRect(m_document->gameListController()->index(index, 0));
    } else {
        view = m_tableView->viewport();
        rect = QRect(0, m_tableView->rowViewportPosition(index), view->width(), m_tableView->rowHeight(index));
    }
    QBDetailsPopover *popover = QBDetailsPopover::shared();
    if (game.bundle)
        popover->showDetailsViewForGame(game.bundle, rect, view, m_document);
    else
        popover->showDetailsViewForGame(game.record, rect, view, m_document);
}

void QBDocumentWindow::reload()
{
    m_document->reload();
}

void QBDocumentWindow::openInFinder()
{
    m_document->openInFinder();
}

void QBDocumentWindow::removeGame()
{
    m_document->removeGame();
}

void QBDocumentWindow::renameGame()
{
    m_document->renameGame(QBRenamePanel::renamePanel());
}

void QBDocumentWindow::recoverRemovedGames()
{
    m_document->recoverRemovedGames();
}

void QBDocumentWindow::addGames(const QList<QVariantMap> &games)
{
    m_document->addGames(games, QBConvertPanel::convertPanel());
}
