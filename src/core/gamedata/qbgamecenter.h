// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbcoverentry.h"
#include "qbdatabaseparse.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <functional>

class QBArchiveExtractor;
class QBCoverCache;
class QBFileDownload;
class QBOperationQueue;
class QNetworkAccessManager;

// The program-wide owner of what belongs to no single window: the support
// folder with the tools and the title database, their downloads, the
// parsed database, the cover cache (a QBCoverCache) and the key lists that
// the windows use for columns and searches. One instance, made at start-up.
//
// Database parses and cover downloads share one queue of at most two
// operations. Results come back to the main thread, where all state here
// is read and changed.
class QBGameCenter : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString downloadString READ downloadString NOTIFY downloadStringChanged)
    Q_PROPERTY(QString downloadText READ downloadText NOTIFY downloadTextChanged)
    Q_PROPERTY(bool downloadWindowVisible READ isDownloadWindowVisible NOTIFY downloadWindowVisibleChanged)
    Q_PROPERTY(bool downloadDeterminate READ isDownloadDeterminate NOTIFY downloadDeterminateChanged)
    Q_PROPERTY(double downloadPercent READ downloadPercent NOTIFY downloadPercentChanged)
    Q_PROPERTY(bool parsing READ isParsing NOTIFY parsingChanged)
    Q_PROPERTY(QObject *detailsViewOwner READ detailsViewOwner WRITE setDetailsViewOwner NOTIFY detailsViewOwnerChanged)

public:
    enum class Download { WIT, WWT, Database };
    // Where a tool runs from: the support folder's copy, the system's (found
    // on PATH), or nowhere.
    enum class ToolSource { Missing, SupportFolder, System };

    // What a download menu item shows.
    struct MenuItem
    {
        QString title;
        bool enabled = false;
    };

    // Becomes the shared instance, makes the support folder, builds the
    // language preference list and queues the first database parse.
    explicit QBGameCenter(QObject *parent = nullptr);
    ~QBGameCenter() override;

    static QBGameCenter *sharedGameCenter();

    // The support folder; empty when it could not be made.
    QString supportFolder() const { return m_supportFolder; }
    // The support folder's file of that name; for "wit" and "wwt", the
    // support folder's copy when there is one, else the system's tool.
    // Empty when neither exists and the support folder could not be made.
    QString pathForResource(const QString &name) const;
    static ToolSource toolSource(const QString &tool);
    // Asks wit and wwt, where they are found, for their versions, once per
    // tool file, and calls then (in context) when the answers are in; at
    // once when they are known. A tool that does not answer within a few
    // seconds is stopped and has no version.
    void findToolVersions(QObject *context, const std::function<void()> &then);
    // The version of the tool in use as it prints it ("3.01a"); empty when
    // unknown.
    QString toolVersion(const QString &tool) const;
    // The user's languages with the two Chinese scripts mapped to the
    // database's codes; built once, here.
    const QStringList &languagePreferenceList() const { return m_languages; }

    static const QStringList &databaseKeys();
    static const QStringList &tableViewKeys();
    static const QStringList &searchMenuKeys();
    // Each blank-separated word with its first letter in upper case and the
    // rest in lower case: "wi-fi-players" gives "Wi-fi-players".
    static QString capitalizedKey(const QString &key);
    // A key as a person reads it: "wi-fi-players" gives "Wi-Fi players",
    // "date" "Release date"; a key without a name of its own is
    // capitalized.
    static QString labelForKey(const QString &key);

    // The title database (qbgamecenterresources.cpp, as are pathForResource
    // and the downloads).
    bool hasDatabase() const { return m_hasDatabase; }
    const QBDatabase &database() const { return m_database; }
    QVariantMap databaseRecord(const QString &id) const { return m_database.value(id); }
    void parseDatabase();
    bool isParsing() const { return m_parses > 0; }

    // Downloads of the tools and the database, one at a time. Each archive
    // is saved privately in the support folder, bounded in size and in
    // time without data; only the file it is for is installed from it
    // (QBArchiveExtractor), and the archive is removed at the end.
    void downloadWIT();
    void downloadWWT();
    void downloadDatabase();
    void downloadResourceAtURL(const QString &url);
    QString downloadString() const { return m_downloadString; }
    QString downloadText() const { return m_downloadText; }
    bool isDownloadWindowVisible() const { return m_downloadWindowVisible; }
    bool isDownloadDeterminate() const { return m_downloadDeterminate; }
    // Received bytes as a percentage of the announced length.
    double downloadPercent() const { return m_downloadPercent; }
    MenuItem validateUserInterfaceItem(Download action) const;

    // Covers. getImageForGame answers whether the cover is cached now; when
    // it is not, the cover file is read off the event loop, or fetched when
    // missing, and arrives through coverEntry(id) (and, for a fetch,
    // imageDidDownload). Only a game whose ID is of a disc's form (QBGameID)
    // has a cover; pathForCoverOfGame is empty for the others.
    bool getImageForGame(const QVariantMap &game);
    QString pathForCoverOfGame(const QVariantMap &game) const;
    // The place to give a game's file a custom icon; nothing to do here.
    void setFinderImageForGame(const QVariantMap &) {}
    const QHash<QString, QImage> &images() const;
    void setImage(const QString &id, const QImage &image);
    const QSet<QString> &imagesDownloading() const;
    QBCoverEntry *coverEntry(const QString &id);
    // The covers in memory stay within a budget (QBCoverCache); an evicted
    // one is read again when next asked for. touchImage marks one as used.
    void setCoverMemoryBudget(qint64 bytes);
    qint64 coverImageBytes() const;
    void touchImage(const QString &id);
    bool isReadingCovers() const;

    QBOperationQueue *operationQueue() const { return m_operationQueue; }
    QNetworkAccessManager *networkAccessManager() const { return m_network; }

    // The details view. It is a widget, so the game center only keeps its
    // owner and asks it to close or redraw; the view answers by clearing
    // the owner when it closes.
    QObject *detailsViewOwner() const { return m_detailsViewOwner; }
    void setDetailsViewOwner(QObject *owner);
    // Closes the details view and forgets its owner.
    void hideDetailsView();
    // Rebuilds the details view's content from its game.
    void updateDetailsView();
    // The details text after its attribution: "\nLabel: value" for each key
    // of databaseKeys that the game holds, in that order, with the release
    // date after the publisher.
    static QString detailsText(const QVariantMap &game);
    // A record value as the lists show it: textForValue, except that a
    // region the tool names in its own code ("USA ", "JAPA") reads as the
    // title database names it ("NTSC-U", "NTSC-J").
    static QString displayText(const QString &key, const QVariant &value);
    static QString regionText(const QString &region);
    // A record value as the windows write it: numbers as plain figures,
    // dates in the long style without time, lists joined with ", "; values
    // that have no text form (maps, images) give an empty text.
    static QString textForValue(const QVariant &value);
    // Whether a record value is a number: an integer of any width, a float
    // or a boolean.
    static bool isNumber(const QVariant &value);
    // The title database service's page of a game.
    static QUrl gamePageUrl(const QString &id);

signals:
    // A new database is in place.
    void databaseDidLoad();
    // A download of the tools or the database has ended, with its file
    // installed or not (any alert has been answered).
    void downloadDidEnd(bool installed);
    // A cover fetch has ended; the cache already holds the cover if it
    // could be read.
    void imageDidDownload(const QVariantMap &game);

    void downloadStringChanged(const QString &downloadString);
    void downloadTextChanged(const QString &downloadText);
    void downloadWindowVisibleChanged(bool visible);
    void downloadDeterminateChanged(bool determinate);
    void downloadPercentChanged(double percent);
    void parsingChanged(bool parsing);
    void detailsViewOwnerChanged(QObject *owner);
    void detailsViewHideRequested();
    void detailsViewUpdateRequested();

private:
    void startDownload(const QString &name, const QString &installedName, const QString &url,
                       const QString &updating, const QString &downloading);
    void downloadToolArchive(const QString &tool, const QString &updating, const QString &downloading);
    void responseReceived(qint64 length);
    void dataReceived(qint64 received);
    void transferEnded(bool success);
    void extractionEnded(bool success);
    // Shows the error, if any, once the download is over.
    void endDownload(bool installed, const QString &error = QString());
    void setDownloadString(const QString &name);
    void setDownloadText(const QString &text);
    void setDownloadWindowVisible(bool visible);
    void setDownloadDeterminate(bool determinate);
    void setDownloadPercent(double percent);

    void databaseDidParse(const QBDatabase &database);
    void toolVersionsFound();

    QString m_supportFolder;
    QStringList m_languages;
    QBOperationQueue *m_operationQueue;
    QNetworkAccessManager *m_network;

    QBDatabase m_database;
    bool m_hasDatabase = false;
    int m_parses = 0;

    QString m_downloadString;
    QString m_downloadText;
    qint64 m_downloadSize = 0;
    bool m_downloadWindowVisible = false;
    bool m_downloadDeterminate = false;
    double m_downloadPercent = 0;
    QBFileDownload *m_download = nullptr;
    QBArchiveExtractor *m_extractor = nullptr;

    // Tool name to the path and version found for it.
    QHash<QString, std::pair<QString, QString>> m_toolVersions;
    int m_versionTasks = 0;
    QList<std::pair<QPointer<QObject>, std::function<void()>>> m_versionWaiters;

    QBCoverCache *m_coverCache;
    QPointer<QObject> m_detailsViewOwner;
};
