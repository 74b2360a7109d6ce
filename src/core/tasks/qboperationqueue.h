// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

class QBOperation;

// Runs operations in the order they were added, at most
// maxConcurrentOperationCount of them at a time. An operation stays in the
// queue until it has finished. Operations are started from the event loop,
// never inside addOperation(), so that the caller can connect to them first.
// A cancelled operation that is still waiting is started (and so finishes)
// without waiting for a free slot, unless the queue is suspended.
//
// The queue takes ownership of operations that have no parent and deletes
// them once they have finished; an operation with a parent is left to it.
class QBOperationQueue : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int operationCount READ operationCount NOTIFY operationCountChanged)
    Q_PROPERTY(bool suspended READ isSuspended WRITE setSuspended NOTIFY suspendedChanged)

public:
    explicit QBOperationQueue(int maxConcurrentOperationCount = 1, QObject *parent = nullptr);
    ~QBOperationQueue() override;

    int maxConcurrentOperationCount() const { return m_maxConcurrent; }
    void setMaxConcurrentOperationCount(int count);

    void addOperation(QBOperation *operation);
    // Waiting and executing operations, in the order they were added.
    QList<QBOperation *> operations() const;
    int operationCount() const;

    void cancelAllOperations();

    bool isSuspended() const { return m_suspended; }
    void setSuspended(bool suspended);

signals:
    void operationCountChanged(int count);
    void suspendedChanged(bool suspended);

private:
    void scheduleStart();
    void startReadyOperations();
    void operationFinished(QBOperation *operation);

    QList<QPointer<QBOperation>> m_operations;
    int m_maxConcurrent;
    bool m_suspended = false;
    bool m_startScheduled = false;
};
