// SPDX-License-Identifier: GPL-3.0-or-later
#include "qboperationqueue.h"

#include "qboperation.h"

#include <QTimer>

QBOperationQueue::QBOperationQueue(int maxConcurrentOperationCount, QObject *parent)
    : QObject(parent)
    , m_maxConcurrent(qMax(1, maxConcurrentOperationCount))
{
}

QBOperationQueue::~QBOperationQueue()
{
    // Operations we own die with us as children; make sure none of their
    // last signals reaches a half-destroyed queue.
    for (const QPointer<QBOperation> &operation : std::as_const(m_operations)) {
        if (operation)
            operation->disconnect(this);
    }
}

void QBOperationQueue::setMaxConcurrentOperationCount(int count)
{
    m_maxConcurrent = qMax(1, count);
    scheduleStart();
}

void QBOperationQueue::addOperation(QBOperation *operation)
{
    if (!operation || operation->isFinished() || m_operations.contains(operation))
        return;
    if (!operation->parent())
        operation->setParent(this);
    m_operations.append(operation);
    connect(operation, &QBOperation::finished, this,
            [this, operation] { operationFinished(operation); });
    connect(operation, &QBOperation::cancelled, this, &QBOperationQueue::scheduleStart);
    connect(operation, &QObject::destroyed, this, [this, operation] {
        // An operation deleted by its owner while queued simply leaves.
        const qsizetype removed = m_operations.removeIf(
                [operation](const QPointer<QBOperation> &entry) {
                    return entry.isNull() || entry.data() == operation;
                });
        if (removed > 0) {
            emit operationCountChanged(operationCount());
            scheduleStart();
        }
    });
    emit operationCountChanged(operationCount());
    scheduleStart();
}

QList<QBOperation *> QBOperationQueue::operations() const
{
    QList<QBOperation *> list;
    list.reserve(m_operations.size());
    for (const QPointer<QBOperation> &operation : m_operations) {
        if (operation)
            list.append(operation.data());
    }
    return list;
}

int QBOperationQueue::operationCount() const
{
    return int(operations().size());
}

void QBOperationQueue::cancelAllOperations()
{
    // Cancelling may run code that changes the queue; walk a copy.
    const QList<QBOperation *> list = operations();
    for (QBOperation *operation : list)
        operation->cancel();
}

void QBOperationQueue::setSuspended(bool suspended)
{
    if (m_suspended == suspended)
        return;
    m_suspended = suspended;
    emit suspendedChanged(suspended);
    if (!suspended)
        scheduleStart();
}

void QBOperationQueue::scheduleStart()
{
    if (m_startScheduled || m_suspended)
        return;
    m_startScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_startScheduled = false;
        startReadyOperations();
    });
}

void QBOperationQueue::startReadyOperations()
{
    if (m_suspended)
        return;
    int executing = 0;
    for (const QPointer<QBOperation> &operation : std::as_const(m_operations)) {
        if (operation && operation->isExecuting())
            ++executing;
    }
    // Starting an operation can finish it on the spot (a cancelled one) and
    // so change the list; decide on a snapshot and recheck each entry.
    const QList<QBOperation *> snapshot = operations();
    for (QBOperation *operation : snapshot) {
        if (m_suspended)
            return;
        if (!m_operations.contains(operation) || operation->isExecuting() || operation->isFinished())
            continue;
        if (operation->isCancelled()) {
            operation->start();
            continue;
        }
        if (executing >= m_maxConcurrent)
            continue;
        operation->start();
        if (operation->isExecuting())
            ++executing;
    }
}

void QBOperationQueue::operationFinished(QBOperation *operation)
{
    if (m_operations.removeAll(operation) == 0)
        return;
    operation->disconnect(this);
    emit operationCountChanged(operationCount());
    if (operation->parent() == this)
        operation->deleteLater();
    scheduleStart();
}
