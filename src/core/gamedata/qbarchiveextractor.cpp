// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbarchiveextractor.h"

#include "base/qblogging.h"
#include "base/qbsavefile.h"
#include "qbarchivescreening.h"

#include <QFile>
#include <QStandardPaths>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

QBArchiveExtractor::QBArchiveExtractor(QObject *parent)
    : QObject(parent)
{
}

QBArchiveExtractor::~QBArchiveExtractor()
{
    m_process.disconnect(this);
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(1000);
    }
}

void QBArchiveExtractor::start(const QString &archive, const QString &name, const QString &destination,
                               qint64 maximumSize, QFileDevice::Permissions permissions)
{
    m_name = name;
    m_permissions = permissions;
    QFile file(archive);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(file.errorString());
        return;
    }
    const QBArchiveScreening::Result screening = QBArchiveScreening::screen(file, name.toUtf8(), maximumSize);
    if (screening.verdict != QBArchiveScreening::Verdict::Accepted) {
        fail(QStringLiteral("archive refused: ") + QBArchiveScreening::describe(screening.verdict));
        return;
    }
    m_size = screening.size;
    const QString unzip = QStandardPaths::findExecutable(QStringLiteral("unzip"));
    if (unzip.isEmpty()) {
        fail(QStringLiteral("unzip is not installed"));
        return;
    }
    m_file = std::make_unique<QBSaveFile>(destination);
    if (!m_file->open()) {
        fail(m_file->errorString());
        return;
    }
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &QBArchiveExtractor::readOutput);
    connect(&m_process, &QProcess::finished, this, &QBArchiveExtractor::unpacked, Qt::QueuedConnection);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            fail(m_process.errorString());
    });
#ifdef Q_OS_UNIX
    // No terminal to ask for a password on: a run from a shell must not
    // stop and wait.
    m_process.setChildProcessModifier([] { ::setsid(); });
#endif
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.setStandardInputFile(QProcess::nullDevice());
    // -p: the entry to standard output, no file written; the name has no
    // wildcard, so it matches that entry alone.
    m_process.start(unzip, {QStringLiteral("-p"), archive, name});
}

void QBArchiveExtractor::readOutput()
{
    const QByteArray data = m_process.readAllStandardOutput();
    if (m_ended)
        return;
    // The screened size is the most that may come, whatever the archive
    // really holds.
    if (m_file->size() + data.size() > m_size) {
        fail(QStringLiteral("unpacks to more than its announced %1 bytes").arg(m_size));
        return;
    }
    if (!m_file->write(data))
        fail(m_file->errorString());
}

void QBArchiveExtractor::unpacked()
{
    readOutput();
    if (m_ended)
        return;
    if (m_process.exitStatus() != QProcess::NormalExit || m_process.exitCode() != 0) {
        fail(QStringLiteral("unzip failed: ") + QString::fromLocal8Bit(m_process.readAllStandardError().trimmed()));
        return;
    }
    if (m_file->size() != m_size) {
        fail(QStringLiteral("unpacks to %1 bytes, not its announced %2").arg(m_file->size()).arg(m_size));
        return;
    }
    if (!m_file->commit(m_name, m_permissions)) {
        fail(m_file->errorString());
        return;
    }
    end(true);
}

void QBArchiveExtractor::fail(const QString &reason)
{
    if (m_ended)
        return;
    qCWarning(lcGameData).noquote() << "Cannot install" << m_name << u'-' << reason;
    if (m_process.state() != QProcess::NotRunning) {
        m_process.disconnect(this);
        m_process.kill();
        m_process.waitForFinished(1000);
    }
    end(false);
}

void QBArchiveExtractor::end(bool success)
{
    m_ended = true;
    m_file.reset();
    QMetaObject::invokeMethod(this, [this, success] { emit finished(success); }, Qt::QueuedConnection);
}
