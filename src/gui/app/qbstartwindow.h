// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QBConversionsButton;

// The window shown when no source is open. Its conversions button opens
// the conversions view.
class QBStartWindow : public QWidget
{
    Q_OBJECT

public:
    explicit QBStartWindow(QWidget *parent = nullptr);

    QBConversionsButton *conversionsButton() const { return m_conversionsButton; }

private:
    QBConversionsButton *m_conversionsButton;
};
