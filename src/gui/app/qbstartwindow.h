// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMainWindow>

class QAction;
class QBConversionsButton;
class QHBoxLayout;

// The window shown when no source is open: a button for each way to open
// one, and the conversions button, which opens the conversions view. It
// comes back where it was, in a run and from one run to the next.
class QBStartWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit QBStartWindow(QWidget *parent = nullptr);

    QBConversionsButton *conversionsButton() const { return m_conversionsButton; }
    // One button per command, in order; each follows its action's text and
    // enabled state.
    void setQuickStartActions(const QList<QAction *> &actions);

signals:
    // The user closes the window; accepted unless a handler ignores the
    // event.
    void closeRequested(QCloseEvent *event);

protected:
    void closeEvent(QCloseEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QBConversionsButton *m_conversionsButton;
    QHBoxLayout *m_quickStart;
};
