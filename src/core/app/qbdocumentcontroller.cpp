// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentcontroller.h"

#include "app/qbgamelistexport.h"
#include "base/qbalertpresenter.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "document/qbdocument.h"
#include "document/qbgamefiltermodel.h"
#include "gamedata/qbgamecenter.h"
#include "panels/qbpartitionlist.h"
#include "tasks/qbtask.h"

#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace {

QPointer<QBDocumentController> sharedInstance;

// The saved list is versioned, so that a later build can read an older
// list or recognise a newer one.
constexpr int archiveVersion = 1;

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

void syncSettings(const char *what)
{
    if (!QBSettings::sync())
        qCWarning(lcApp).noquote() << "The settings could not be written" << what << "to" << QBSettings::fileName();
}

}

QBDocumentControllerViews::~QBDocumentControllerViews() = default;

const QString QBDocumentController::databaseDocumentName = QStringLiteral("Title Database");
const QString QBDocumentController::defaultsResource = QStringLiteral(":/palomet/app/defaults.json");

QBDocumentController::QBDocumentController(QObject *parent)
    : QObject(parent)
    , m_buildVersion(programBuildVersion())
    , m_defaultsResource(defaultsResource)
{
    if (!sharedInstance)
        sharedInstance = this;
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        connect(center, &QBGameCenter::databaseDidLoad, this, &QBDocumentController::validationChanged);
}

// The documents' connections to the controller go with it.
QBDocumentController::~QBDocumentController() = default;

QBDocumentController *QBDocumentController::sharedController()
{
    return sharedInstance;
}

int QBDocumentController::programBuildVersion()
{
    return PALOMET_BUILD_VERSION;
}

// --- Start-up -------------------------------------------------------------

void QBDocumentController::applicationDidFinishLaunching()
{
    if (QBSettings::lastVersion() != m_buildVersion) {
        seedDefaults();
        // The welcome is only considered on a launch of a new build, even
        // if firstAlert has gone since.
        if (!QBSettings::firstAlert()) {
            QBAlert alert;
            alert.message = QStringLiteral("Welcome to Palomet!");
            alert.informativeText =
                    QStringLiteral("To start browsing and converting games, you first have to install WIT by "
                                   "selecting 'File > Download WIT'.")
                    + u'\n'
                    + QStringLiteral("To see more game details or lookup a particular game, please install the "
                                     "database by selecting 'File > Download database'.")
                    + QStringLiteral("\n\n")
                    + QStringLiteral("If you want to transfer games to/from a WBFS partition, you also have to "
                                     "install WWT by selecting 'File > Download WWT' and follow the instructions "
                                     "on the Palomet website by selecting 'Help > Palomet Help'.");
            QBAlertPresenter::run(alert);
            QBSettings::setFirstAlert(true);
            syncSettings("after the welcome");
        }
    }
    reopenDocuments();
}

// Values go into the stored settings, not in front of them as defaults:
// a new build adds its new keys and leaves the user's choices alone.
void QBDocumentController::seedDefaults()
{
    QFile file(m_defaultsResource);
    QJsonParseError error{};
    const QJsonDocument defaults =
            file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll(), &error) : QJsonDocument();
    if (!defaults.isObject())
        qCWarning(lcApp).noquote() << "No defaults were read from" << m_defaultsResource;
    QBSettings::addMissing(defaults.object().toVariantMap());
    QBSettings::setLastVersion(m_buildVersion);
    syncSettings("after seeding the defaults");
}

bool QBDocumentController::hasSavedDocuments()
{
    return !unarchiveEntries(QBSettings::documents()).isEmpty();
}

void QBDocumentController::reopenDocuments()
{
    QList<QBDocumentEntry> entries = unarchiveEntries(QBSettings::documents());
    // A list that no one could have left open (a settings file written by
    // someone else) would keep the program from starting for minutes.
    if (entries.size() > maximumReopenedDocuments) {
        qCWarning(lcApp).noquote() << "Of" << entries.size() << "saved documents, the first"
                                   << maximumReopenedDocuments << "are reopened and the others dropped";
        entries.resize(maximumReopenedDocuments);
        QBSettings::setDocuments(archiveEntries(entries));
        syncSettings("with the saved documents cut short");
    }
    // The first window opens now; the others follow one per turn of the
    // event loop, so that it shows and answers meanwhile.
    m_reopening = entries;
    const qsizetype opened = m_documents.size();
    while (!m_reopening.isEmpty() && m_documents.size() == opened)
        reopen(m_reopening.takeFirst());
    if (!m_reopening.isEmpty())
        QTimer::singleShot(0, this, &QBDocumentController::reopenNext);
}

void QBDocumentController::reopenNext()
{
    if (m_reopening.isEmpty())
        return;
    reopen(m_reopening.takeFirst());
    if (!m_reopening.isEmpty())
        QTimer::singleShot(0, this, &QBDocumentController::reopenNext);
}

void QBDocumentController::reopen(const QBDocumentEntry &entry)
{
    // A folder that has gone is dropped without a word; a partition is left
    // to fail in its document.
    if (entry.type == 0 && !QFileInfo::exists(entry.filename))
        return;
    openDocument(entry.filename, entry.type, entry.displayMode);
}

QString QBDocumentController::archiveEntries(const QList<QBDocumentEntry> &entries)
{
    QJsonArray list;
    for (const QBDocumentEntry &entry : entries)
        list.append(QJsonArray{entry.filename, entry.type, entry.displayMode});
    const QJsonObject archive{{QStringLiteral("version"), archiveVersion}, {QStringLiteral("documents"), list}};
    return QString::fromUtf8(QJsonDocument(archive).toJson(QJsonDocument::Compact));
}

QList<QBDocumentEntry> QBDocumentController::unarchiveEntries(const QString &data)
{
    QList<QBDocumentEntry> entries;
    if (data.isEmpty())
        return entries;
    const QJsonDocument archive = QJsonDocument::fromJson(data.toUtf8());
    if (!archive.isObject() || archive.object().value(QStringLiteral("version")).toInt() != archiveVersion) {
        qCWarning(lcApp) << "The saved documents could not be read";
        return entries;
    }
    const QJsonArray list = archive.object().value(QStringLiteral("documents")).toArray();
    for (const QJsonValue &item : list) {
        const QJsonArray fields = item.toArray();
        const bool valid = fields.size() == 3 && fields.at(0).isString() && !fields.at(0).toString().isEmpty()
                && fields.at(1).isDouble() && fields.at(2).isDouble();
        if (!valid) {
            qCWarning(lcApp) << "A saved document entry could not be read:" << item;
            continue;
        }
        entries.append({fields.at(0).toString(), fields.at(1).toInt(), fields.at(2).toInt()});
    }
    return entries;
}

// --- Quitting -------------------------------------------------------------

namespace {
// wit and wwt stop within half a second once interrupted; one that has not
// ended after this long is killed.
constexpr int toolEndTimeoutMs = 5000;
}

int QBDocumentController::applicationShouldTerminate()
{
    if (QBConversionController *conversions = QBConversionController::sharedController();
        conversions && conversions->isConverting()) {
        QBAlert alert;
        alert.message = QStringLiteral("Some conversions are still running. Are you sure you want to quit?");
        alert.informativeText = QStringLiteral(
                "Quitting while a conversion is still running is not recommended because the file created so far "
                "will remain in the destination folder as a hidden file.");
        alert.defaultButton = QStringLiteral("Quit");
        alert.alternateButton = QStringLiteral("Cancel");
        if (QBAlertPresenter::run(alert) == QBAlertAnswer::Alternate)
            return 0;
    }
    saveDocuments();
    return 1;
}

void QBDocumentController::terminateWithoutQuestions()
{
    saveDocuments();
    if (QBConversionController *conversions = QBConversionController::sharedController())
        conversions->cancelAllConversions();
    QBTask::stopAllTools();
    QBTask::waitForAllTools(toolEndTimeoutMs);
}

void QBDocumentController::saveDocuments()
{
    if (m_documents.isEmpty()) {
        QBSettings::removeDocuments();
    } else {
        // Only the database open still stores a list, an empty one.
        QList<QBDocumentEntry> entries;
        entries.reserve(m_documents.size());
        for (const QBDocument *document : std::as_const(m_documents)) {
            if (document->documentType() != QBDocument::Database)
                entries.append({document->filename(), document->documentType(), document->displayMode()});
        }
        QBSettings::setDocuments(archiveEntries(entries));
    }
    syncSettings("with the open documents");
}

bool QBDocumentController::applicationShouldHandleReopen()
{
    if (!m_documents.isEmpty())
        return false;
    if (m_views)
        m_views->showStartWindow();
    return true;
}

// --- Registry -------------------------------------------------------------

QList<QBDocument *> QBDocumentController::documents() const
{
    return m_documents;
}

QBDocument *QBDocumentController::documentForFilename(const QString &filename) const
{
    for (QBDocument *document : m_documents) {
        if (document->filename() == filename)
            return document;
    }
    return nullptr;
}

QBDocument *QBDocumentController::currentDocument() const
{
    return m_currentDocument;
}

void QBDocumentController::setCurrentDocument(QBDocument *document)
{
    if (m_currentDocument == document)
        return;
    m_currentDocument = document;
    watchCurrentGames();
    emit currentDocumentChanged(document);
    emit validationChanged();
}

void QBDocumentController::documentDidBecomeCurrent(QBDocument *document)
{
    setCurrentDocument(document);
}

void QBDocumentController::documentWillClose(QBDocument *document)
{
    if (document == m_currentDocument)
        setCurrentDocument(nullptr);
    forgetDocument(document);
}

void QBDocumentController::registerDocument(QBDocument *document)
{
    m_documents.append(document);
    connect(document, &QBDocument::documentDidBecomeCurrent, this, &QBDocumentController::documentDidBecomeCurrent);
    connect(document, &QBDocument::documentWillClose, this, &QBDocumentController::documentWillClose);
    // A window torn down without closing still takes its entry along.
    connect(document, &QObject::destroyed, this, [this, document] {
        if (m_documents.removeAll(document) > 0)
            emit documentsChanged();
    });
    emit documentsChanged();
}

void QBDocumentController::forgetDocument(QBDocument *document)
{
    if (m_documents.removeAll(document) == 0)
        return;
    document->disconnect(this);
    emit documentsChanged();
}

// The export command follows the number of games the current document
// shows.
void QBDocumentController::watchCurrentGames()
{
    for (const QMetaObject::Connection &connection : std::as_const(m_currentGamesConnections))
        disconnect(connection);
    m_currentGamesConnections.clear();
    if (!m_currentDocument)
        return;
    const QAbstractItemModel *games = m_currentDocument->gameListController();
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved}) {
        m_currentGamesConnections << connect(games, signal, this, &QBDocumentController::validationChanged);
    }
    m_currentGamesConnections << connect(games, &QAbstractItemModel::modelReset, this,
                                         &QBDocumentController::validationChanged);
    m_currentGamesConnections << connect(games, &QAbstractItemModel::layoutChanged, this,
                                         &QBDocumentController::validationChanged);
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

// Without a site the page has nowhere to open; the user is told where the
// site is set rather than finding the command dead.
void QBDocumentController::openWebLink(const QString &pathAndQuery)
{
    const QUrl url = webLink(pathAndQuery);
    if (url.isEmpty()) {
        QBAlert alert;
        alert.message = QStringLiteral("No web site is set for Palomet.");
        alert.informativeText = QStringLiteral("Enter the address of Palomet's web site in the Tools tab of the Preferences.");
        QBAlertPresenter::run(alert);
        return;
    }
    QDesktopServices::openUrl(url);
}

void QBDocumentController::reportBug()
{
    openWebLink(QStringLiteral("/palomet/wordpress/?page_id=22"));
}

void QBDocumentController::donate()
{
    openWebLink(QStringLiteral("/palomet/wordpress/?page_id=101"));
}

void QBDocumentController::openHomepage()
{
    openWebLink(QStringLiteral("/palomet"));
}

void QBDocumentController::openHelp()
{
    openWebLink(QStringLiteral("/palomet/wordpress/?cat=7"));
}

bool QBDocumentController::validateUserInterfaceItem(Command command) const
{
    switch (command) {
    case Command::OpenDatabase: {
        const QBGameCenter *center = QBGameCenter::sharedGameCenter();
        return center && center->hasDatabase();
    }
    case Command::ExportGameList:
        return m_currentDocument && m_currentDocument->gameListController()->rowCount() > 0;
    case Command::Other:
        break;
    }
    return true;
}

// --- Export ---------------------------------------------------------------

void QBDocumentController::exportGameList()
{
    if (!m_views || !validateUserInterfaceItem(Command::ExportGameList))
        return;
    const QPointer<QBDocument> document = m_currentDocument;
    const QString chosen = m_views->runExportPanel();
    if (chosen.isEmpty() || !document)
        return;
    // The format as the panel left it.
    const QString format = QBSettings::exportFormat();
    QList<QVariantMap> games;
    for (const QBListedGame &game : document->games())
        games.append(QBGameListExport::exportedValues(game.values()));
    auto *job = new QBGameListExport(document->filename(), games, format, chosen, this);
    QBSettings::setExportFolder(QFileInfo(job->path()).absolutePath());
    // The progress goes before the alert comes.
    m_views->exportDidStart(job);
    connect(job, &QBGameListExport::finished, this, [job] {
        job->deleteLater();
        if (job->result() == QBGameListExport::Result::WriteFailed)
            QBAlertPresenter::run(job->failureAlert());
    });
    job->start();
}
