// SPDX-License-Identifier: GPL-3.0-or-later
#include "tasks/qboperation.h"
#include "tasks/qboperationqueue.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>

namespace {

// Runs until done() is called; records the order in which operations start.
class ManualOperation : public QBOperation
{
public:
    explicit ManualOperation(QStringList *log, const QString &name, QObject *parent = nullptr)
        : QBOperation(parent)
        , m_log(log)
        , m_name(name)
    {
    }
    void done() { finish(); }

protected:
    void main() override { m_log->append(m_name); }

private:
    QStringList *m_log;
    QString m_name;
};

}

class tst_QBOperationQueue : public QObject
{
    Q_OBJECT

private slots:
    void startsInOrderWithinTheLimit();
    void startIsDeferredToTheEventLoop();
    void cancelledWaitingOperationFinishesWithoutRunning();
    void cancelAllLeavesRunningOperationsToTheirOwnEnd();
    void suspendHoldsBackEverything();
    void ownership();
    void deletedOperationLeavesTheQueue();
};

void tst_QBOperationQueue::startsInOrderWithinTheLimit()
{
    QStringList log;
    QBOperationQueue queue(2);
    QSignalSpy count(&queue, &QBOperationQueue::operationCountChanged);
    QList<ManualOperation *> ops;
    for (int i = 0; i < 4; ++i) {
        ops << new ManualOperation(&log, QString::number(i), this);
        queue.addOperation(ops.last());
    }
    QCOMPARE(queue.operationCount(), 4);
    QTRY_COMPARE(log, (QStringList{u"0"_qs, u"1"_qs}));
    QTest::qWait(20);
    QCOMPARE(log.size(), 2);

    ops[1]->done();
    QTRY_COMPARE(log, (QStringList{u"0"_qs, u"1"_qs, u"2"_qs}));
    QCOMPARE(queue.operationCount(), 3);
    QCOMPARE(queue.operations(), (QList<QBOperation *>{ops[0], ops[2], ops[3]}));

    ops[0]->done();
    ops[2]->done();
    QTRY_COMPARE(log.size(), 4);
    ops[3]->done();
    QCOMPARE(queue.operationCount(), 0);
    QCOMPARE(count.last().first().toInt(), 0);
    QCOMPARE(count.size(), 8);

    // A queue of one runs strictly one after another.
    log.clear();
    queue.setMaxConcurrentOperationCount(1);
    auto *a = new ManualOperation(&log, u"a"_qs, this);
    auto *b = new ManualOperation(&log, u"b"_qs, this);
    queue.addOperation(a);
    queue.addOperation(b);
    QTRY_COMPARE(log, QStringList{u"a"_qs});
    QTest::qWait(20);
    QCOMPARE(log, QStringList{u"a"_qs});
    a->done();
    QTRY_COMPARE(log, (QStringList{u"a"_qs, u"b"_qs}));
    b->done();
}

void tst_QBOperationQueue::startIsDeferredToTheEventLoop()
{
    QStringList log;
    QBOperationQueue queue;
    ManualOperation op(&log, u"op"_qs, this);
    QSignalSpy executing(&op, &QBOperation::executingChanged);
    queue.addOperation(&op);
    QVERIFY(!op.isExecuting());
    QVERIFY(executing.wait(1000));
    QVERIFY(op.isExecuting());
    op.done();
    QVERIFY(op.isFinished());
    QCOMPARE(executing.size(), 2);
}

void tst_QBOperationQueue::cancelledWaitingOperationFinishesWithoutRunning()
{
    QStringList log;
    QBOperationQueue queue(1);
    ManualOperation running(&log, u"running"_qs, this);
    ManualOperation waiting(&log, u"waiting"_qs, this);
    queue.addOperation(&running);
    queue.addOperation(&waiting);
    QTRY_VERIFY(running.isExecuting());

    QSignalSpy executing(&waiting, &QBOperation::executingChanged);
    QSignalSpy finished(&waiting, &QBOperation::finished);
    waiting.cancel();
    // It does not wait for the running one to make room.
    QVERIFY(finished.wait(1000));
    QCOMPARE(executing.size(), 0);
    QCOMPARE(log, QStringList{u"running"_qs});
    QCOMPARE(queue.operations(), QList<QBOperation *>{&running});
    running.done();
}

void tst_QBOperationQueue::cancelAllLeavesRunningOperationsToTheirOwnEnd()
{
    QStringList log;
    QBOperationQueue queue(1);
    ManualOperation first(&log, u"first"_qs, this);
    ManualOperation second(&log, u"second"_qs, this);
    ManualOperation third(&log, u"third"_qs, this);
    for (QBOperation *op : {&first, &second, &third})
        queue.addOperation(op);
    QTRY_VERIFY(first.isExecuting());

    queue.cancelAllOperations();
    QVERIFY(first.isCancelled() && second.isCancelled() && third.isCancelled());
    QTRY_COMPARE(queue.operationCount(), 1);
    QVERIFY(second.isFinished() && third.isFinished());
    QVERIFY(first.isExecuting());
    first.done();
    QCOMPARE(queue.operationCount(), 0);
    QCOMPARE(log, QStringList{u"first"_qs});
}

void tst_QBOperationQueue::suspendHoldsBackEverything()
{
    QStringList log;
    QBOperationQueue queue(1);
    QSignalSpy suspended(&queue, &QBOperationQueue::suspendedChanged);
    queue.setSuspended(true);
    ManualOperation a(&log, u"a"_qs, this);
    ManualOperation b(&log, u"b"_qs, this);
    queue.addOperation(&a);
    queue.addOperation(&b);
    b.cancel();
    QTest::qWait(30);
    QVERIFY(log.isEmpty());
    QVERIFY(!b.isFinished());

    queue.setSuspended(false);
    QTRY_VERIFY(b.isFinished());
    QTRY_COMPARE(log, QStringList{u"a"_qs});
    QCOMPARE(suspended.size(), 2);
    a.done();
}

void tst_QBOperationQueue::ownership()
{
    QStringList log;
    QBOperationQueue queue(2);
    QPointer<ManualOperation> orphan = new ManualOperation(&log, u"orphan"_qs);
    QPointer<ManualOperation> child = new ManualOperation(&log, u"child"_qs, this);
    queue.addOperation(orphan);
    queue.addOperation(child);
    QCOMPARE(orphan->parent(), &queue);
    QTRY_COMPARE(log.size(), 2);
    orphan->done();
    child->done();
    QTRY_VERIFY(orphan.isNull());
    QVERIFY(!child.isNull());
    delete child;
}

void tst_QBOperationQueue::deletedOperationLeavesTheQueue()
{
    QStringList log;
    QBOperationQueue queue(1);
    ManualOperation running(&log, u"running"_qs, this);
    auto *doomed = new ManualOperation(&log, u"doomed"_qs, this);
    ManualOperation last(&log, u"last"_qs, this);
    queue.addOperation(&running);
    queue.addOperation(doomed);
    queue.addOperation(&last);
    QTRY_VERIFY(running.isExecuting());
    delete doomed;
    QCOMPARE(queue.operations(), (QList<QBOperation *>{&running, &last}));
    running.done();
    QTRY_COMPARE(log, (QStringList{u"running"_qs, u"last"_qs}));
    last.done();
}

QTEST_GUILESS_MAIN(tst_QBOperationQueue)
#include "tst_qboperationqueue.moc"
