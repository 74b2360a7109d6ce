// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QMenu;

// The "+" button at the token field's left edge; a press pops up the menu
// of tokens, one item per key of the vocabulary, in its order.
class QBTokenFieldMenu : public QWidget
{
    Q_OBJECT

public:
    explicit QBTokenFieldMenu(QWidget *parent = nullptr);

    QMenu *tokenMenu() const { return m_tokenMenu; }

signals:
    void tokenChosen(const QString &key);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    QMenu *m_tokenMenu;
};
