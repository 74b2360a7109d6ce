// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QToolButton>

class QBConversionController;
class QBConversionsPopover;

// The control that every window shows for the conversions: it wears the
// controller's progress image (the bar of the overall percentage, or the
// idle picture) and opens or closes the conversions popover.
class QBConversionsButton : public QToolButton
{
    Q_OBJECT

public:
    // Without arguments, the shared controller and its popover.
    explicit QBConversionsButton(QWidget *parent = nullptr);
    QBConversionsButton(QBConversionController *controller, QBConversionsPopover *popover,
                        QWidget *parent = nullptr);

    void progressDidChange(const QImage &progressImage);
    void toggleConversionsView();

private:
    QBConversionsPopover *m_popover;
};
