// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsettings.h"

#include "base/qblogging.h"
#include "base/qbregularfile.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

namespace {

const QHash<QString, QVariant> &defaults()
{
    static const QHash<QString, QVariant> values{
        {SettingsKey::displayMode, 1},
        {SettingsKey::conversionFormat, QStringLiteral("wbfs")},
        {SettingsKey::compressionMode, QStringLiteral("lzma")},
        {SettingsKey::splitSize, 0},
        {SettingsKey::conversionLayout, QStringLiteral("custom")},
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

QString sourceName(const QString &filename)
{
    // A path holds the settings' group separator; keep it out of the key.
    return QString::fromLatin1(QUrl::toPercentEncoding(filename));
}

QString tableStateKey(const QString &filename)
{
    return QStringLiteral("tableViews/") + sourceName(filename);
}

QString frameKey(const QString &filename)
{
    return QStringLiteral("windowFrames/") + sourceName(filename);
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

QVariant QBSettings::storedValue(const QString &key)
{
    return QSettings().value(key);
}

void QBSettings::setValue(const QString &key, const QVariant &value)
{
    QSettings().setValue(key, value);
}

void QBSettings::remove(const QString &key)
{
    QSettings().remove(key);
}

int QBSettings::displayMode()
{
    return value(SettingsKey::displayMode).toInt();
}

void QBSettings::setDisplayMode(int mode)
{
    setValue(SettingsKey::displayMode, mode);
}

QString QBSettings::conversionFormat()
{
    return value(SettingsKey::conversionFormat).toString();
}

QString QBSettings::compressionMode()
{
    return value(SettingsKey::compressionMode).toString();
}

qint64 QBSettings::splitSize()
{
    return value(SettingsKey::splitSize).toLongLong();
}

QString QBSettings::conversionLayout()
{
    return value(SettingsKey::conversionLayout).toString();
}

void QBSettings::setConversionLayout(const QString &layout)
{
    setValue(SettingsKey::conversionLayout, layout);
}

bool QBSettings::shouldCreateParentDirectory()
{
    return value(SettingsKey::shouldCreateParentDirectory).toBool();
}

bool QBSettings::notifyWhenDone()
{
    return value(SettingsKey::notifyWhenDone).toBool();
}

bool QBSettings::browseRecursively()
{
    return value(SettingsKey::browseRecursively).toBool();
}

void QBSettings::setBrowseRecursively(bool recursively)
{
    setValue(SettingsKey::browseRecursively, recursively);
}

bool QBSettings::downloadCovers()
{
    return value(SettingsKey::downloadCovers).toBool();
}

QString QBSettings::exportFormat()
{
    return value(SettingsKey::exportFormat).toString();
}

void QBSettings::setExportFormat(const QString &format)
{
    setValue(SettingsKey::exportFormat, format);
}

QString QBSettings::exportFolder()
{
    return value(SettingsKey::exportFolder).toString();
}

void QBSettings::setExportFolder(const QString &folder)
{
    setValue(SettingsKey::exportFolder, folder);
}

bool QBSettings::hasLanguages()
{
    return QSettings().contains(SettingsKey::languages);
}

QStringList QBSettings::languages()
{
    return value(SettingsKey::languages).toStringList();
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

QString QBSettings::databaseServer()
{
    return value(SettingsKey::databaseServer).toString();
}

QString QBSettings::coverServer()
{
    return value(SettingsKey::coverServer).toString();
}

QString QBSettings::toolServer()
{
    return value(SettingsKey::toolServer).toString();
}

QString QBSettings::documents()
{
    return storedValue(SettingsKey::documents).toString();
}

void QBSettings::setDocuments(const QString &archive)
{
    setValue(SettingsKey::documents, archive);
}

void QBSettings::removeDocuments()
{
    remove(SettingsKey::documents);
}

int QBSettings::lastVersion()
{
    return storedValue(SettingsKey::lastVersion).toInt();
}

void QBSettings::setLastVersion(int version)
{
    setValue(SettingsKey::lastVersion, version);
}

bool QBSettings::firstAlert()
{
    return storedValue(SettingsKey::firstAlert).toBool();
}

void QBSettings::setFirstAlert(bool shown)
{
    setValue(SettingsKey::firstAlert, shown);
}

QByteArray QBSettings::tableState(const QString &filename)
{
    return storedValue(tableStateKey(filename)).toByteArray();
}

void QBSettings::setTableState(const QString &filename, const QByteArray &state)
{
    setValue(tableStateKey(filename), state);
}

QByteArray QBSettings::windowFrame(const QString &filename)
{
    return storedValue(frameKey(filename)).toByteArray();
}

void QBSettings::setWindowFrame(const QString &filename, const QByteArray &frame)
{
    setValue(frameKey(filename), frame);
}

void QBSettings::addMissing(const QVariantMap &values)
{
    QSettings settings;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (!settings.contains(it.key()))
            settings.setValue(it.key(), it.value());
    }
}

// QSettings::status() is no help here: on some systems sync() answers
// AccessError after writing the file. What matters is whether the file, or
// the folder that would hold it, can be written at all.
bool QBSettings::sync()
{
    QSettings settings;
    settings.sync();
    const QFileInfo file(settings.fileName());
    return file.exists() ? file.isFile() && file.isWritable() : QFileInfo(file.path()).isWritable();
}

QString QBSettings::fileName()
{
    return QSettings().fileName();
}
