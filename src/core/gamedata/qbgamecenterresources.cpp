// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamecenter.h"

#include "base/qbalertpresenter.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "qbarchiveextractor.h"
#include "qbfiledownload.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbversiontask.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>

#include <utility>

// The support folder's resources: the tools and the title database, where
// they are, their downloads and installs, and the database's loading.

namespace {

const QString wiitdb = QStringLiteral("wiitdb");
const QString wiitdbXml = QStringLiteral("wiitdb.xml");
const QString witName = QStringLiteral("wit");
const QString wwtName = QStringLiteral("wwt");

// A download ends beyond this size; what it unpacks to is bounded too: the
// database by what the parser reads, a tool by far more than it needs.
constexpr qint64 archiveSizeLimit = qint64(256) << 20;
constexpr qint64 toolSizeLimit = qint64(64) << 20;
// The version command answers at once; a tool that does not is stopped.
constexpr int versionTimeoutMs = 5000;

void alert(const QString &message, const QString &informativeText = QString())
{
    QBAlert alert;
    alert.message = message;
    alert.informativeText = informativeText;
    QBAlertPresenter::run(alert);
}

}

QString QBGameCenter::pathForResource(const QString &name) const
{
    if (name == witName || name == wwtName) {
        const QString tool = QBSupportFolder::toolPath(name);
        if (!tool.isEmpty())
            return tool;
    }
    return m_supportFolder.isEmpty() ? QString() : m_supportFolder + u'/' + name;
}

QBGameCenter::ToolSource QBGameCenter::toolSource(const QString &tool)
{
    const QString path = QBSupportFolder::toolPath(tool);
    if (path.isEmpty())
        return ToolSource::Missing;
    return QFileInfo(path).absolutePath() == QFileInfo(QBSupportFolder::location()).absoluteFilePath()
            ? ToolSource::SupportFolder
            : ToolSource::System;
}

QString QBGameCenter::toolVersion(const QString &tool) const
{
    const auto found = m_toolVersions.constFind(tool);
    return found != m_toolVersions.cend() && found->first == QBSupportFolder::toolPath(tool) ? found->second
                                                                                              : QString();
}

void QBGameCenter::findToolVersions(QObject *context, const std::function<void()> &then)
{
    m_versionWaiters.append({context, then});
    if (m_versionTasks > 0)
        return;
    for (const QString &tool : {witName, wwtName}) {
        const QString path = QBSupportFolder::toolPath(tool);
        const auto known = m_toolVersions.constFind(tool);
        if (path.isEmpty() || (known != m_toolVersions.cend() && known->first == path))
            continue;
        auto *task = new QBVersionTask(tool, this);
        ++m_versionTasks;
        connect(task, &QBOperation::finished, this, [this, task, tool, path] {
            m_toolVersions.insert(tool, {path, task->version()});
            task->deleteLater();
            if (--m_versionTasks == 0)
                toolVersionsFound();
        });
        QTimer::singleShot(versionTimeoutMs, task, &QBOperation::cancel);
        task->start();
    }
    if (m_versionTasks == 0)
        toolVersionsFound();
}

// From the event loop, never from the tool's end: a waiter may run an
// alert, whose loop would not see the window system's events while the
// process's notifier is still being handled.
void QBGameCenter::toolVersionsFound()
{
    const auto waiters = std::exchange(m_versionWaiters, {});
    for (const auto &[context, then] : waiters) {
        if (context)
            QMetaObject::invokeMethod(context, then, Qt::QueuedConnection);
    }
}

// --- The title database ---------------------------------------------------

void QBGameCenter::parseDatabase()
{
    const QString path = m_supportFolder.isEmpty() ? QString() : m_supportFolder + u'/' + wiitdbXml;
    auto *parse = new QBDatabaseParse(path, m_languages);
    connect(parse, &QBDatabaseParse::databaseDidParse, this, &QBGameCenter::databaseDidParse);
    connect(parse, &QBOperation::finished, this, [this] {
        if (--m_parses == 0)
            emit parsingChanged(false);
    });
    if (m_parses++ == 0)
        emit parsingChanged(true);
    m_operationQueue->addOperation(parse);
}

void QBGameCenter::databaseDidParse(const QBDatabase &database)
{
    m_database = database;
    m_hasDatabase = true;
    qCInfo(lcGameData) << "Title database loaded:" << database.size() << "games";
    emit databaseDidLoad();
}

// --- Downloads ------------------------------------------------------------

void QBGameCenter::downloadWIT()
{
    downloadToolArchive(witName, QStringLiteral("Updating WIT ..."), QStringLiteral("Downloading WIT ..."));
}

void QBGameCenter::downloadWWT()
{
    downloadToolArchive(wwtName, QStringLiteral("Updating WWT ..."), QStringLiteral("Downloading WWT ..."));
}

void QBGameCenter::downloadToolArchive(const QString &tool, const QString &updating, const QString &downloading)
{
    if (toolSource(tool) == ToolSource::System) {
        // The system's package keeps the tool up to date; a copy of ours
        // would only hide it.
        findToolVersions(this, [this, tool] {
            const QString version = toolVersion(tool);
            alert(QStringLiteral("Palomet uses %1%2, installed on your system.")
                          .arg(tool, version.isEmpty() ? QString() : u' ' + version),
                  QStringLiteral("Your system's package manager updates it with the package \"wit\", which "
                                 "provides both wit and wwt."));
        });
        return;
    }
    const QString server = QBSettings::toolServer();
    if (server.isEmpty()) {
        // No site offers the tools for this system: its own package does.
        alert(QStringLiteral("Please install the package \"wit\" of your system."),
              QStringLiteral("It provides both wit and wwt, which Palomet runs when its support folder holds no copy of its own."));
        return;
    }
    startDownload(tool, tool, server + QStringLiteral("/palomet/") + tool + QStringLiteral(".zip"), updating,
                  downloading);
}

void QBGameCenter::downloadDatabase()
{
    startDownload(wiitdb, wiitdbXml,
                  QBSettings::databaseServer() + QStringLiteral("/wiitdb.zip"),
                  QStringLiteral("Updating the database ... "), QStringLiteral("Downloading the database ..."));
}

void QBGameCenter::startDownload(const QString &name, const QString &installedName, const QString &url,
                                 const QString &updating, const QString &downloading)
{
    if (!m_downloadString.isEmpty())
        return;
    setDownloadString(name);
    const bool installed = !m_supportFolder.isEmpty() && QFileInfo::exists(m_supportFolder + u'/' + installedName);
    setDownloadText(installed ? updating : downloading);
    downloadResourceAtURL(url);
}

void QBGameCenter::downloadResourceAtURL(const QString &urlText)
{
    const QString dataFolder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (!QDir().mkpath(dataFolder) || m_supportFolder.isEmpty()) {
        setDownloadString(QString());
        alert(QStringLiteral("The folder “%1” could not be created.")
                      .arg(m_supportFolder.isEmpty() ? QBSupportFolder::location() : dataFolder),
              QStringLiteral("Please check that you may write there and that the disk is not full."));
        return;
    }
    const QUrl url(urlText);
    if (!url.isValid() || url.host().isEmpty()
        || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))) {
        setDownloadString(QString());
        alert(QStringLiteral("The connection to the internet couldn't be established."),
              QStringLiteral("Please try again later."));
        return;
    }
    m_downloadSize = -1;
    setDownloadPercent(0);
    setDownloadDeterminate(false);
    // Into the support folder: private to the user, on the disk where the
    // file it holds is installed.
    m_download = new QBFileDownload(m_network, url, m_supportFolder, archiveSizeLimit, this);
    connect(m_download, &QBFileDownload::responseReceived, this, &QBGameCenter::responseReceived);
    connect(m_download, &QBFileDownload::dataReceived, this, &QBGameCenter::dataReceived);
    connect(m_download, &QBFileDownload::finished, this, &QBGameCenter::transferEnded);
    m_download->start();
    setDownloadWindowVisible(true);
}

void QBGameCenter::responseReceived(qint64 length)
{
    m_downloadSize = length;
    // Without an announced length there is nothing to measure against; the
    // bar stays busy until the end.
    setDownloadDeterminate(m_downloadSize > 0);
}

void QBGameCenter::dataReceived(qint64 received)
{
    if (m_downloadSize > 0)
        setDownloadPercent(double(received) * 100.0 / double(m_downloadSize));
}

void QBGameCenter::transferEnded(bool success)
{
    if (!success) {
        const QString error = m_download->errorString();
        // The menu is free again when the alert shows.
        endDownload(false, error);
        return;
    }
    setDownloadDeterminate(false);
    const bool database = m_downloadString == wiitdb;
    const QFileDevice::Permissions readable =
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    const QFileDevice::Permissions executable =
            readable | QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
    m_extractor = new QBArchiveExtractor(this);
    connect(m_extractor, &QBArchiveExtractor::finished, this, &QBGameCenter::extractionEnded);
    m_extractor->start(m_download->file().fileName(), database ? wiitdbXml : m_downloadString, m_supportFolder,
                       database ? QBDatabaseParse::maximumFileSize : toolSizeLimit,
                       database ? readable : executable);
}

void QBGameCenter::extractionEnded(bool success)
{
    setDownloadWindowVisible(false);
    // The menu stays taken while the alert shows.
    if (!success)
        alert(QStringLiteral("Extraction failed."));
    else if (m_downloadString == wiitdb)
        parseDatabase();
    endDownload(success);
}

void QBGameCenter::endDownload(bool installed, const QString &error)
{
    // The archive goes with its download.
    if (m_extractor) {
        m_extractor->deleteLater();
        m_extractor = nullptr;
    }
    if (m_download) {
        m_download->file().remove();
        m_download->deleteLater();
        m_download = nullptr;
    }
    setDownloadWindowVisible(false);
    setDownloadString(QString());
    if (!error.isEmpty())
        alert(error);
    emit downloadDidEnd(installed);
}

QBGameCenter::MenuItem QBGameCenter::validateUserInterfaceItem(Download action) const
{
    struct Texts
    {
        QString name;
        QString installedName;
        const char *running;
        const char *update;
        const char *download;
    };
    static const Texts texts[] = {
            {witName, witName, "Downloading WIT ...", "Update WIT", "Download WIT"},
            {wwtName, wwtName, "Downloading WWT ...", "Update WWT", "Download WWT"},
            {wiitdb, wiitdbXml, "Downloading database ...", "Update database", "Download database"},
    };
    const Texts &item = texts[int(action)];
    MenuItem state;
    state.enabled = m_downloadString.isEmpty();
    if (m_downloadString == item.name)
        state.title = QString::fromLatin1(item.running);
    else if (!m_supportFolder.isEmpty() && QFileInfo::exists(m_supportFolder + u'/' + item.installedName))
        state.title = QString::fromLatin1(item.update);
    else
        state.title = QString::fromLatin1(item.download);
    return state;
}

void QBGameCenter::setDownloadString(const QString &name)
{
    if (m_downloadString == name)
        return;
    m_downloadString = name;
    emit downloadStringChanged(name);
}

void QBGameCenter::setDownloadText(const QString &text)
{
    if (m_downloadText == text)
        return;
    m_downloadText = text;
    emit downloadTextChanged(text);
}

void QBGameCenter::setDownloadWindowVisible(bool visible)
{
    if (m_downloadWindowVisible == visible)
        return;
    m_downloadWindowVisible = visible;
    emit downloadWindowVisibleChanged(visible);
}

void QBGameCenter::setDownloadDeterminate(bool determinate)
{
    if (m_downloadDeterminate == determinate)
        return;
    m_downloadDeterminate = determinate;
    emit downloadDeterminateChanged(determinate);
}

void QBGameCenter::setDownloadPercent(double percent)
{
    if (m_downloadPercent == percent)
        return;
    m_downloadPercent = percent;
    emit downloadPercentChanged(percent);
}
