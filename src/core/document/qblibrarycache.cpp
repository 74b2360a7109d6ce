// SPDX-License-Identifier: GPL-3.0-or-later
#include "qblibrarycache.h"

#include "base/qbkeys.h"
#include "base/qbregularfile.h"
#include "base/qbsavefile.h"
#include "base/qbsupportfolder.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <qplatformdefs.h>

#include <algorithm>
#include <cmath>

namespace {

const QString formatKey = QStringLiteral("palometLibrary");
const QString sourceKey = QStringLiteral("source");
const QString typeKey = QStringLiteral("type");
const QString recursiveKey = QStringLiteral("recursive");
const QString sourceSizeKey = QStringLiteral("sourceSize");
const QString sourceModifiedKey = QStringLiteral("sourceModified");
const QString gamesKey = QStringLiteral("games");
const QString fileSizeKey = QStringLiteral("fileSize");
const QString fileModifiedKey = QStringLiteral("fileModified");

// Keys with the longest text each may hold.
const QList<std::pair<QString, int>> &gameTexts()
{
    static const QList<std::pair<QString, int>> keys{{GameKey::id, 64},          {GameKey::title, 1024},
                                                     {GameKey::filename, 4096},  {GameKey::region, 64},
                                                     {GameKey::filetype, 64}};
    return keys;
}

QStringList sortedKeys(QStringList keys)
{
    keys.sort();
    return keys;
}

const QStringList &listingKeys()
{
    static const QStringList keys = sortedKeys(
            {formatKey, sourceKey, typeKey, recursiveKey, sourceSizeKey, sourceModifiedKey, gamesKey});
    return keys;
}

const QStringList &gameKeys()
{
    static const QStringList keys = sortedKeys({GameKey::id, GameKey::title, GameKey::size, GameKey::filename,
                                                GameKey::region, GameKey::filetype, GameKey::isOnWBFS,
                                                fileSizeKey, fileModifiedKey});
    return keys;
}

std::optional<qint64> integer(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    // Exact in a double, and whole.
    if (!std::isfinite(number) || number != std::floor(number) || std::fabs(number) > 9007199254740992.0)
        return std::nullopt;
    return qint64(number);
}

// A part "." or "..".
bool hasTraversal(const QString &path)
{
    const QString slashed = u'/' + path + u'/';
    return slashed.contains(QLatin1String("/../")) || slashed.contains(QLatin1String("/./"));
}

// Where the listing of source puts a game's file: the image itself, the
// folder's entries (or anything below, recursively), or the partition plus
// the game's ID.
bool isGameFilename(const QString &filename, const QString &id, const QBLibraryCache::Source &source,
                    const QString &folder, bool isFile)
{
    if (source.type == 1)
        return filename == source.path + u'/' + id;
    if (isFile)
        return filename == source.path;
    if (hasTraversal(filename))
        return false;
    const QString clean = QDir::cleanPath(filename);
    if (clean.size() <= folder.size() + 1 || !clean.startsWith(folder) || clean.at(folder.size()) != u'/')
        return false;
    return source.recursive || clean.lastIndexOf(u'/') == folder.size();
}

// folder: the source's path, clean.
std::optional<QVariantMap> decodeGame(const QJsonValue &value, const QBLibraryCache::Source &source,
                                      const QString &folder, bool isFile)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    if (object.size() != gameKeys().size()
        || !std::all_of(gameKeys().cbegin(), gameKeys().cend(), [&](const QString &key) { return object.contains(key); }))
        return std::nullopt;
    QVariantMap game;
    for (const auto &[key, longest] : gameTexts()) {
        const QJsonValue text = object.value(key);
        if (!text.isString() || text.toString().size() > longest || text.toString().contains(QChar(0)))
            return std::nullopt;
        game.insert(key, text.toString());
    }
    const QString id = game.value(GameKey::id).toString();
    const QString filename = game.value(GameKey::filename).toString();
    const QJsonValue size = object.value(GameKey::size);
    const QJsonValue onWBFS = object.value(GameKey::isOnWBFS);
    if (!size.isDouble() || !std::isfinite(size.toDouble()) || size.toDouble() < 0 || size.toDouble() > 1.0e6
        || !onWBFS.isBool() || onWBFS.toBool() != (source.type == 1) || filename.isEmpty()
        || !isGameFilename(filename, id, source, folder, isFile) || !integer(object.value(fileSizeKey))
        || !integer(object.value(fileModifiedKey)))
        return std::nullopt;
    game.insert(GameKey::size, float(size.toDouble()));
    game.insert(GameKey::isOnWBFS, onWBFS.toBool());
    // As the browsing task makes it: from the ID, only for a disc's ID.
    if (const QString coverPath = QBSupportFolder::coverPath(id); !coverPath.isEmpty())
        game.insert(GameKey::coverPath, coverPath);
    // A game of a folder whose file has changed since is not shown: the
    // listing will tell what it is now.
    if (source.type == 0) {
        const std::pair<qint64, qint64> now = QBLibraryCache::fileStamp(filename);
        if (now.first < 0 || now != std::pair(*integer(object.value(fileSizeKey)), *integer(object.value(fileModifiedKey))))
            return QVariantMap();
    }
    return game;
}

}

namespace QBLibraryCache {

std::pair<qint64, qint64> fileStamp(const QString &path)
{
    // Not QFileInfo::lastModified(), whose conversion to local time costs
    // more than the stat itself.
    QT_STATBUF status;
    if (QT_STAT(QFile::encodeName(path).constData(), &status) != 0)
        return {-1, -1};
    return {qint64(status.st_size), qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000};
}

QString folder()
{
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    return cache.isEmpty() ? QString() : cache + QStringLiteral("/library");
}

QString fileName(const Source &source)
{
    const QByteArray name = QByteArray::number(source.type) + '\n' + source.path.toUtf8();
    return QString::fromLatin1(QCryptographicHash::hash(name, QCryptographicHash::Sha256).toHex().left(40))
            + QStringLiteral(".json");
}

QByteArray encode(const Source &source, const QList<QVariantMap> &games)
{
    QHash<QString, std::pair<qint64, qint64>> stamps;
    QJsonArray array;
    for (const QVariantMap &game : games) {
        QJsonObject object;
        for (const auto &[key, longest] : gameTexts())
            object.insert(key, game.value(key).toString());
        object.insert(GameKey::size, double(game.value(GameKey::size).toFloat()));
        object.insert(GameKey::isOnWBFS, game.value(GameKey::isOnWBFS).toBool());
        std::pair<qint64, qint64> file{-1, -1};
        if (source.type == 0) {
            // The games of one container file share it.
            const QString filename = game.value(GameKey::filename).toString();
            auto known = stamps.constFind(filename);
            if (known == stamps.cend())
                known = stamps.insert(filename, fileStamp(filename));
            file = *known;
        }
        object.insert(fileSizeKey, double(file.first));
        object.insert(fileModifiedKey, double(file.second));
        array.append(object);
    }
    const std::pair<qint64, qint64> sourceStamp = fileStamp(source.path);
    const QJsonObject listing{{formatKey, version},
                              {sourceKey, source.path},
                              {typeKey, source.type},
                              {recursiveKey, source.recursive},
                              {sourceSizeKey, double(sourceStamp.first)},
                              {sourceModifiedKey, double(sourceStamp.second)},
                              {gamesKey, array}};
    return QJsonDocument(listing).toJson(QJsonDocument::Compact);
}

std::optional<QList<QVariantMap>> decode(const QByteArray &data, const Source &source)
{
    if (data.size() > maximumFileSize)
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject listing = document.object();
    if (sortedKeys(listing.keys()) != listingKeys() || integer(listing.value(formatKey)) != version
        || listing.value(sourceKey).toString() != source.path || integer(listing.value(typeKey)) != source.type
        || !listing.value(recursiveKey).isBool() || listing.value(recursiveKey).toBool() != source.recursive
        || !integer(listing.value(sourceSizeKey)) || !integer(listing.value(sourceModifiedKey))
        || !listing.value(gamesKey).isArray())
        return std::nullopt;

    // The source must be there; an image or a WBFS file, as it was.
    const QFileInfo info(source.path);
    if (!info.exists() || (source.type == 0 && !info.isDir() && !info.isFile()))
        return std::nullopt;
    if (info.isFile()
        && fileStamp(source.path)
                != std::pair(*integer(listing.value(sourceSizeKey)), *integer(listing.value(sourceModifiedKey))))
        return std::nullopt;

    const QJsonArray array = listing.value(gamesKey).toArray();
    if (array.size() > maximumGames)
        return std::nullopt;
    const QString folder = QDir::cleanPath(source.path);
    QList<QVariantMap> games;
    games.reserve(array.size());
    for (const QJsonValue &value : array) {
        const std::optional<QVariantMap> game = decodeGame(value, source, folder, info.isFile());
        if (!game)
            return std::nullopt;
        if (!game->isEmpty())
            games << *game;
    }
    return games;
}

std::optional<QList<QVariantMap>> read(const QString &folder, const Source &source)
{
    const QString path = folder + u'/' + fileName(source);
    // Nothing but a regular file of bounded size is read.
    const std::optional<QByteArray> data = QBRegularFile::read(path, maximumFileSize + 1);
    if (!data)
        return std::nullopt;
    std::optional<QList<QVariantMap>> games = decode(*data, source);
    if (!games)
        QFile::remove(path);
    return games;
}

bool write(const QString &folder, const Source &source, const QList<QVariantMap> &games)
{
    if (folder.isEmpty() || !QDir().mkpath(folder))
        return false;
    const QByteArray data = encode(source, games);
    if (data.size() > maximumFileSize)
        return false;
    QBSaveFile file(folder);
    if (!file.open() || !file.write(data) || !file.commit(fileName(source), QFile::ReadOwner | QFile::WriteOwner))
        return false;

    // The files of sources not opened for long go, and private files that a
    // crash left behind.
    const QDir dir(folder);
    const QFileInfoList files = dir.entryInfoList({QStringLiteral("*.json")}, QDir::Files, QDir::Time);
    for (qsizetype i = keptFiles; i < files.size(); ++i)
        QFile::remove(files.at(i).filePath());
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-10 * 60);
    for (const QFileInfo &leftover :
         dir.entryInfoList({QBSaveFile::leftoverPrefix + u'*'}, QDir::Files | QDir::Hidden)) {
        if (leftover.lastModified() < before)
            QFile::remove(leftover.filePath());
    }
    return true;
}

}
