// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversiontask.h"

#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "base/qbtextnumber.h"
#include "qbconversionbundle.h"
#include "qbconversionhandler.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

namespace {
const QString progressSection = QStringLiteral("progress");
// Should a tool ignore both signals, it is killed after this long.
constexpr int killDelayMs = 10000;
}

QBConversionTask::QBConversionTask(const QStringList &arguments, int launchPath,
                                   QBConversionBundle *bundle, QObject *sender, QObject *parent)
    : QBTask(arguments, launchPath, sender, parent)
    , m_bundle(bundle)
{
    setBundleValue(BundleKey::terminationStatus, 0);
    if (m_bundle) {
        m_bundle->setTask(this);
        m_requestedDestination = m_bundle->destinationPath();
    }
    connect(process(), &QProcess::finished, this, &QBConversionTask::toolDidEnd);
}

QBConversionTask::~QBConversionTask()
{
    QProcess *child = process();
    if (child->state() == QProcess::NotRunning)
        return;
    stopTool();
    if (!child->waitForFinished(killDelayMs)) {
        child->kill();
        child->waitForFinished(1000);
    }
}

void QBConversionTask::setBundleValue(const QString &key, const QVariant &value)
{
    if (m_bundle)
        m_bundle->setValue(key, value);
}

void QBConversionTask::setStatus(int status)
{
    setTerminationStatus(status);
    setBundleValue(BundleKey::terminationStatus, status);
}

void QBConversionTask::processWillStart()
{
    // wit and wwt only write into folders that exist. An addition writes
    // into a partition, so there is nothing to create for it.
    const bool createsFile = launchPath() == 0
            || (!arguments().isEmpty() && arguments().first() == QLatin1String("extract"));
    if (createsFile && m_bundle) {
        const QString folder = QFileInfo(m_bundle->destinationPath()).path();
        if (!QFileInfo::exists(folder)) {
            if (QDir().mkpath(folder))
                m_createdFolder = folder;
            else
                qCWarning(lcTasks).noquote() << "Could not create the folder" << folder;
        }
        m_temporaryFilesBefore = ownTemporaryFiles();
    }
    setBundleValue(BundleKey::infos, QStringLiteral("Conversion started."));
    setBundleValue(BundleKey::isWaiting, false);
}

// The tool reports progress about once a second:
//   [progress]  percent=42  mib-per-sec=12.3  eta-text=5:20  ...
// and wit names its output, which may differ from the name asked for:
//   [COPY]  dest-path=...
bool QBConversionTask::shouldStartSectionWithHeader(const QString &header)
{
    if (header == progressSection) {
        m_parsedInfos = QVariantMap();
        return true;
    }
    return header == QLatin1String("COPY") && launchPath() == 0;
}

void QBConversionTask::readKey(QStringView key, QStringView value, const QString &section)
{
    if (section == progressSection) {
        if (const QString *known = QBKeySets::find(QBKeySets::progressKeys(), key)) {
            m_parsedInfos.insert(*known, value.toString());
            return;
        }
    }
    if (key == ProgressKey::destPath)
        setBundleValue(BundleKey::destinationPath, value.toString());
}

void QBConversionTask::endSection(const QString &section)
{
    if (section != progressSection)
        return;
    auto text = [this](const QString &key) {
        const auto it = m_parsedInfos.constFind(key);
        return it == m_parsedInfos.cend() ? QStringLiteral("(null)") : it->toString();
    };
    setBundleValue(BundleKey::infos, QStringLiteral("%1 MiB/sec - %2 minutes left")
                                             .arg(text(ProgressKey::mibPerSec),
                                                  text(ProgressKey::etaText)));
    setBundleValue(BundleKey::percent,
                   QBTextNumber::toDouble(m_parsedInfos.value(ProgressKey::percent).toString()));
}

void QBConversionTask::processDidStop()
{
    // Also when the tool could not start at all: the folder made for it goes.
    toolDidEnd();
    if (!m_bundle)
        return;
    m_bundle->remove(BundleKey::task);
    setBundleValue(BundleKey::infos, terminationStatus() != Success
                           ? QStringLiteral("Error! Please try again.")
                           : QStringLiteral("Task completed."));
    // Done either way, so that the overall progress counts it as complete.
    setBundleValue(BundleKey::percent, 100.0);
    if (terminationStatus() == Success) {
        emit conversionDidFinish({{UserInfoKey::game, m_bundle->value(BundleKey::game)},
                                  {UserInfoKey::filename, m_bundle->destinationPath()},
                                  {UserInfoKey::task, QVariant::fromValue<QObject *>(this)}});
    }
}

void QBConversionTask::processDidRaiseError()
{
    setBundleValue(BundleKey::terminationStatus, terminationStatus());
    if (QBConversionHandler *handler = QBConversionHandler::shared(); handler && m_bundle)
        handler->handleConversionErrorForBundle(m_bundle);
}

QStringList QBConversionTask::temporaryFiles(const QString &folder, const QString &name)
{
    if (folder.isEmpty() || name.isEmpty())
        return {};
    const QRegularExpression pattern(u"\\A\\."_qs + QRegularExpression::escape(name)
                                     + u"\\.[A-Za-z0-9]{6}\\.tmp(\\.[0-9]{1,4})?\\z"_qs);
    QStringList files;
    // Not a name filter: a game's name holds brackets, which a filter reads
    // as a set of characters.
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        const QFileInfo file(it.next());
        if (!file.isSymLink() && file.isFile() && pattern.match(file.fileName()).hasMatch())
            files << file.filePath();
    }
    return files;
}

QStringList QBConversionTask::ownTemporaryFiles() const
{
    // The name asked for, and the one the tool reported when it differs.
    QStringList files;
    QStringList destinations{m_requestedDestination};
    if (m_bundle && m_bundle->destinationPath() != m_requestedDestination)
        destinations << m_bundle->destinationPath();
    for (const QString &destination : std::as_const(destinations)) {
        const QFileInfo info(destination);
        files << temporaryFiles(info.path(), info.fileName());
    }
    return files;
}

// wit and wwt remove their temporary file when interrupted, but not when
// killed, and not always before the program gives up waiting; what is left
// of an output that will never be finished goes, and nothing else.
void QBConversionTask::toolDidEnd()
{
    if (terminationStatus() == Success)
        return;
    for (const QString &file : ownTemporaryFiles()) {
        if (!m_temporaryFilesBefore.contains(file) && QFile::remove(file))
            qCInfo(lcTasks).noquote() << "Removed the unfinished file" << file;
    }
    if (!m_createdFolder.isEmpty() && QDir().rmdir(m_createdFolder))
        m_createdFolder.clear();
}

void QBConversionTask::cancel()
{
    if (isCancelled() || isFinished())
        return;
    QBTask::cancel();
    if (!isExecuting()) {
        setStatus(CancelledBeforeRun);
        return;
    }
    setStatus(CancelledWhileRunning);
    setBundleValue(BundleKey::infos, QStringLiteral("Aborting ..."));
    QProcess *child = process();
    if (child->state() == QProcess::NotRunning)
        return;
    stopTool();
    QTimer::singleShot(killDelayMs, child, [child] {
        if (child->state() != QProcess::NotRunning)
            child->kill();
    });
}
