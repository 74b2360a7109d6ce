// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsupportfolder.h"

#include "qbsavefile.h"
#include "base/qbgameid.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

QString &overriddenLocation()
{
    static QString location;
    return location;
}

}

QString QBSupportFolder::location()
{
    if (!overriddenLocation().isEmpty())
        return overriddenLocation();
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u'/'
            + QCoreApplication::applicationName();
}

void QBSupportFolder::setLocation(const QString &location)
{
    overriddenLocation() = location;
}

QString QBSupportFolder::path()
{
    const QString folder = location();
    if (!QDir().mkpath(folder))
        return QString();
    QDir().mkpath(folder + QStringLiteral("/covers"));
    return folder;
}

QString QBSupportFolder::pathForResource(const QString &name)
{
    const QString folder = path();
    return folder.isEmpty() ? QString() : folder + u'/' + name;
}

QString QBSupportFolder::coverPath(const QString &id)
{
    if (!QBGameID::isValid(id))
        return QString();
    return location() + QStringLiteral("/covers/") + id + QStringLiteral(".png");
}

void QBSupportFolder::removeLeftovers()
{
    // ".unpacking-" folders were the scratch folders of earlier builds.
    const QStringList patterns{QBSaveFile::leftoverPrefix + u'*', QStringLiteral(".unpacking-*")};
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-10 * 60);
    for (const QString &folder : {location(), QString(location() + QStringLiteral("/covers"))}) {
        QDirIterator it(folder, patterns, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        while (it.hasNext()) {
            const QFileInfo leftover(it.next());
            if (leftover.lastModified() > before)
                continue;
            // A link goes itself; a folder with what it holds, links
            // inside it not followed.
            if (leftover.isDir() && !leftover.isSymLink())
                QDir(leftover.filePath()).removeRecursively();
            else
                QFile::remove(leftover.filePath());
        }
    }
}

QString QBSupportFolder::toolPath(const QString &tool)
{
    const QFileInfo own(location() + u'/' + tool);
    if (own.isFile() && own.isExecutable())
        return own.absoluteFilePath();
    return QStandardPaths::findExecutable(tool);
}
