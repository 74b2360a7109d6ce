// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbstartwindow.h"

#include "conversion/qbconversionsbutton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

QBStartWindow::QBStartWindow(QWidget *parent)
    : QWidget(parent)
    , m_conversionsButton(new QBConversionsButton(this))
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
    auto *bottom = new QHBoxLayout;
    bottom->addStretch();
    bottom->addWidget(m_conversionsButton);
    layout->addLayout(bottom);
    resize(480, 320);
}
