// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbrenamepanel.h"

// The same panel for converting or extracting games into a folder, with
// its own shared instance and so its own pattern.
class QBConvertPanel : public QBRenamePanel
{
    Q_OBJECT

public:
    explicit QBConvertPanel(QWidget *parent = nullptr);

    // The one convert panel of the application, never the rename panel.
    static QBConvertPanel *convertPanel();
};
