// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// QPointer<QBGameBundle> below needs the whole class.
#include "gamedata/qbgamebundle.h"

#include <QFrame>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>

class QBGameCenter;
class QLabel;
class QTextBrowser;

// The details view: a small window beside a game's row or cover, with the
// game's cover, its title and its title-database facts under a link to the
// game's page. There is one for the program; the game center keeps the
// document that opened it (detailsViewOwner) and asks it to close or redraw.
//
// It closes on a click anywhere outside it, except in the view it was
// opened from: a click there closes it only when no second click follows to
// make a double-click, so that double-clicking in the view reaches the
// document's toggle while the details are still open (and closes them
// rather than moving them). Escape in it or in its window closes it too.
class QBDetailsPopover : public QFrame
{
    Q_OBJECT

public:
    explicit QBDetailsPopover(QBGameCenter *center, QWidget *parent = nullptr);
    ~QBDetailsPopover() override;

    // The popover of the shared game center, made on first use.
    static QBDetailsPopover *shared();

    // Shows a game next to rect (in view's coordinates), on its right
    // when there is room, and makes sender the owner. Does nothing while
    // the popover is shown. A bundle's cover follows later arrivals; a bare
    // database record has no cover.
    void showDetailsViewForGame(QBGameBundle *game, const QRect &rect, QWidget *view, QObject *sender);
    void showDetailsViewForGame(const QVariantMap &game, const QRect &rect, QWidget *view, QObject *sender);
    void updateDetailsView();
    void hideDetailsView();

    QLabel *coverImageView() const { return m_cover; }
    QLabel *titleTextField() const { return m_title; }
    QTextBrowser *infosTextView() const { return m_infos; }
    QBGameBundle *detailsViewGame() const { return m_game; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void show(const QRect &rect, QWidget *view, QObject *sender);
    void setDetailsViewGame(QBGameBundle *game, const QVariantMap &record);
    void updateCover();
    void fitToText();
    void place(const QRect &globalRect);
    void popoverWillClose();

    QPointer<QBGameCenter> m_center;
    QLabel *m_cover;
    QLabel *m_title;
    QTextBrowser *m_infos;
    QPointer<QBGameBundle> m_game;
    QVariantMap m_record;
    QPointer<QWidget> m_view;
    QTimer m_closeTimer;
};
