// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdownloadwindow.h"

#include "gamedata/qbgamecenter.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

QBDownloadWindow::QBDownloadWindow(QBGameCenter *center, QWidget *parent)
    : QWidget(parent, Qt::Dialog)
    , m_center(center)
    , m_text(new QLabel(this))
    , m_progress(new QProgressBar(this))
{
    setWindowTitle(tr("Download"));
    setWindowModality(Qt::NonModal);
    m_progress->setTextVisible(false);
    m_text->setMinimumWidth(320);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_text);
    layout->addWidget(m_progress);

    connect(center, &QBGameCenter::downloadTextChanged, m_text, &QLabel::setText);
    connect(center, &QBGameCenter::downloadDeterminateChanged, this, &QBDownloadWindow::updateProgress);
    connect(center, &QBGameCenter::downloadPercentChanged, this, &QBDownloadWindow::updateProgress);
    connect(center, &QBGameCenter::downloadWindowVisibleChanged, this, [this](bool visible) {
        if (!visible) {
            hide();
            return;
        }
        m_text->setText(m_center->downloadText());
        updateProgress();
        show();
        raise();
        activateWindow();
    });
}

// A busy bar until the length of the answer is known, then the share
// received.
void QBDownloadWindow::updateProgress()
{
    if (!m_center->isDownloadDeterminate()) {
        m_progress->setRange(0, 0);
        return;
    }
    m_progress->setRange(0, 1000);
    m_progress->setValue(qBound(0, qRound(m_center->downloadPercent() * 10.0), 1000));
}
