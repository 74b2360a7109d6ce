// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QBGameCenter;
class QLabel;
class QProgressBar;

// The small window that follows a tool or database download: what is
// being fetched and how far it has got. It shows and hides itself with
// the game center's download and never blocks the other windows.
class QBDownloadWindow : public QWidget
{
    Q_OBJECT

public:
    explicit QBDownloadWindow(QBGameCenter *center, QWidget *parent = nullptr);

    QLabel *downloadTextField() const { return m_text; }
    QProgressBar *downloadProgressIndicator() const { return m_progress; }

private:
    void updateProgress();

    QBGameCenter *m_center;
    QLabel *m_text;
    QProgressBar *m_progress;
};
