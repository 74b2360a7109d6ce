// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbstartwindow.h"

#include "base/qbsettings.h"
#include "conversion/qbconversionsbutton.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
// The name its frame is saved under; no source's path looks like it.
const QString frameName = QStringLiteral("Start Window");
}

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
    restoreGeometry(QBSettings::windowFrame(frameName));
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

void QBStartWindow::showEvent(QShowEvent *event)
{
    // Shown again in the same run: where it was, not where the desktop
    // would put a new window.
    if (!event->spontaneous())
        restoreGeometry(QBSettings::windowFrame(frameName));
    QMainWindow::showEvent(event);
}

void QBStartWindow::hideEvent(QHideEvent *event)
{
    if (!event->spontaneous())
        QBSettings::setWindowFrame(frameName, saveGeometry());
    QMainWindow::hideEvent(event);
}
