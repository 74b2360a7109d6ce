// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversionhandler.h"

namespace {
QBConversionHandler *sharedHandler = nullptr;
}

QBConversionHandler::~QBConversionHandler()
{
    if (sharedHandler == this)
        sharedHandler = nullptr;
}

QBConversionHandler *QBConversionHandler::shared()
{
    return sharedHandler;
}

void QBConversionHandler::setShared(QBConversionHandler *handler)
{
    sharedHandler = handler;
}
