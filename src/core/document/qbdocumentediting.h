// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

// The rules of removing and renaming a document's games, apart from the
// document: the questions asked and the tools' command lines.
namespace QBEditing {

// A path's pieces, cut at its last "/" once trailing ones are dropped:
// "/dev/sdb1/RQAE01" gives "/dev/sdb1" and "RQAE01".
QString deletingLastPathComponent(const QString &path);
QString lastPathComponent(const QString &path);

// wwt remove with the games' IDs for a partition, wit remove with their
// files otherwise, each file once; in the games' order.
QStringList removeArguments(int documentType, const QString &documentFilename, const QList<QVariantMap> &games);
// A file of a folder that holds several listed games, with their titles.
struct SharedFile
{
    QString filename;
    QStringList titles;
};
// The question before a removal; what games names them. Files that hold
// several games are named with all their titles.
QBAlert removeConfirmation(int documentType, const QString &games, const QList<SharedFile> &sharedFiles = {});
// A removal that failed, for count games.
QBAlert removeError(qsizetype count);
// Games that a conversion reads are not removed: only this is said.
QBAlert busyGamesAlert(const QStringList &filenames);

// The new path of a renamed file: the same folder and extension, the new
// name. A file without an extension gets none.
QString renamedPath(const QString &path, const QString &name);
QStringList moveArguments(const QString &path, const QString &newPath);

}
