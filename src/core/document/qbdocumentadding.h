// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"
#include "panels/qbconversionlayout.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

class QBConversionTask;

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

// wwt knows the games of a partition by their IDs: it extracts one by its
// ID, and a game added to a partition is listed again by its ID. Whether
// the game would need such an ID (into a partition, or out of one) and has
// none of a disc's form ("ID=dest" would even choose the destination).
bool isUnnamed(int destinationType, const QVariantMap &game);

// What a folder fixes for the games converted into it.
struct FolderRules
{
    QBConversionLayout::Layout layout = QBConversionLayout::Custom;
    // Custom only: the format (a file extension) and whether each game gets
    // a folder of its own.
    QString extension;
    bool createParentDirectory = true;
    qint64 splitSize = 0;
    QString compressionMode;
    // On FAT no file may reach 4 GiB, and names lose what FAT refuses.
    bool fat = false;
};

// The rules for converting into folder in layout: the settings, and the
// folder's file system.
FolderRules folderRules(const QString &folder, QBConversionLayout::Layout layout);

// A GameCube game, as the tool tells from an image ("ISO/GC", "WBFS/GC").
// On a WBFS partition the tool calls every game "WBFS/WII", so there the
// ID's first letter, G for GameCube games, decides.
bool isGameCube(const QVariantMap &game);

// Why a game named name cannot go into a folder under rules: no name, no
// disc ID for a loader's file names, or a Wii game for Nintendont. Empty
// when it can.
QString refusal(const QVariantMap &game, const QString &name, const FolderRules &rules);

// Where a game goes into folder under rules. Custom: as destinationPath
// says. A loader's layout, with folder as the drive's root: Wii games as
// wbfs/NAME/ID.wbfs, GameCube games as games/NAME/game.iso. On FAT the
// name is cleaned first (fatName).
QString folderDestination(const QString &folder, const QVariantMap &game, const QString &name,
                          const FolderRules &rules);

// A name as FAT takes it: without \ / : * ? " < > | and control
// characters, and without spaces and full stops at its end.
QString fatName(const QString &name);

// The split options of a conversion into a folder, from the splitSize
// setting in MiB: 4096 is the tool's own "--split", other sizes above 0 are
// given in MiB, 0 or less means none. On FAT, whatever the setting, parts
// of 4 GiB less 32 KiB, the largest that FAT32 holds with room to spare,
// as the loaders' own tools write them.
QStringList splitOptions(qint64 splitSize, bool fat = false);
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
                          const QString &partition, qint64 splitSize, const QString &compressionMode,
                          bool fat = false);

// The indexes of destinations that an existing game of the destination
// (listed), a running conversion, a file already there or an earlier
// destination of the same list claims.
QList<int> collisions(const QStringList &destinations, const QSet<QString> &listed);

// The games' size as the tool reported it, in GB: an estimate of what
// their conversions write.
double estimatedSize(const QList<QVariantMap> &games);
// The question before conversions into a folder that may not hold them
// ("Continue" or "Cancel"); nothing when they fit.
std::optional<QBAlert> spaceAlert(double neededGB, double freeGB);

// The conversion of game to destination by command, with its bundle as
// the conversions list shows it, for sender.
QBConversionTask *conversionTask(const Command &command, const QVariantMap &game, const QString &destination,
                                 QObject *sender);

// The listing of a converted game alone: wwt with "--include" and the game's
// ID for a partition, wit with the file otherwise.
QStringList listingArguments(int documentType, const QString &documentFilename, const QString &converted);

}
