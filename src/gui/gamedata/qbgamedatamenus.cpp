// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamedatamenus.h"

#include <QAction>
#include <QMenu>

QBGameDataMenus::QBGameDataMenus(QBGameCenter *center, QObject *parent)
    : QObject(parent)
    , m_center(center)
    , m_searchTemplateMenu(new QMenu)
{
    const QList<std::pair<QBGameCenter::Download, void (QBGameCenter::*)()>> downloads{
            {QBGameCenter::Download::WIT, &QBGameCenter::downloadWIT},
            {QBGameCenter::Download::WWT, &QBGameCenter::downloadWWT},
            {QBGameCenter::Download::Database, &QBGameCenter::downloadDatabase},
    };
    for (const auto &[kind, start] : downloads) {
        auto *action = new QAction(this);
        action->setData(QVariant::fromValue(int(kind)));
        connect(action, &QAction::triggered, center, start);
        m_downloadActions << action;
    }
    connect(center, &QBGameCenter::downloadStringChanged, this, &QBGameDataMenus::validate);
    validate();

    for (const QString &key : QBGameCenter::tableViewKeys()) {
        auto *action = new QAction(QBGameCenter::capitalizedKey(key), this);
        action->setData(key);
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, action] { emit setTableViewColumn(action); });
        m_columnActions << action;
    }

    QFont font = m_searchTemplateMenu->font();
    font.setPointSizeF(12.0);
    for (const QString &key : QBGameCenter::searchMenuKeys()) {
        QAction *action = m_searchTemplateMenu->addAction(QBGameCenter::capitalizedKey(key));
        action->setFont(font);
        action->setData(key);
        connect(action, &QAction::triggered, this, [this, action] { emit updateContext(action); });
    }
}

QBGameDataMenus::~QBGameDataMenus()
{
    delete m_searchTemplateMenu;
}

void QBGameDataMenus::addColumnItems(QMenu *viewMenu) const
{
    viewMenu->addActions(m_columnActions);
}

void QBGameDataMenus::validate()
{
    for (QAction *action : std::as_const(m_downloadActions)) {
        const QBGameCenter::MenuItem item =
                m_center->validateUserInterfaceItem(QBGameCenter::Download(action->data().toInt()));
        action->setText(item.title);
        action->setEnabled(item.enabled);
    }
}
