// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconvertpanel.h"

#include "qbsharedpanel.h"

QBConvertPanel::QBConvertPanel(QWidget *parent)
    : QBRenamePanel(parent)
{
}

QBConvertPanel *QBConvertPanel::convertPanel()
{
    return sharedPanel<QBConvertPanel>();
}
