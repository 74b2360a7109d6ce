// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "gamedata/qbgamecenter.h"

#include <QList>
#include <QObject>

class QAction;
class QMenu;

// The menu items that the game center offers the windows: the three
// download commands, one column item per table key and the search field's
// menu of searchable keys. Each column and search item carries its key as
// data; the front document carries out what they ask for, through
// setTableViewColumn and updateContext.
class QBGameDataMenus : public QObject
{
    Q_OBJECT

public:
    explicit QBGameDataMenus(QBGameCenter *center, QObject *parent = nullptr);
    ~QBGameDataMenus() override;

    // Download WIT, Download WWT, Download database, in that order.
    QList<QAction *> downloadActions() const { return m_downloadActions; }
    // Checkable, so that a document can show which columns are visible; as
    // with any checkable action, the check has already flipped when
    // setTableViewColumn is emitted.
    QList<QAction *> columnActions() const { return m_columnActions; }
    void addColumnItems(QMenu *viewMenu) const;
    QMenu *searchTemplateMenu() const { return m_searchTemplateMenu; }

public slots:
    // Titles and enables the download items from the game center's state;
    // run again whenever a download starts or ends.
    void validate();

signals:
    void setTableViewColumn(QAction *item);
    void updateContext(QAction *item);

private:
    QBGameCenter *m_center;
    QList<QAction *> m_downloadActions;
    QList<QAction *> m_columnActions;
    QMenu *m_searchTemplateMenu;
};
