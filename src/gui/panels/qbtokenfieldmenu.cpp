// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtokenfieldmenu.h"

#include "gamedata/qbgamecenter.h"
#include "panels/qbfilenamepattern.h"

#include <QMenu>
#include <QMouseEvent>
#include <QPainter>

QBTokenFieldMenu::QBTokenFieldMenu(QWidget *parent)
    : QWidget(parent)
    , m_tokenMenu(new QMenu(this))
{
    // Over the button the pointer is an arrow, not the field's text cursor.
    setCursor(Qt::ArrowCursor);
    setToolTip(tr("Add a token"));
    for (const QString &key : QBFilenamePattern::tokenKeys()) {
        // A name to read; the pattern keeps the key.
        QAction *item = m_tokenMenu->addAction(QBGameCenter::labelForKey(key));
        item->setData(key);
        connect(item, &QAction::triggered, this, [this, key] { emit tokenChosen(key); });
    }
}

void QBTokenFieldMenu::paintEvent(QPaintEvent *)
{
    // A plus sign in the text colour, like a template image.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height());
    const qreal arm = side * 0.25;
    const QPointF center = QRectF(rect()).center();
    const QColor color = palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Text);
    painter.setPen(QPen(color, qMax<qreal>(1.5, side / 12), Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(center - QPointF(arm, 0), center + QPointF(arm, 0));
    painter.drawLine(center - QPointF(0, arm), center + QPointF(0, arm));
}

void QBTokenFieldMenu::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_tokenMenu->popup(mapToGlobal(rect().bottomLeft()));
}
