// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentcontroller.h"

#include "base/qbalertpresenter.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "document/qbdocument.h"
#include "gamedata/qbgamecenter.h"
#include "tasks/qbtask.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <optional>

// What carries from one run to the next: the defaults seeded once per
// build, the welcome, the documents saved at the end and reopened at the
// start, and the quit.

namespace {

// The saved list is versioned, so that a later build can read an older
// list or recognise a newer one.
constexpr int archiveVersion = 1;

void syncSettings(const char *what)
{
    if (!QBSettings::sync())
        qCWarning(lcApp).noquote() << "The settings could not be written" << what << "to" << QBSettings::fileName();
}

}

// --- Start-up -------------------------------------------------------------

void QBDocumentController::applicationDidFinishLaunching()
{
    bool welcome = false;
    if (QBSettings::lastVersion() != m_buildVersion) {
        seedDefaults();
        // The welcome is only considered on a launch of a new build, even
        // if firstAlert has gone since.
        welcome = !QBSettings::firstAlert();
    }
    reopenDocuments();
    // From the event loop: the documents given on the command line open as
    // soon as this returns, and the welcome never holds them back.
    if (welcome)
        QTimer::singleShot(0, this, &QBDocumentController::welcome);
}

void QBDocumentController::welcome()
{
    auto show = [] {
        QBAlert alert;
        alert.message = QStringLiteral("Welcome to Palomet!");
        alert.informativeText = welcomeText();
        QBAlertPresenter::run(alert);
        QBSettings::setFirstAlert(true);
        syncSettings("after the welcome");
    };
    if (QBGameCenter *center = QBGameCenter::sharedGameCenter())
        center->findToolVersions(this, show);
    else
        show();
}

// A tool that the system provides is named with its version; the download
// commands would only point at a package the user already has.
QString QBDocumentController::welcomeText()
{
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    auto systemTool = [center](const QString &tool) -> std::optional<QString> {
        if (QBGameCenter::toolSource(tool) != QBGameCenter::ToolSource::System)
            return std::nullopt;
        const QString version = center ? center->toolVersion(tool) : QString();
        return version.isEmpty() ? tool : tool + u' ' + version;
    };
    const std::optional<QString> wit = systemTool(QStringLiteral("wit"));
    const std::optional<QString> wwt = systemTool(QStringLiteral("wwt"));
    return (wit ? QStringLiteral("Palomet browses and converts games with %1, installed on your system.").arg(*wit)
                : QStringLiteral("To start browsing and converting games, you first have to install WIT by "
                                 "selecting 'File > Download WIT'."))
            + u'\n'
            + QStringLiteral("To see more game details or lookup a particular game, please install the "
                             "database by selecting 'File > Download database'.")
            + QStringLiteral("\n\n")
            + (wwt ? QStringLiteral("It transfers games to/from WBFS partitions with %1, installed on your system; "
                                    "to give it access to a partition, see 'Help > Palomet Help'.")
                             .arg(*wwt)
                   : QStringLiteral("If you want to transfer games to/from a WBFS partition, you also have to "
                                    "install WWT by selecting 'File > Download WWT' and follow the instructions "
                                    "on the Palomet website by selecting 'Help > Palomet Help'."));
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

void QBDocumentController::applicationWillTerminate()
{
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
