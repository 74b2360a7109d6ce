// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbarchiveextractor.h"

#include "base/qblogging.h"

#include <QDir>
#include <QDirIterator>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <filesystem>
#include <system_error>

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

bool QBArchiveExtractor::isSafeEntry(const QString &name)
{
    if (name.isEmpty() || name.startsWith(u'/') || name.startsWith(u'\\'))
        return false;
    const QStringList parts = QString(name).replace(u'\\', u'/').split(u'/');
    return !parts.contains(QStringLiteral(".."));
}

void QBArchiveExtractor::start(const QString &archive, const QString &destination)
{
    m_archive = archive;
    m_destination = destination;
    // One name per line, nothing else.
    runUnzip({QStringLiteral("-Z1"), archive}, &QBArchiveExtractor::listed);
}

void QBArchiveExtractor::runUnzip(const QStringList &arguments, void (QBArchiveExtractor::*next)())
{
    const QString unzip = QStandardPaths::findExecutable(QStringLiteral("unzip"));
    if (unzip.isEmpty()) {
        qCWarning(lcGameData) << "unzip is not installed";
        end(false);
        return;
    }
    disconnect(m_next);
    m_next = connect(&m_process, &QProcess::finished, this, next, Qt::QueuedConnection);
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(unzip, arguments);
}

void QBArchiveExtractor::listed()
{
    if (m_process.exitStatus() != QProcess::NormalExit || m_process.exitCode() != 0) {
        qCInfo(lcGameData).noquote() << "Not a readable zip archive:" << m_archive
                                     << m_process.readAllStandardError().trimmed();
        end(false);
        return;
    }
    const QStringList names = QString::fromUtf8(m_process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    for (const QString &name : names) {
        if (!isSafeEntry(name)) {
            qCWarning(lcGameData).noquote() << "Archive refused, unsafe entry:" << name;
            end(false);
            return;
        }
    }
    m_scratch = std::make_unique<QTemporaryDir>(m_destination + QStringLiteral("/.unpacking-XXXXXX"));
    if (!m_scratch->isValid()) {
        qCWarning(lcGameData).noquote() << "Cannot unpack into" << m_destination << m_scratch->errorString();
        end(false);
        return;
    }
    runUnzip({QStringLiteral("-o"), QStringLiteral("-q"), m_archive, QStringLiteral("-d"), m_scratch->path()},
             &QBArchiveExtractor::unpacked);
}

void QBArchiveExtractor::unpacked()
{
    if (m_process.exitStatus() != QProcess::NormalExit || m_process.exitCode() != 0) {
        qCWarning(lcGameData).noquote() << "unzip failed:" << m_process.readAllStandardError().trimmed();
        end(false);
        return;
    }
    end(moveIntoPlace());
}

// rename() replaces each installed file in one step; a folder entry is
// merged file by file.
bool QBArchiveExtractor::moveIntoPlace()
{
    const QDir scratch(m_scratch->path());
    QDirIterator it(scratch.path(), QDir::Files | QDir::System | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString source = it.next();
        const QString target = m_destination + u'/' + scratch.relativeFilePath(source);
        const std::filesystem::path to(QFile::encodeName(target).toStdString());
        std::error_code error;
        std::filesystem::create_directories(to.parent_path(), error);
        std::filesystem::rename(QFile::encodeName(source).toStdString(), to, error);
        if (error) {
            qCWarning(lcGameData).noquote() << "Cannot install" << target << QString::fromStdString(error.message());
            return false;
        }
    }
    return true;
}

void QBArchiveExtractor::end(bool success)
{
    m_scratch.reset();
    emit finished(success);
}
