// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

// The window shown when no source is open.
class QBStartWindow : public QWidget
{
    Q_OBJECT

public:
    explicit QBStartWindow(QWidget *parent = nullptr);
};
