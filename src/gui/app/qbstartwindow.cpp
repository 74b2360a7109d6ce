// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbstartwindow.h"

#include "conversion/qbconversionsbutton.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

QBStartWindow::QBStartWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_conversionsButton(new QBConversionsButton)
    , m_quickStart(new QHBoxLayout)
{
    setWindowTitle(tr("Palomet"));
    auto *content = new QWidget;
    auto *layout = new QVBoxLayout(content);
    auto *title = new QLabel(tr("<h1>Palomet</h1>"));
    title->setAlignment(Qt::AlignCenter);
    auto *text = new QLabel(tr("Your Wii and GameCube backups, in one place."));
    text->setAlignment(Qt::AlignCenter);
    layout->addStretch();
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addSpacing(16);
    layout->addLayout(m_quickStart);
    layout->addStretch();
    auto *bottom = new QHBoxLayout;
    bottom->addStretch();
    bottom->addWidget(m_conversionsButton);
    layout->addLayout(bottom);
    setCentralWidget(content);
    resize(520, 340);
}

void QBStartWindow::setQuickStartActions(const QList<QAction *> &actions)
{
    m_quickStart->addStretch();
    for (QAction *action : actions) {
        auto *button = new QToolButton;
        button->setDefaultAction(action);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        m_quickStart->addWidget(button);
    }
    m_quickStart->addStretch();
}

void QBStartWindow::closeEvent(QCloseEvent *event)
{
    event->accept();
    emit closeRequested(event);
    if (event->isAccepted())
        QMainWindow::closeEvent(event);
}
