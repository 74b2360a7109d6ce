// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversionsbutton.h"

#include "conversion/qbconversioncontroller.h"
#include "qbconversionspopover.h"

QBConversionsButton::QBConversionsButton(QWidget *parent)
    : QBConversionsButton(QBConversionController::sharedController(), QBConversionsPopover::shared(), parent)
{
}

QBConversionsButton::QBConversionsButton(QBConversionController *controller, QBConversionsPopover *popover,
                                         QWidget *parent)
    : QToolButton(parent)
    , m_popover(popover)
{
    setObjectName(QStringLiteral("conversionButton"));
    setIconSize(QSize(32, 32));
    setAutoRaise(true);
    setToolTip(controller->caption());
    progressDidChange(controller->progressImage());
    connect(controller, &QBConversionController::progressDidChange, this, &QBConversionsButton::progressDidChange);
    connect(controller, &QBConversionController::captionChanged, this, &QWidget::setToolTip);
    connect(this, &QToolButton::clicked, this, &QBConversionsButton::toggleConversionsView);
}

void QBConversionsButton::progressDidChange(const QImage &progressImage)
{
    setIcon(QIcon(QPixmap::fromImage(progressImage)));
}

void QBConversionsButton::toggleConversionsView()
{
    m_popover->toggleConversionsView(this);
}
