// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

// The games of a source as its last complete listing found them, kept in
// the user's cache folder so that the source, opened again, shows them at
// once while it is listed anew. One file per source: the game records as
// the browsing task posted them (before any database merge) and, per game,
// its file's size and modification time.
//
// A file is an input like any other: it is read only up to a size, must be
// of this version and of this very source, and every value must be of the
// kind and size the tool gives; a file that is not is ignored and removed.
// The paths in it must lie where the source's games lie, and a game whose
// file has gone or changed since is left out. Nothing of a path is taken
// from the file that the listing would not give: cover paths are made
// again from the IDs.
//
// Reading and writing touch the disk (a stat per game): callers run them
// off the event loop.
namespace QBLibraryCache {

struct Source
{
    QString path;
    // The document's: 0 a folder or a single image, 1 a WBFS partition or
    // WBFS file.
    int type = 0;
    // A folder listed with its subfolders.
    bool recursive = false;
};

constexpr int version = 1;
constexpr qint64 maximumFileSize = 64 * 1024 * 1024;
constexpr int maximumGames = 100000;
// The folder keeps the files of the sources written last.
constexpr int keptFiles = 64;

// A file's size and modification time (milliseconds since the epoch),
// following links; -1 and -1 when there is nothing.
std::pair<qint64, qint64> fileStamp(const QString &path);

// Where the files are (the cache location's "library"); empty when there
// is no cache location.
QString folder();
// The name of a source's file in that folder.
QString fileName(const Source &source);

QByteArray encode(const Source &source, const QList<QVariantMap> &games);
// The games of data when it is a listing of source that passes every
// check, without those whose file has changed; nothing otherwise.
std::optional<QList<QVariantMap>> decode(const QByteArray &data, const Source &source);

// The source's games from its file in folder; nothing when there is none
// to trust, in which case a file there is removed.
std::optional<QList<QVariantMap>> read(const QString &folder, const Source &source);
// Replaces the source's file in one step, then drops the oldest files
// beyond keptFiles.
bool write(const QString &folder, const Source &source, const QList<QVariantMap> &games);

}
