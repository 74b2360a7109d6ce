// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// The user's settings: every key, its default and a typed accessor, in one
// place. Values live in QSettings under the organisation and application
// names that main() sets.
namespace SettingsKey {
inline const QString displayMode = QStringLiteral("displayMode");
inline const QString conversionFormat = QStringLiteral("conversionFormat");
inline const QString compressionMode = QStringLiteral("compressionMode");
inline const QString splitSize = QStringLiteral("splitSize");
// How conversions into a folder are laid out: "custom", "usbloader" or
// "nintendont".
inline const QString conversionLayout = QStringLiteral("conversionLayout");
inline const QString shouldCreateParentDirectory = QStringLiteral("shouldCreateParentDirectory");
inline const QString notifyWhenDone = QStringLiteral("notifyWhenDone");
inline const QString browseRecursively = QStringLiteral("browseRecursively");
inline const QString downloadCovers = QStringLiteral("downloadCovers");
inline const QString exportFormat = QStringLiteral("exportFormat");
// The folder of the last export, where the next one starts.
inline const QString exportFolder = QStringLiteral("exportFolder");
inline const QString documents = QStringLiteral("documents");
inline const QString lastVersion = QStringLiteral("lastVersion");
inline const QString firstAlert = QStringLiteral("firstAlert");
inline const QString languages = QStringLiteral("languages");
inline const QString permissionCommand = QStringLiteral("permissionCommand");
inline const QString databaseServer = QStringLiteral("databaseServer");
inline const QString coverServer = QStringLiteral("coverServer");
inline const QString toolServer = QStringLiteral("toolServer");
}

class QBSettings
{
public:
    // By key, for the Preferences window, whose editors are named after
    // the keys they show, and for tests. The value stored under key, or
    // the key's default when none is stored.
    static QVariant value(const QString &key);
    // Only what is stored: invalid when the key holds nothing.
    static QVariant storedValue(const QString &key);
    static void setValue(const QString &key, const QVariant &value);
    // Gives the key back its default.
    static void remove(const QString &key);
    static QVariant defaultValue(const QString &key);

    // Called once, before the first settings are read: a settings file (or
    // its lock) that is a FIFO, a socket or a device would block or flood
    // every read, so it is treated as missing and the run keeps its
    // settings in a private folder instead. A folder there needs nothing:
    // it cannot be read or written, and says so.
    static void screenFile();

    // 0 is the cover grid, any other value the table.
    static int displayMode();
    static void setDisplayMode(int mode);
    static QString conversionFormat();
    static QString compressionMode();
    // In MiB; 0 does not split.
    static qint64 splitSize();
    static QString conversionLayout();
    static void setConversionLayout(const QString &layout);
    static bool shouldCreateParentDirectory();
    static bool notifyWhenDone();
    static bool browseRecursively();
    static void setBrowseRecursively(bool recursively);
    static bool downloadCovers();
    static QString exportFormat();
    static void setExportFormat(const QString &format);
    // The folder of the last export, where the next one starts.
    static QString exportFolder();
    static void setExportFolder(const QString &folder);
    // The languages the user chose, best first; when none are stored, the
    // system's apply.
    static bool hasLanguages();
    static QStringList languages();
    // A command run (and awaited) before every run of wwt that needs access
    // to the WBFS devices; empty means no such step.
    static QString permissionCommand();
    static QString databaseServer();
    static QString coverServer();
    static QString toolServer();

    // The documents open at the last quit, as the document controller
    // archives them; empty when none are stored.
    static QString documents();
    static void setDocuments(const QString &archive);
    static void removeDocuments();
    // The build that seeded the settings last.
    static int lastVersion();
    static void setLastVersion(int version);
    // Whether the welcome has been shown.
    static bool firstAlert();
    static void setFirstAlert(bool shown);
    // A document window's table layout and frame, kept per source.
    static QByteArray tableState(const QString &filename);
    static void setTableState(const QString &filename, const QByteArray &state);
    static QByteArray windowFrame(const QString &filename);
    static void setWindowFrame(const QString &filename, const QByteArray &frame);

    // Stores each of values whose key holds nothing yet.
    static void addMissing(const QVariantMap &values);
    // Writes what is pending to the file; false when the file, or the
    // folder that would hold it, cannot be written.
    static bool sync();
    static QString fileName();
};
