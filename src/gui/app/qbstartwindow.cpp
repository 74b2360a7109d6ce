// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbstartwindow.h"

#include <QLabel>
#include <QVBoxLayout>

QBStartWindow::QBStartWindow(QWidget *parent)
    : QWidget(parent)
{
    setWindowTitle(tr("Palomet"));
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(tr("<h1>Palomet</h1>"), this);
    title->setAlignment(Qt::AlignCenter);
    auto *text = new QLabel(tr("Your Wii and GameCube backups, in one place."), this);
    text->setAlignment(Qt::AlignCenter);
    layout->addStretch();
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addStretch();
    resize(480, 320);
}
