// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentcontroller.h"

#include "app/qbgamelistexport.h"
#include "base/qbalertpresenter.h"
#include "base/qbsettings.h"
#include "document/qbdocument.h"
#include "document/qbgamefiltermodel.h"
#include "document/qbloaderdrive.h"
#include "gamedata/qbgamecenter.h"

#include <QFileInfo>

namespace {

QPointer<QBDocumentController> sharedInstance;

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

bool QBDocumentController::validateUserInterfaceItem(Command command) const
{
    switch (command) {
    case Command::OpenDatabase: {
        const QBGameCenter *center = QBGameCenter::sharedGameCenter();
        return center && center->hasDatabase();
    }
    case Command::ExportGameList:
        return m_currentDocument && m_currentDocument->gameListController()->rowCount() > 0;
    case Command::CopyDatabaseToDrive: {
        const QBGameCenter *center = QBGameCenter::sharedGameCenter();
        return center && center->hasDatabase() && m_currentDocument
                && m_currentDocument->documentType() == QBDocument::Folder;
    }
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

void QBDocumentController::copyDatabaseToDrive()
{
    if (validateUserInterfaceItem(Command::CopyDatabaseToDrive))
        QBLoaderDrive::copyDatabase(m_currentDocument->filename());
}
