// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qboperation.h"

#include <QByteArray>
#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>

class QProcess;

// One run of wit or wwt with one argument list, as a queueable operation.
// Everything the tool writes, on standard output and standard error alike,
// is read as it arrives and parsed in the tools' sectioned format:
//
//   [name]          opens a section
//   key=value       a line of the open section
//   (empty line)    closes it
//   !! text         outside a section: the tool reports an error
//
// Subclasses say which sections they want and receive their lines through
// the hooks. Whether a run failed is decided from the output alone (an
// "error" section or a "!!" line outside a section), never from the exit
// code, since the tools' exit codes do not always agree with what they
// print.
class QBTask : public QBOperation
{
    Q_OBJECT

public:
    enum TerminationStatus {
        Success = 0,
        ToolError = 1,
        CancelledBeforeRun = 2,
        CancelledWhileRunning = 3,
    };

    // launchPath selects the tool: 0 runs wit, any other value wwt; exactly
    // 1 also runs the permission step first. The sender is handed back by
    // subclasses with their results; the task does not own it.
    QBTask(const QStringList &arguments, int launchPath, QObject *sender, QObject *parent = nullptr);
    ~QBTask() override;

    const QStringList &arguments() const { return m_arguments; }
    int launchPath() const { return m_launchPath; }
    QString toolName() const;
    int terminationStatus() const { return m_terminationStatus; }
    QObject *sender() const { return m_sender; }
    void setSender(QObject *sender) { m_sender = sender; }

    // At the end of the program: every task is cancelled, and every tool
    // still running is stopped as a cancelled conversion is. Tasks not
    // started yet never start their tool.
    static void stopAllTools();
    // Waits, blocking, until every stopped tool has ended; one that has not
    // within msecs is killed.
    static void waitForAllTools(int msecs);

    // The pipe side of the reader: one chunk of raw output as the pipe
    // delivered it, logged whole. The bytes after its last line break wait
    // for the next chunk, so every line is parsed once, whole, in order,
    // and a character cut by the pipe is decoded whole. A line that is not
    // valid UTF-8 is skipped, and only that line. Public so that the reader
    // can be driven without a child process.
    void readData(const QByteArray &chunk);
    // Parses one decoded text by itself. Every newline character (LF, VT,
    // FF, CR, NEL, LS, PS) ends a line, so CR LF gives an empty line in
    // between and a text ending in a newline ends with an empty line.
    // Nothing is carried over to the next call, and nothing is trimmed.
    void readString(QStringView chunk);

protected:
    void main() override;

    // Hooks, in the order of a run.
    virtual void processWillStart();
    virtual bool shouldStartSectionWithHeader(const QString &header);
    virtual void readKey(QStringView key, QStringView value, const QString &section);
    virtual void endSection(const QString &section);
    // The end of the output, unless the task was cancelled.
    virtual void processDidStop();
    // The first error that the output shows (terminationStatus went to 1).
    virtual void processDidRaiseError();
    // Each "!!" line outside a section, without the "!!", after the error
    // has been raised.
    virtual void readErrorLine(QStringView text);

    void setTerminationStatus(int status) { m_terminationStatus = status; }
    QProcess *process() const { return m_process; }
    // Terminate, then interrupt: wit and wwt take the second signal as an
    // order to stop now, removing the file they were writing. Once per run.
    void stopTool();

private:
    void launch();
    void readLine(QStringView line);
    void takeChunk(const QByteArray &chunk);
    void readLines(const QByteArray &lines);
    void raiseError();
    void readAvailableOutput();
    void processFinished();
    void failToLaunch(const QString &reason);
    void endOfOutput();

    QStringList m_arguments;
    int m_launchPath;
    QProcess *m_process;
    QString m_section;
    bool m_inSection = false;
    int m_terminationStatus = Success;
    QPointer<QObject> m_sender;

    // A hook may open a modal dialog whose event loop delivers more output
    // while an earlier chunk is still being parsed; such chunks, and the end
    // of output, wait until the current chunk is done, so lines are always
    // parsed in order.
    bool m_reading = false;
    QList<QByteArray> m_pendingChunks;
    // The start of a line whose end has not come yet; while a line too long
    // to keep is being skipped, m_skippingLine.
    QByteArray m_partialLine;
    bool m_skippingLine = false;
    bool m_endPending = false;
    bool m_ended = false;
    bool m_toolStopped = false;
};
