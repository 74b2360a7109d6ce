// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

// The user's settings: every key, its default and a typed accessor, in one
// place. Values live in QSettings under the organisation and application
// names that main() sets.
namespace SettingsKey {
inline const QString displayMode = QStringLiteral("displayMode");
inline const QString conversionFormat = QStringLiteral("conversionFormat");
inline const QString compressionMode = QStringLiteral("compressionMode");
inline const QString splitSize = QStringLiteral("splitSize");
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
    // The value stored under key, or the key's default when none is stored.
    static QVariant value(const QString &key);
    static void setValue(const QString &key, const QVariant &value);
    static QVariant defaultValue(const QString &key);

    static bool browseRecursively();
    // A command run (and awaited) before every run of wwt that needs access
    // to the WBFS devices; empty means no such step.
    static QString permissionCommand();
};
