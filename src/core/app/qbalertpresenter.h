// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

// A modal question or message: the message, an informative text and up to
// three buttons. An empty alternate or other button is not shown.
struct QBAlert
{
    QString message;
    QString informativeText;
    QString defaultButton = QStringLiteral("OK");
    QString alternateButton;
    QString otherButton;
};

// Answers to an alert: which button the user chose.
namespace QBAlertAnswer {
constexpr int Default = 1;
constexpr int Alternate = 0;
constexpr int Other = -1;
}

// Shows alerts on behalf of code that must not know about widgets. The
// widgets library installs a presenter that shows message boxes; tests
// install one that answers from a script. While an alert is up, the event
// loop keeps running, so tool output goes on being read behind it.
class QBAlertPresenter
{
public:
    virtual ~QBAlertPresenter();

    // Shows the alert and returns the answer (QBAlertAnswer).
    virtual int runAlert(const QBAlert &alert) = 0;

    static QBAlertPresenter *shared();
    static void setShared(QBAlertPresenter *presenter);

    // Shows the alert through the shared presenter. With none installed (a
    // headless run), the alert is logged and answered with its default
    // button.
    static int run(const QBAlert &alert);
};
