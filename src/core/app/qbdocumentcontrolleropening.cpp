// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentcontroller.h"

#include "base/qbalertpresenter.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "document/qbdocument.h"
#include "gamedata/qbgamecenter.h"
#include "panels/qbpartitionlist.h"

#include <QDesktopServices>
#include <QFileInfo>

// Opening folders, partitions, WBFS files and the title database, and the
// pages of the program's site.

namespace {

const QString witTool = QStringLiteral("wit");
const QString wwtTool = QStringLiteral("wwt");

// No Linux system is known to crash when a WBFS partition is read; the
// question stays for a platform where one does.
bool partitionAccessIsKnownToCrash()
{
    return false;
}

// True when the tool is there; otherwise says where to get it.
bool toolIsReady(const QString &tool)
{
    if (QBDocumentController::toolIsPresent(tool))
        return true;
    QBAlert alert;
    alert.message = QStringLiteral("Before browsing this resource you have to download %1 from the File menu.")
                            .arg(tool.toUpper());
    QBAlertPresenter::run(alert);
    return false;
}

}

// --- Opening --------------------------------------------------------------

bool QBDocumentController::toolIsPresent(const QString &tool)
{
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    const QString path = center ? center->pathForResource(tool) : QString();
    return !path.isEmpty() && QFileInfo(path).isFile();
}

bool QBDocumentController::applicationOpenFile(const QString &path)
{
    if (documentForFilename(path))
        return false;
    openDocument(QFileInfo(path).path(), QBDocument::Folder, QBSettings::displayMode());
    return true;
}

void QBDocumentController::openDocument(const QString &path, int type, int displayMode)
{
    Q_UNUSED(displayMode)
    if (!m_views)
        return;
    QBDocument *document = documentForFilename(path);
    if (!document) {
        // Every new document starts as a table, whatever was asked.
        document = m_views->makeDocument(path, type, 1);
        if (!document)
            return;
        qCInfo(lcApp).noquote() << QStringLiteral("Created document '%1'").arg(document->filename());
        registerDocument(document);
        if (!m_views->setFrameUsingName(document) && m_currentDocument)
            m_views->cascadeWindow(document, m_currentDocument);
    }
    m_views->makeKeyAndOrderFront(document);
}

void QBDocumentController::openPath()
{
    if (!toolIsReady(witTool) || !m_views)
        return;
    const QString path = m_views->runOpenPanel();
    if (!path.isEmpty())
        openDocument(path, QBDocument::Folder, QBSettings::displayMode());
}

void QBDocumentController::openPartition()
{
    if (partitionAccessIsKnownToCrash()) {
        QBAlert alert;
        alert.message = QStringLiteral("Trying to access a WBFS partition on Mac OS X Lion is known to cause a "
                                       "kernel panic.");
        alert.informativeText = QStringLiteral("Please upgrade to Mac OS X Mountain Lion or use either a FAT or a "
                                               "NTFS partition to store your backups.");
        if (QBAlertPresenter::run(alert) == QBAlertAnswer::Default)
            return;
    }
    if (!toolIsReady(wwtTool) || !m_views)
        return;
    const QString path = m_views->runPartitionPanel(QStringLiteral("Open WBFS partition"));
    if (!path.isEmpty())
        openDocument(path, QBDocument::Partition, QBSettings::displayMode());
}

// A file formatted as a WBFS partition opens as a partition does.
void QBDocumentController::openWbfsFile()
{
    if (!toolIsReady(wwtTool) || !m_views)
        return;
    const QString path = m_views->runWbfsFilePanel();
    if (path.isEmpty())
        return;
    if (const std::optional<QString> refusal = QBPartitionList::wbfsFileRefusal(path)) {
        QBAlert alert;
        alert.message = *refusal;
        alert.informativeText = QStringLiteral("Choose a file formatted as a WBFS partition.");
        QBAlertPresenter::run(alert);
        return;
    }
    openDocument(path, QBDocument::Partition, QBSettings::displayMode());
}

void QBDocumentController::openDatabase()
{
    openDocument(databaseDocumentName, QBDocument::Database, 1);
}

// --- Web links ------------------------------------------------------------

QUrl QBDocumentController::webLink(const QString &pathAndQuery)
{
    QString site = QBSettings::toolServer();
    if (site.isEmpty())
        return {};
    while (site.endsWith(u'/'))
        site.chop(1);
    return QUrl(site + pathAndQuery);
}

// Without a site the page has nowhere to open: the user is told which page
// it would have been and where the site is set, and can go there at once.
void QBDocumentController::openWebLink(const QString &command, const QString &pathAndQuery)
{
    const QUrl url = webLink(pathAndQuery);
    if (!url.isEmpty()) {
        QDesktopServices::openUrl(url);
        return;
    }
    QBAlert alert;
    alert.message = QStringLiteral("No web site is set for Palomet.");
    alert.informativeText = QStringLiteral("'%1' opens the page \"%2\" of Palomet's web site. Enter the site's "
                                           "address in Preferences > Tools > Palomet's web site.")
                                    .arg(command, pathAndQuery);
    alert.defaultButton = QStringLiteral("Open Preferences");
    alert.alternateButton = QStringLiteral("Cancel");
    if (QBAlertPresenter::run(alert) == QBAlertAnswer::Default && m_views)
        m_views->showPreferences(SettingsKey::toolServer);
}

void QBDocumentController::reportBug()
{
    openWebLink(QStringLiteral("Report a Bug"), QStringLiteral("/palomet/wordpress/?page_id=22"));
}

void QBDocumentController::donate()
{
    openWebLink(QStringLiteral("Donate"), QStringLiteral("/palomet/wordpress/?page_id=101"));
}

void QBDocumentController::openHomepage()
{
    openWebLink(QStringLiteral("Palomet Home Page"), QStringLiteral("/palomet"));
}

// The help ships with the program: it needs no site.
void QBDocumentController::openHelp()
{
    if (m_views)
        m_views->showHelp();
}
