// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtask.h"

#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QStringDecoder>
#include <QTimer>

#include <algorithm>
#include <utility>

#ifdef Q_OS_UNIX
#include <signal.h>
#endif

namespace {

inline bool isNewline(char16_t c)
{
    switch (c) {
    case u'\n':
    case u'\v':
    case u'\f':
    case u'\r':
    case u'\u0085':
    case u'\u2028':
    case u'\u2029':
        return true;
    default:
        return false;
    }
}

// The longest unfinished line kept; no line of the tools comes near it.
constexpr qsizetype maxLineLength = 1024 * 1024;

inline bool isLineBreakByte(char c)
{
    return c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

qsizetype nextLineBreak(const QByteArray &data, qsizetype from)
{
    for (qsizetype i = from; i < data.size(); ++i) {
        if (isLineBreakByte(data.at(i)))
            return i;
    }
    return -1;
}

qsizetype lastLineBreak(const QByteArray &data)
{
    for (qsizetype i = data.size() - 1; i >= 0; --i) {
        if (isLineBreakByte(data.at(i)))
            return i;
    }
    return -1;
}

// Every task alive; tasks live on the main thread only.
QList<QBTask *> &allTasks()
{
    static QList<QBTask *> tasks;
    return tasks;
}

QString quotedArguments(const QStringList &arguments)
{
    QStringList quoted;
    quoted.reserve(arguments.size());
    for (const QString &argument : arguments) {
        if (!argument.isEmpty() && !argument.contains(u' ') && !argument.contains(u'"'))
            quoted.append(argument);
        else
            quoted.append(u'"' + QString(argument).replace(u'"', QStringLiteral("\\\"")) + u'"');
    }
    return u'(' + quoted.join(QStringLiteral(", ")) + u')';
}

}

QBTask::QBTask(const QStringList &arguments, int launchPath, QObject *sender, QObject *parent)
    : QBOperation(parent)
    , m_arguments(arguments)
    , m_launchPath(launchPath)
    , m_process(new QProcess(this))
    , m_sender(sender)
{
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    connect(m_process, &QProcess::readyRead, this, &QBTask::readAvailableOutput);
    connect(m_process, &QProcess::finished, this, &QBTask::processFinished);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            failToLaunch(m_process->errorString());
    });
    allTasks().append(this);
}

QBTask::~QBTask()
{
    allTasks().removeOne(this);
    // Never leave a tool running behind us, and never let its last signals
    // reach a task that is half destroyed. Stopped as a cancel stops it, so
    // that it removes what it was writing; killed if it does not end.
    m_process->disconnect(this);
    if (m_process->state() != QProcess::NotRunning) {
        stopTool();
        if (!m_process->waitForFinished(2000)) {
            m_process->kill();
            m_process->waitForFinished(1000);
        }
    }
}

void QBTask::stopTool()
{
    if (m_toolStopped || m_process->state() == QProcess::NotRunning)
        return;
    m_toolStopped = true;
    m_process->terminate();
#ifdef Q_OS_UNIX
    if (const qint64 pid = m_process->processId(); pid > 0)
        ::kill(pid_t(pid), SIGINT);
#endif
}

void QBTask::stopAllTools()
{
    const QList<QBTask *> tasks = allTasks();
    for (QBTask *task : tasks) {
        const QPointer<QBTask> guard(task);
        task->cancel();
        if (guard)
            task->stopTool();
    }
}

void QBTask::waitForAllTools(int msecs)
{
    QElapsedTimer timer;
    timer.start();
    const QList<QBTask *> tasks = allTasks();
    for (QBTask *task : tasks) {
        if (!allTasks().contains(task))
            continue;
        QProcess *process = task->m_process;
        if (process->state() == QProcess::NotRunning)
            continue;
        if (!process->waitForFinished(int(std::max<qint64>(1, msecs - timer.elapsed())))
            && process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(1000);
        }
    }
}

QString QBTask::toolName() const
{
    return m_launchPath == 0 ? QStringLiteral("wit") : QStringLiteral("wwt");
}

void QBTask::main()
{
    const QString permissionCommand = m_launchPath == 1 ? QBSettings::permissionCommand() : QString();
    if (permissionCommand.isEmpty()) {
        launch();
        return;
    }
    // The permission step must end before the tool starts, but must not
    // block the event loop; its outcome is not examined.
    QStringList command = QProcess::splitCommand(permissionCommand);
    auto *step = new QProcess(this);
    step->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    step->setStandardOutputFile(QProcess::nullDevice());
    step->setStandardInputFile(QProcess::nullDevice());
    auto proceed = [this, step] {
        step->disconnect(this);
        step->deleteLater();
        launch();
    };
    connect(step, &QProcess::finished, this, proceed);
    connect(step, &QProcess::errorOccurred, this, [proceed](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            proceed();
    });
    const QString program = command.isEmpty() ? QString() : command.takeFirst();
    step->start(program, command);
}

void QBTask::launch()
{
    if (isCancelled()) {
        // Cancelled during the permission step: the tool never runs.
        endOfOutput();
        return;
    }
    processWillStart();
    qCInfo(lcTasks).noquote() << "Task started with arguments:" << quotedArguments(m_arguments);
    const QString program = QBSupportFolder::toolPath(toolName());
    if (program.isEmpty()) {
        // Report on the next turn of the event loop, as a real tool would.
        QTimer::singleShot(0, this, [this] {
            failToLaunch(QStringLiteral("%1 is not installed").arg(toolName()));
        });
        return;
    }
    m_process->start(program, m_arguments, QIODevice::ReadOnly);
}

void QBTask::failToLaunch(const QString &reason)
{
    qCWarning(lcTasks).noquote() << "Could not start" << toolName() << "-" << reason;
    raiseError();
    endOfOutput();
}

void QBTask::readAvailableOutput()
{
    const QByteArray chunk = m_process->readAll();
    if (!chunk.isEmpty())
        readData(chunk);
}

void QBTask::processFinished()
{
    // The output ends with the process; whatever it wrote last is read
    // before the end is reported.
    readAvailableOutput();
    endOfOutput();
}

void QBTask::readData(const QByteArray &chunk)
{
    if (m_reading) {
        m_pendingChunks.append(chunk);
        return;
    }
    QPointer<QBTask> guard(this);
    m_reading = true;
    QByteArray current = chunk;
    for (;;) {
        takeChunk(current);
        if (!guard)
            return;
        if (m_pendingChunks.isEmpty())
            break;
        current = m_pendingChunks.takeFirst();
    }
    m_reading = false;
    if (m_endPending) {
        m_endPending = false;
        endOfOutput();
    }
}

void QBTask::takeChunk(const QByteArray &chunk)
{
    if (lcToolOutput().isInfoEnabled())
        qCInfo(lcToolOutput).noquote() << QString::fromUtf8(chunk);
    if (isCancelled())
        return;
    qsizetype start = 0;
    if (m_skippingLine) {
        const qsizetype end = nextLineBreak(chunk, 0);
        if (end < 0)
            return;
        m_skippingLine = false;
        start = end + 1;
    }
    const qsizetype last = lastLineBreak(chunk);
    if (last < start) {
        m_partialLine.append(QByteArrayView(chunk).sliced(start));
    } else {
        // The break that ends the last whole line only separates it from
        // what follows; it is no line of its own.
        QByteArray lines = std::exchange(m_partialLine, chunk.sliced(last + 1));
        lines.append(QByteArrayView(chunk).sliced(start, last - start));
        readLines(lines);
    }
    // A tool that never ends its line must not fill the memory: such a line
    // is dropped, as one that does not decode is.
    if (m_partialLine.size() > maxLineLength) {
        m_partialLine.clear();
        m_skippingLine = true;
    }
}

void QBTask::readLines(const QByteArray &lines)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(lines);
    if (!decoder.hasError()) {
        readString(text);
        return;
    }
    // Line breaks are single bytes that no UTF-8 sequence contains, so the
    // lines can be cut apart before they are decoded.
    QPointer<QBTask> guard(this);
    qsizetype from = 0;
    for (;;) {
        const qsizetype end = nextLineBreak(lines, from);
        const QByteArrayView line = QByteArrayView(lines).sliced(from, (end < 0 ? lines.size() : end) - from);
        QStringDecoder lineDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString lineText = lineDecoder.decode(line);
        if (!lineDecoder.hasError())
            readString(lineText);
        if (!guard || isCancelled() || end < 0)
            return;
        from = end + 1;
    }
}

void QBTask::readString(QStringView chunk)
{
    const QChar *data = chunk.data();
    const qsizetype size = chunk.size();
    qsizetype lineStart = 0;
    for (qsizetype i = 0; i < size; ++i) {
        if (isNewline(data[i].unicode())) {
            readLine(QStringView(data + lineStart, i - lineStart));
            lineStart = i + 1;
            // A hook may cancel the run (a conversion aborted from its
            // error alert); nothing more is parsed then.
            if (isCancelled())
                return;
        }
    }
    readLine(QStringView(data + lineStart, size - lineStart));
}

void QBTask::readLine(QStringView line)
{
    if (line.startsWith(u'[')) {
        // A lone "[" names no section; it is not part of the format and is
        // skipped.
        if (line.size() < 2)
            return;
        m_section = line.sliced(1, line.size() - 2).toString();
        m_inSection = true;
        if (m_section == QLatin1String("error"))
            raiseError();
        if (!shouldStartSectionWithHeader(m_section)) {
            m_inSection = false;
            m_section.clear();
        }
        return;
    }
    if (!m_inSection) {
        if (line.startsWith(QLatin1String("!!"))) {
            raiseError();
            readErrorLine(line.sliced(2));
        }
        return;
    }
    if (line.isEmpty()) {
        const QString section = m_section;
        endSection(section);
        m_inSection = false;
        m_section.clear();
        return;
    }
    // Exactly one "=" and a value that is not empty; the keys and values
    // that matter contain no "=", so other lines are dropped.
    const qsizetype equals = line.indexOf(u'=');
    if (equals < 0 || equals == line.size() - 1 || line.indexOf(u'=', equals + 1) >= 0)
        return;
    readKey(line.first(equals), line.sliced(equals + 1), m_section);
}

void QBTask::raiseError()
{
    if (m_terminationStatus != Success)
        return;
    m_terminationStatus = ToolError;
    processDidRaiseError();
}

void QBTask::endOfOutput()
{
    if (m_ended)
        return;
    if (m_reading) {
        m_endPending = true;
        return;
    }
    m_ended = true;
    QPointer<QBTask> guard(this);
    // What follows the last line break is the last line.
    if (!isCancelled() && !m_partialLine.isEmpty())
        readLines(std::exchange(m_partialLine, QByteArray()));
    if (guard && !isCancelled())
        processDidStop();
    if (guard)
        finish();
}

void QBTask::processWillStart() { }

bool QBTask::shouldStartSectionWithHeader(const QString &)
{
    return false;
}

void QBTask::readKey(QStringView, QStringView, const QString &) { }

void QBTask::endSection(const QString &) { }

void QBTask::processDidStop() { }

void QBTask::processDidRaiseError() { }

void QBTask::readErrorLine(QStringView) { }
