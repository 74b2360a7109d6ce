// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

// One piece of asynchronous work on the main event loop, run by a
// QBOperationQueue (or started by hand). It goes from ready to executing to
// finished, or from ready straight to finished when it was cancelled before
// it started. Cancelling only marks the operation; what else a cancel does
// is up to the subclass.
class QBOperation : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool executing READ isExecuting NOTIFY executingChanged)
    Q_PROPERTY(bool finished READ isFinished NOTIFY finished)
    Q_PROPERTY(bool cancelled READ isCancelled NOTIFY cancelled)

public:
    explicit QBOperation(QObject *parent = nullptr);

    bool isExecuting() const { return m_executing; }
    bool isFinished() const { return m_finished; }
    bool isCancelled() const { return m_cancelled; }

    // Starts the work, or finishes at once if already cancelled. Calling it
    // on an operation that has started is a no-op.
    void start();
    virtual void cancel();

signals:
    void executingChanged(bool executing);
    // Emitted once, when the operation has finished (after executing went
    // false, when it was executing).
    void finished();
    void cancelled();

protected:
    // Begins the work; the subclass calls finish() when it is done, now or
    // later.
    virtual void main() = 0;
    void finish();

private:
    bool m_executing = false;
    bool m_finished = false;
    bool m_cancelled = false;
    bool m_started = false;
};
