// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbalertpresenter.h"

#include "base/qblogging.h"

namespace {
QBAlertPresenter *sharedPresenter = nullptr;
}

QBAlertPresenter::~QBAlertPresenter()
{
    if (sharedPresenter == this)
        sharedPresenter = nullptr;
}

QBAlertPresenter *QBAlertPresenter::shared()
{
    return sharedPresenter;
}

void QBAlertPresenter::setShared(QBAlertPresenter *presenter)
{
    sharedPresenter = presenter;
}

int QBAlertPresenter::run(const QBAlert &alert)
{
    if (sharedPresenter)
        return sharedPresenter->runAlert(alert);
    qCWarning(lcApp).noquote() << alert.message << alert.informativeText;
    return QBAlertAnswer::Default;
}
