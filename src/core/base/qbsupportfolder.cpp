// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsupportfolder.h"

#include <QCoreApplication>
#include <QDir>
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
    return location() + QStringLiteral("/covers/") + id + QStringLiteral(".png");
}

QString QBSupportFolder::toolPath(const QString &tool)
{
    const QFileInfo own(location() + u'/' + tool);
    if (own.isFile() && own.isExecutable())
        return own.absoluteFilePath();
    return QStandardPaths::findExecutable(tool);
}
