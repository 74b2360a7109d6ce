// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsettings.h"

#include <QHash>
#include <QSettings>

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
        {SettingsKey::databaseServer, QStringLiteral("http://www.gametdb.com")},
        {SettingsKey::coverServer, QStringLiteral("http://art.gametdb.com")},
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
