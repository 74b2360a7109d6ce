// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbmessageboxpresenter.h"

#include <QApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>

namespace {

// Keeps Escape and the window's close button from choosing an answer.
// Left alone, the message box would pick one of the buttons itself, which
// could be "Abort all".
class AnswerOnlyByButton : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Close && !m_allowClose) {
            event->ignore();
            return true;
        }
        if (event->type() == QEvent::KeyPress
            && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape)
            return true;
        return QObject::eventFilter(watched, event);
    }

public:
    bool m_allowClose = false;
};

}

int QBMessageBoxPresenter::runAlert(const QBAlert &alert)
{
    QMessageBox box(QApplication::activeWindow());
    // Alerts wear the program's icon; most of them inform or ask, and the
    // warning sign would make every one look like trouble.
    const QIcon icon = QApplication::windowIcon();
    if (icon.isNull())
        box.setIcon(QMessageBox::Information);
    else
        box.setIconPixmap(icon.pixmap(64, 64));
    box.setWindowTitle(QApplication::applicationDisplayName());
    box.setText(alert.message);
    box.setInformativeText(alert.informativeText);
    QPushButton *defaultButton = box.addButton(alert.defaultButton, QMessageBox::AcceptRole);
    QPushButton *alternateButton = alert.alternateButton.isEmpty()
            ? nullptr
            : box.addButton(alert.alternateButton, QMessageBox::RejectRole);
    QPushButton *otherButton = alert.otherButton.isEmpty()
            ? nullptr
            : box.addButton(alert.otherButton, QMessageBox::DestructiveRole);
    box.setDefaultButton(defaultButton);
    // Escape chooses a button titled Cancel, as users expect, and a lone
    // button; otherwise only a click answers.
    QPushButton *escapeButton = (alternateButton || otherButton) ? nullptr : defaultButton;
    for (QPushButton *button : {alternateButton, otherButton}) {
        if (button && button->text() == QLatin1String("Cancel"))
            escapeButton = button;
    }
    AnswerOnlyByButton filter;
    if (escapeButton)
        box.setEscapeButton(escapeButton);
    else
        box.installEventFilter(&filter);
    QObject::connect(&box, &QMessageBox::buttonClicked, &filter,
                     [&filter] { filter.m_allowClose = true; });
    box.exec();
    const auto *clicked = box.clickedButton();
    if (clicked && clicked == alternateButton)
        return QBAlertAnswer::Alternate;
    if (clicked && clicked == otherButton)
        return QBAlertAnswer::Other;
    return QBAlertAnswer::Default;
}
