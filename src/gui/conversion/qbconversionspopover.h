// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFrame>
#include <QPointer>

class QBConversionController;
class QLabel;
class QTableView;
class QPushButton;

// The conversions view: a popup anchored next to the control that opened
// it, listing one row per conversion with its stop button, the overall
// caption, and the "Clear" and "Cancel all" commands. Its height follows
// the number of rows; an empty list says so. A click outside closes it, and
// popoverDidClose tells whoever opened it.
class QBConversionsPopover : public QFrame
{
    Q_OBJECT

public:
    explicit QBConversionsPopover(QBConversionController *controller, QWidget *parent = nullptr);

    // The popover of the shared controller, made on first use.
    static QBConversionsPopover *shared();

    // Closes the popover if it is shown; otherwise shows it on the top edge
    // of anchor (below it when there is no room above). With no anchor, it
    // opens at the mouse pointer.
    void toggleConversionsView(QWidget *anchor);
    void showNextTo(const QRect &globalAnchor);
    void setConversionPopoverSize();

    QTableView *conversionTable() const { return m_table; }
    QLabel *conversionsTextField() const { return m_caption; }
    QPushButton *clearButton() const { return m_clear; }
    QPushButton *cancelAllButton() const { return m_cancelAll; }
    // Shown in place of the list while it is empty.
    QLabel *emptyLabel() const { return m_empty; }

signals:
    void popoverDidClose();

protected:
    void hideEvent(QHideEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    void popoverWillShow();
    void place();

    QPointer<QBConversionController> m_controller;
    QTableView *m_table;
    QLabel *m_caption;
    QLabel *m_empty;
    QPushButton *m_clear;
    QPushButton *m_cancelAll;
    QRect m_anchor;
};
