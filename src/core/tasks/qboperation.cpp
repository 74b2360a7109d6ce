// SPDX-License-Identifier: GPL-3.0-or-later
#include "qboperation.h"

QBOperation::QBOperation(QObject *parent)
    : QObject(parent)
{
}

void QBOperation::start()
{
    if (m_started || m_finished)
        return;
    m_started = true;
    if (m_cancelled) {
        m_finished = true;
        emit finished();
        return;
    }
    m_executing = true;
    emit executingChanged(true);
    main();
}

void QBOperation::cancel()
{
    if (m_cancelled)
        return;
    m_cancelled = true;
    emit cancelled();
}

void QBOperation::finish()
{
    if (m_finished)
        return;
    if (m_executing) {
        m_executing = false;
        emit executingChanged(false);
    }
    m_finished = true;
    emit finished();
}
