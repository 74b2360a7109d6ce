// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

// The rules of adding games to a document, apart from the document: the
// questions asked, the destination paths and the tools' command lines.
namespace QBAdding {

// The two screenings of a drop: a game whose ID the destination already
// lists, and a destination path that exists or that a conversion reads or
// writes.
enum class Screening { SameID, Collision };

// The question about the screened games (their file names): "Skip"
// (default), "Continue" (alternate) or "Cancel" (other).
QBAlert skipAlert(Screening screening, const QStringList &filenames);

// Where a game goes. A partition takes it under its ID; a folder as
// name.extension, in a folder of the same name when createParentDirectory
// is set.
QString destinationPath(int destinationType, const QString &destination, const QVariantMap &game,
                        const QString &name, const QString &extension, bool createParentDirectory);

// The split options of a conversion into a folder, from the splitSize
// setting in MiB: 4096 is the tool's own "--split", other sizes above 0 are
// given in MiB, 0 or less means none.
QStringList splitOptions(qint64 splitSize);
// WIA destinations only: "--compression" with the mode in capitals.
QStringList compressionOptions(const QString &destination, const QString &compressionMode);

struct Command
{
    // 0 runs wit, 1 wwt.
    int launchPath = 0;
    QStringList arguments;
    // The row label in the conversions list.
    QString display;
};

// The conversion of one game to destination: wwt add into a partition,
// wwt extract from a partition into a folder, wit copy otherwise. partition
// is the destination document's filename.
Command conversionCommand(int destinationType, const QVariantMap &game, const QString &destination,
                          const QString &partition, qint64 splitSize, const QString &compressionMode);

// The listing of a converted game alone: wwt with "--include" and the game's
// ID for a partition, wit with the file otherwise.
QStringList listingArguments(int documentType, const QString &documentFilename, const QString &converted);

}
