// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

// Builds tiny but valid Wii and GameCube disc images with the real wit and
// wwt, for tests and benchmarks. Every function returns an empty string (or
// false) and fills lastError() when a tool fails.
namespace QBTestImages {

// A Wii disc tree that wit can compose: ID, title and one small file; with
// extraBytes, a sparse file of that size is added so that a conversion of
// it takes a while.
bool makeWiiTree(const QString &folder, const QString &id, const QString &title,
                 qint64 extraBytes = 0);

// Composes a Wii image from a fresh tree; the format follows the extension
// of path (iso, wbfs, wdf, ciso or wia).
QString makeWiiImage(const QString &path, const QString &id, const QString &title);

// A GameCube image written byte by byte (wit cannot compose one), as a
// sparse ISO file of the full disc size. fileBytes makes its one file that
// big (zeros left as a hole, so the image stays small on disk) and its
// conversion take a while.
QString makeGameCubeImage(const QString &path, const QString &id, const QString &title, qint64 fileBytes = 0);

// A WBFS container file of the given size in GiB, holding the given images.
QString makeWbfsFile(const QString &path, const QStringList &images, int sizeGiB = 10);

// The set of sources most tests list, made in root:
//   library/Alpha Quest [RQAE01].wbfs        Wii, USA
//   library/Beta [RQBP01].iso                Wii, PAL, 4.7 GB as stored
//   library/Charlie [RQCJ01].wia             Wii, JAPA
//   library/Delta [RQDK01].ciso              Wii, KORE
//   library/Golf [GQGE01].iso                GameCube, USA, 1.46 GB
//   library/Ça märche – 日本 [RQFP01].wdf    Wii, PAL, non-ASCII title
//   library/sub/Echo [RQEE01].wdf            Wii, USA, one folder down
//   PART.wbfs                                WBFS file with RQAE01, RQBP01, GQGE01
struct Library
{
    QString folder;
    QString container;
    QStringList topLevelIds;
    QStringList allIds;
    QString path(const QString &name) const { return folder + u'/' + name; }
};
bool makeLibrary(const QString &root, Library *library);

// Runs a tool to its end; true when it exited with status 0.
bool run(const QString &tool, const QStringList &arguments, QString *output = nullptr,
         int timeoutMs = 60000);

QString lastError();

}
