// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QTextBrowser;

// Palomet's own user guide, which ships inside the program: a window that
// reads it, with its pages linked to one another. Links to other places
// open in the browser.
class QBHelpWindow : public QWidget
{
    Q_OBJECT

public:
    static const QString guide;

    explicit QBHelpWindow(QWidget *parent = nullptr);

    QTextBrowser *browser() const { return m_browser; }

private:
    QTextBrowser *m_browser;
};
