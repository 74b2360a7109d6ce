// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbdocumentcontrollerviews.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class QBDocument;

// One document as it is saved across launches: its filename, its type (0 a
// folder or image, 1 a WBFS partition or file; the database is never
// saved) and its display mode.
struct QBDocumentEntry
{
    QString filename;
    int type = 0;
    int displayMode = 1;

    friend bool operator==(const QBDocumentEntry &, const QBDocumentEntry &) = default;
};

// The program's registry of open documents and its application-wide
// commands: start-up (seeding the settings from the defaults resource once
// per build, welcoming a new user, reopening the documents of the last
// run), opening folders, partitions, WBFS files and the title database,
// the web links, exporting the current document's game list, and the quit
// question with the saving of the open documents.
//
// Documents are kept in the order they were opened, keyed by filename.
// The windows come from a QBDocumentControllerViews; without one, nothing
// opens.
class QBDocumentController : public QObject
{
    Q_OBJECT

public:
    // The commands whose state the controller decides.
    enum class Command { OpenDatabase, ExportGameList, CopyDatabaseToDrive, Other };

    // The fixed filename of the title database's document; it also names
    // its window and its saved frame.
    static const QString databaseDocumentName;
    static const QString defaultsResource;
    // Saved documents beyond this many are not reopened, and are dropped
    // from the saved list.
    static constexpr int maximumReopenedDocuments = 64;

    explicit QBDocumentController(QObject *parent = nullptr);
    ~QBDocumentController() override;

    // The first controller made, as long as it lives.
    static QBDocumentController *sharedController();

    void setViews(QBDocumentControllerViews *views) { m_views = views; }
    // The build this program is: a new value seeds the settings again.
    static int programBuildVersion();
    void setBuildVersion(int version) { m_buildVersion = version; }
    // Where the defaults are read from (a JSON object of setting values).
    void setDefaultsResource(const QString &path) { m_defaultsResource = path; }

    // --- Start-up, saved documents and quitting (qbdocumentcontrollersession.cpp) ---
    void applicationDidFinishLaunching();
    // 1 to quit now, 0 to stay; the open documents are saved before 1.
    int applicationShouldTerminate();
    // The end asked for from outside (a signal): no question, the documents
    // saved, every conversion and every other tool cancelled, and their
    // ends awaited, so that no tool outlives the program and no cancelled
    // conversion leaves its temporary file.
    void terminateWithoutQuestions();
    // True when the start window was brought forward because no document
    // is open; false, doing nothing, otherwise.
    bool applicationShouldHandleReopen();
    // Stores the entries of the open documents under "documents" (the
    // database's left out), or removes the key when none is open.
    void saveDocuments();
    // Whether the last run left documents to reopen.
    static bool hasSavedDocuments();

    // The saved form of a list of entries, and back. Entries that do not
    // have the three fields with their types are skipped, one by one.
    static QString archiveEntries(const QList<QBDocumentEntry> &entries);
    static QList<QBDocumentEntry> unarchiveEntries(const QString &data);

    QBDocument *currentDocument() const;
    void setCurrentDocument(QBDocument *document);
    QList<QBDocument *> documents() const;
    QBDocument *documentForFilename(const QString &filename) const;
    void documentDidBecomeCurrent(QBDocument *document);
    void documentWillClose(QBDocument *document);

    // --- Opening and the web links (qbdocumentcontrolleropening.cpp) ---
    // A file handed over by the system or the command line: its folder is
    // opened. False when the path is already an open document's.
    bool applicationOpenFile(const QString &path);
    // Brings forward the document already open for the path, or creates
    // one (always in display mode 1) and places its window.
    void openDocument(const QString &path, int type, int displayMode);
    void openPath();
    void openPartition();
    void openWbfsFile();
    void openDatabase();

    void reportBug();
    void donate();
    void openHomepage();
    void openHelp();
    // The page of the program's site at that path and query; empty when no
    // site is set.
    static QUrl webLink(const QString &pathAndQuery);

    bool validateUserInterfaceItem(Command command) const;
    // The support folder's copy of the tool, or the system's, exists.
    static bool toolIsPresent(const QString &tool);

    // --- Export ---
    // Asks where, then writes the current document's games as shown.
    void exportGameList();
    // Puts the installed title database where USB Loader GX reads it, on
    // the drive whose root the current (folder) document is.
    void copyDatabaseToDrive();

signals:
    void currentDocumentChanged(QBDocument *document);
    // A document was registered or went.
    void documentsChanged();
    // Something validateUserInterfaceItem reads may have changed.
    void validationChanged();

private:
    void openWebLink(const QString &pathAndQuery);
    void seedDefaults();
    void reopenDocuments();
    void reopenNext();
    void reopen(const QBDocumentEntry &entry);
    void registerDocument(QBDocument *document);
    void forgetDocument(QBDocument *document);
    void watchCurrentGames();

    QBDocumentControllerViews *m_views = nullptr;
    int m_buildVersion;
    QString m_defaultsResource;
    QList<QBDocument *> m_documents;
    // Saved documents still to reopen.
    QList<QBDocumentEntry> m_reopening;
    // Not owned; cleared when that document closes or is destroyed.
    QPointer<QBDocument> m_currentDocument;
    QList<QMetaObject::Connection> m_currentGamesConnections;
};
