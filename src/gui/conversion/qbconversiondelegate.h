// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QIcon>
#include <QStyledItemDelegate>

// Paints one conversion: its cover, its label, a progress bar on its
// percentage, its status line and a button: stop while the conversion is
// queued or running, a plain remove-from-list once it has finished. A click
// on the button is reported as stopClicked with the row.
class QBConversionDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    static constexpr int rowHeight = 56;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // Where a row's parts go, within the row's rectangle.
    static QRect coverRect(const QRect &row);
    static QRect stopButtonRect(const QRect &row);
    // The label cut to width so that the name of the file written stays
    // whole: the text before it cut in the middle, the text after it at
    // its end.
    static QString elidedLabel(const QString &label, const QString &fileName, const QFontMetrics &metrics,
                               int width);

signals:
    void stopClicked(int row);

protected:
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override;

private:
    mutable QIcon m_standardStopIcon;
    mutable QIcon m_removeIcon;
};
