// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsettings.h"

#include "qblogging.h"
#include "qbregularfile.h"

#include <QCoreApplication>
#include <QHash>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace {

const QHash<QString, QVariant> &defaults()
{
    static const QHash<QString, QVariant> values{
        {SettingsKey::displayMode, 1},
        {SettingsKey::conversionFormat, QStringLiteral("wbfs")},
        {SettingsKey::compressionMode, QStringLiteral("lzma")},
        {SettingsKey::splitSize, 0},
        {SettingsKey::shouldCreateParentDirectory, true},
        {SettingsKey::notifyWhenDone, true},
        {SettingsKey::browseRecursively, false},
        {SettingsKey::downloadCovers, true},
        {SettingsKey::exportFormat, QStringLiteral("html")},
        {SettingsKey::permissionCommand, QString()},
        {SettingsKey::databaseServer, QStringLiteral("https://www.gametdb.com")},
        {SettingsKey::coverServer, QStringLiteral("https://art.gametdb.com")},
        {SettingsKey::toolServer, QString()},
    };
    return values;
}

}

QVariant QBSettings::defaultValue(const QString &key)
{
    return defaults().value(key);
}

QVariant QBSettings::value(const QString &key)
{
    return QSettings().value(key, defaultValue(key));
}

void QBSettings::setValue(const QString &key, const QVariant &value)
{
    QSettings().setValue(key, value);
}

bool QBSettings::browseRecursively()
{
    return value(SettingsKey::browseRecursively).toBool();
}

QString QBSettings::permissionCommand()
{
    return value(SettingsKey::permissionCommand).toString();
}

void QBSettings::screenFile()
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    // Where QSettings keeps the user's file on this system; working it out
    // here spares making a QSettings, which would read the file at once.
    const QString file = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/'
            + QCoreApplication::organizationName() + u'/' + QCoreApplication::applicationName()
            + QStringLiteral(".conf");
    if (!QBRegularFile::isSpecial(file) && !QBRegularFile::isSpecial(file + QStringLiteral(".lock")))
        return;
    // Kept for the whole run and removed at its end.
    static QTemporaryDir elsewhere;
    qCWarning(lcApp).noquote() << "The settings file" << file
                               << "is not a regular file; this run starts from the defaults and keeps its "
                                  "settings in"
                               << elsewhere.path();
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, elsewhere.path());
#endif
}
