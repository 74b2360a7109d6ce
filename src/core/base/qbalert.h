// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

// A modal question or message: the message, an informative text and up to
// three buttons. An empty alternate or other button is not shown.
struct QBAlert
{
    QString message;
    QString informativeText;
    QString defaultButton = QStringLiteral("OK");
    QString alternateButton;
    QString otherButton;

    // Names as alerts list them: one per line; from 11 names on, the first
    // 9 and a line "...".
    static QString nameLines(const QStringList &names);
};

// Answers to an alert: which button the user chose.
namespace QBAlertAnswer {
constexpr int Default = 1;
constexpr int Alternate = 0;
constexpr int Other = -1;
}
