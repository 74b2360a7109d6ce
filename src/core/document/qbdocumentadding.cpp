// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbdocumentadding.h"

#include "base/qbgameid.h"
#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "gamedata/qbgamecenter.h"
#include "panels/qbnamingpanel.h"
#include "qbdocument.h"
#include "qbdocumentediting.h"
#include "qbfilesystem.h"
#include "qbgamefiltermodel.h"
#include "qbloaderdrive.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"
#include "tasks/qboperationqueue.h"

#include <QSet>

namespace {

// Removes the entries at the ascending indexes from each list.
template<typename List>
void removeIndexes(List &list, const QList<int> &indexes)
{
    for (auto it = indexes.crbegin(); it != indexes.crend(); ++it)
        list.removeAt(*it);
}

// Asks about the screened games at the indexes. False when the user
// cancels; otherwise skip tells whether they are to be left out.
bool askToSkip(QBAdding::Screening screening, const QList<QVariantMap> &games, const QList<int> &indexes,
               bool &skip)
{
    QStringList names;
    names.reserve(indexes.size());
    for (const int index : indexes)
        names << games.at(index).value(GameKey::filename).toString();
    const int answer = QBAlertPresenter::run(QBAdding::skipAlert(screening, names));
    skip = answer == QBAlertAnswer::Default;
    return answer != QBAlertAnswer::Other;
}

}

namespace QBAdding {

QBAlert skipAlert(Screening screening, const QStringList &filenames)
{
    QBAlert alert;
    const bool one = filenames.size() == 1;
    if (screening == Screening::SameID) {
        alert.message = one ? QStringLiteral("'%1' has an ID that already exists on the destination drive. "
                                             "Do you want to skip it?")
                                      .arg(filenames.first())
                            : QString::asprintf("%lu files have an ID that already exists on the destination "
                                                "drive. Do you want to skip them?",
                                                ulong(filenames.size()));
    } else {
        alert.message = one ? QStringLiteral("'%1' already exists or is being transferred to the destination "
                                             "drive. Do you want to skip it?")
                                      .arg(filenames.first())
                            : QString::asprintf("%lu files already exist or are being transferred to the "
                                                "destination drive. Do you want to skip them?",
                                                ulong(filenames.size()));
    }
    alert.informativeText = QBAlert::nameLines(filenames);
    alert.defaultButton = QStringLiteral("Skip");
    alert.alternateButton = QStringLiteral("Continue");
    alert.otherButton = QStringLiteral("Cancel");
    return alert;
}

QString destinationPath(int destinationType, const QString &destination, const QVariantMap &game,
                        const QString &name, const QString &extension, bool createParentDirectory)
{
    if (destinationType == QBDocument::Partition)
        return destination + u'/' + game.value(GameKey::id).toString();
    if (createParentDirectory)
        return destination + u'/' + name + u'/' + name + u'.' + extension;
    return destination + u'/' + name + u'.' + extension;
}

bool isUnnamed(int destinationType, const QVariantMap &game)
{
    return (destinationType == QBDocument::Partition || game.value(GameKey::isOnWBFS).toBool())
            && !QBGameID::isValid(game.value(GameKey::id).toString());
}

FolderRules folderRules(const QString &folder, QBConversionLayout::Layout layout)
{
    FolderRules rules;
    rules.layout = layout;
    rules.extension = QBSettings::conversionFormat();
    rules.createParentDirectory = QBSettings::shouldCreateParentDirectory();
    rules.splitSize = QBSettings::splitSize();
    rules.compressionMode = QBSettings::compressionMode();
    rules.fat = QBFilesystemCenter::isFat(folder);
    return rules;
}

bool isGameCube(const QVariantMap &game)
{
    if (game.value(GameKey::isOnWBFS).toBool())
        return game.value(GameKey::id).toString().startsWith(u'G');
    return game.value(GameKey::filetype).toString().endsWith(QLatin1String("/GC"));
}

QString refusal(const QVariantMap &game, const QString &name, const FolderRules &rules)
{
    if ((rules.fat ? fatName(name) : name).isEmpty())
        return QStringLiteral("The file name would be empty.");
    if (rules.layout == QBConversionLayout::Custom)
        return QString();
    if (!QBGameID::isValid(game.value(GameKey::id).toString()))
        return QStringLiteral("A loader finds a game by its ID, which is four to six letters and digits.");
    if (rules.layout == QBConversionLayout::Nintendont && !isGameCube(game))
        return QStringLiteral("Nintendont loads GameCube games only.");
    return QString();
}

QString folderDestination(const QString &folder, const QVariantMap &game, const QString &name,
                          const FolderRules &rules)
{
    const QString clean = rules.fat ? fatName(name) : name;
    if (rules.layout == QBConversionLayout::Custom) {
        const QString extension = rules.fat ? fatName(rules.extension) : rules.extension;
        return destinationPath(QBDocument::Folder, folder, game, clean, extension, rules.createParentDirectory);
    }
    if (isGameCube(game))
        return folder + QStringLiteral("/games/") + clean + QStringLiteral("/game.iso");
    return folder + QStringLiteral("/wbfs/") + clean + u'/' + game.value(GameKey::id).toString()
            + QStringLiteral(".wbfs");
}

QString fatName(const QString &name)
{
    static const QString refused = QStringLiteral("\\/:*?\"<>|");
    QString clean = name;
    clean.removeIf([](QChar c) { return c.unicode() < 0x20 || refused.contains(c); });
    while (clean.endsWith(u' ') || clean.endsWith(u'.'))
        clean.chop(1);
    return clean;
}

QStringList splitOptions(qint64 splitSize, bool fat)
{
    if (fat)
        return {QStringLiteral("--split-size"), QStringLiteral("4G-32K")};
    if (splitSize == 4096)
        return {QStringLiteral("--split")};
    if (splitSize > 0)
        return {QStringLiteral("--split-size"), QString::asprintf("%lluM", qulonglong(splitSize))};
    return {};
}

QStringList compressionOptions(const QString &destination, const QString &compressionMode)
{
    if (!destination.endsWith(QLatin1String(".wia")))
        return {};
    return {QStringLiteral("--compression"), compressionMode.toUpper()};
}

Command conversionCommand(int destinationType, const QVariantMap &game, const QString &destination,
                          const QString &partition, qint64 splitSize, const QString &compressionMode, bool fat)
{
    const QString source = game.value(GameKey::filename).toString();
    const QStringList progress{QStringLiteral("--sections"), QStringLiteral("--progress")};
    // A partition takes games as they are, and keeps a game it already has
    // (--update) rather than writing it again.
    if (destinationType == QBDocument::Partition) {
        return {1,
                QStringList{QStringLiteral("add"), QStringLiteral("--source"), source, QStringLiteral("--part"),
                            partition, QStringLiteral("--update")}
                        + progress,
                QStringLiteral("Add '%1' < '%2'").arg(destination, source)};
    }
    const QStringList options = splitOptions(splitSize, fat) + compressionOptions(destination, compressionMode);
    if (game.value(GameKey::isOnWBFS).toBool()) {
        const QString sourcePartition = QBEditing::deletingLastPathComponent(source);
        return {1,
                QStringList{QStringLiteral("extract"), game.value(GameKey::id).toString(), QStringLiteral("--dest"),
                            destination, QStringLiteral("--part"), sourcePartition, QStringLiteral("--overwrite")}
                        + progress + options,
                QStringLiteral("Extract '%1' < '%2'").arg(destination, sourcePartition)};
    }
    QStringList arguments{QStringLiteral("copy"), QStringLiteral("--source"), source, QStringLiteral("--dest"),
                          destination, QStringLiteral("--overwrite")};
    arguments += progress;
    if (source == destination)
        arguments << QStringLiteral("--remove");
    return {0, arguments + options, QStringLiteral("Convert '%1' < '%2'").arg(destination, source)};
}

QList<int> collisions(const QStringList &destinations, const QSet<QString> &listed)
{
    const QBConversionController *controller = QBConversionController::sharedController();
    QSet<QString> composed;
    QList<int> indexes;
    for (int i = 0; i < destinations.size(); ++i) {
        const QString &path = destinations.at(i);
        // Two games whose names compose alike would be written to the same
        // file, the second over the first.
        if (listed.contains(path) || composed.contains(path) || controller->sourcePathIsReserved(path)
            || controller->destinationPathIsReserved(path))
            indexes << i;
        composed.insert(path);
    }
    return indexes;
}

double estimatedSize(const QList<QVariantMap> &games)
{
    double size = 0;
    for (const QVariantMap &game : games)
        size += qMax(0.0, game.value(GameKey::size).toDouble());
    return size;
}

std::optional<QBAlert> spaceAlert(double neededGB, double freeGB)
{
    if (neededGB <= freeGB)
        return std::nullopt;
    QBAlert alert;
    alert.message = QString::asprintf("The games need about %.1f GB, and %.1f GB is free on the destination "
                                      "drive. Do you want to continue?",
                                      neededGB, freeGB);
    alert.informativeText = QStringLiteral("The size is an estimate from the sizes that the tool reports; "
                                           "converted games may take less.");
    alert.defaultButton = QStringLiteral("Continue");
    alert.alternateButton = QStringLiteral("Cancel");
    return alert;
}

QBConversionTask *conversionTask(const Command &command, const QVariantMap &game, const QString &destination,
                                 QObject *sender)
{
    qCInfo(lcDocument).noquote() << "Started conversion with arguments:"
                                 << u'(' + command.arguments.join(QStringLiteral(", ")) + u')';
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    const QString id = game.value(GameKey::id).toString();
    const QImage cached = center ? center->images().value(id) : QImage();
    auto *bundle = new QBConversionBundle({
            {BundleKey::game, game},
            {BundleKey::sourcePath, game.value(GameKey::filename)},
            {BundleKey::destinationPath, destination},
            {BundleKey::display, command.display},
            {BundleKey::percent, 0.0},
            {BundleKey::isWaiting, true},
            {BundleKey::infos, QStringLiteral("Waiting ...")},
            {BundleKey::cover, cached.isNull() ? QBGameBundle::missingCover() : cached},
    });
    // The row's cover follows the cache, as the game's does.
    if (center) {
        QObject::connect(center->coverEntry(id), &QBCoverEntry::coverChanged, bundle,
                         [bundle](const QImage &image) { bundle->setValue(BundleKey::cover, image); });
    }
    return new QBConversionTask(command.arguments, command.launchPath, bundle, sender);
}

QStringList listingArguments(int documentType, const QString &documentFilename, const QString &converted)
{
    if (documentType == QBDocument::Partition) {
        return {QStringLiteral("list"),      QStringLiteral("--part"),         documentFilename,
                QStringLiteral("--include"), QBEditing::lastPathComponent(converted),     QStringLiteral("--scan-progress"),
                QStringLiteral("--sections")};
    }
    return {QStringLiteral("list"), QStringLiteral("--source"), converted, QStringLiteral("--scan-progress"),
            QStringLiteral("--sections")};
}

}

void QBDocument::addGames(const QList<QVariantMap> &dropped, QBNamingPanel *convertPanel)
{
    if (m_documentType == Database || dropped.isEmpty())
        return;
    // Alerts and the panel run their own event loops, in which this
    // document may go (its window closed).
    const QPointer<QBDocument> guard(this);
    QList<QVariantMap> games = dropped;

    // A game that wwt would have to be given by an ID that is not a disc's
    // stops the drop.
    QList<QVariantMap> unnamed;
    for (const QVariantMap &game : std::as_const(games)) {
        if (QBAdding::isUnnamed(m_documentType, game))
            unnamed << game;
    }
    if (!unnamed.isEmpty()) {
        QStringList names;
        for (const QVariantMap &game : std::as_const(unnamed))
            names << game.value(GameKey::filename).toString();
        QBAlert alert;
        alert.message = displayStringForGames(unnamed) + QStringLiteral(" cannot be transferred.");
        alert.informativeText = QStringLiteral("On a WBFS partition a game is known by its ID, which is four to "
                                               "six letters and digits.\n")
                + QBAlert::nameLines(names);
        QBAlertPresenter::run(alert);
        return;
    }

    // A game whose ID is already here.
    QSet<QString> ids;
    for (const QBListedGame &game : this->games())
        ids.insert(game.value(GameKey::id).toString());
    QList<int> sameIDs;
    for (int i = 0; i < games.size(); ++i) {
        if (ids.contains(games.at(i).value(GameKey::id).toString()))
            sameIDs << i;
    }
    bool skip = false;
    if (!sameIDs.isEmpty()) {
        if (!askToSkip(QBAdding::Screening::SameID, games, sameIDs, skip) || !guard)
            return;
        if (skip)
            removeIndexes(games, sameIDs);
        if (games.isEmpty())
            return;
    }

    // A folder asks for the names, and its layout decides where they go.
    QBAdding::FolderRules rules;
    QStringList names;
    if (m_documentType == Folder) {
        const QString verb = games.last().value(GameKey::isOnWBFS).toBool() ? QStringLiteral("Extract")
                                                                            : QStringLiteral("Convert");
        if (!convertPanel
            || !convertPanel->runModalWithTitle(verb + u' ' + displayStringForGames(games), games) || !guard)
            return;
        const auto layout = QBConversionLayout::fromKey(QBSettings::conversionLayout());
        rules = QBAdding::folderRules(m_filename, layout.value_or(QBConversionLayout::Custom));
        QList<int> refused;
        QStringList reasons;
        for (int i = 0; i < games.size(); ++i) {
            names << convertPanel->stringForGame(games.at(i));
            const QString reason = QBAdding::refusal(games.at(i), names.last(), rules);
            if (!reason.isEmpty()) {
                refused << i;
                if (!reasons.contains(reason))
                    reasons << reason;
            }
        }
        if (!refused.isEmpty()) {
            QList<QVariantMap> left;
            QStringList refusedNames;
            for (const int index : std::as_const(refused)) {
                left << games.at(index);
                refusedNames << games.at(index).value(GameKey::filename).toString();
            }
            QBAlert alert;
            alert.message = displayStringForGames(left) + QStringLiteral(" cannot be added with the layout ")
                    + QBConversionLayout::title(rules.layout)
                    + (refused.size() == 1 ? QStringLiteral(". Do you want to skip it?")
                                           : QStringLiteral(". Do you want to skip them?"));
            alert.informativeText = reasons.join(u'\n') + u'\n' + QBAlert::nameLines(refusedNames);
            alert.defaultButton = QStringLiteral("Skip");
            alert.alternateButton = QStringLiteral("Cancel");
            if (QBAlertPresenter::run(alert) != QBAlertAnswer::Default || !guard)
                return;
            removeIndexes(games, refused);
            removeIndexes(names, refused);
            if (games.isEmpty())
                return;
        }
    }

    // The destinations, and what is already there or in use. Taken now:
    // the list may have grown while the panel was open.
    QSet<QString> filenames;
    for (const QBListedGame &game : this->games())
        filenames.insert(game.value(GameKey::filename).toString());
    QStringList destinations;
    destinations.reserve(games.size());
    for (int i = 0; i < games.size(); ++i) {
        destinations << (m_documentType == Folder
                                 ? QBAdding::folderDestination(m_filename, games.at(i), names.at(i), rules)
                                 : QBAdding::destinationPath(m_documentType, m_filename, games.at(i), QString(),
                                                             QString(), false));
    }
    const QList<int> collisions = QBAdding::collisions(destinations, filenames);
    if (!collisions.isEmpty()) {
        if (!askToSkip(QBAdding::Screening::Collision, games, collisions, skip) || !guard)
            return;
        if (skip) {
            removeIndexes(games, collisions);
            removeIndexes(destinations, collisions);
        }
        if (games.isEmpty())
            return;
    }

    if (m_documentType == Folder) {
        const auto question = QBAdding::spaceAlert(QBAdding::estimatedSize(games),
                                                   QBFilesystemCenter::spaceForPath(m_filename).freeSpace);
        if (question && (QBAlertPresenter::run(*question) != QBAlertAnswer::Default || !guard))
            return;
    }

    // One conversion per game, handed over at once.
    QList<QBConversionTask *> tasks;
    tasks.reserve(games.size());
    for (int i = 0; i < games.size(); ++i) {
        const QVariantMap &game = games.at(i);
        const QBAdding::Command command = QBAdding::conversionCommand(
                m_documentType, game, destinations.at(i), m_filename, rules.splitSize, rules.compressionMode, rules.fat);
        QBConversionTask *task = QBAdding::conversionTask(command, game, destinations.at(i), this);
        connect(task, &QBConversionTask::conversionDidFinish, this, &QBDocument::conversionDidFinish);
        if (rules.layout != QBConversionLayout::Custom) {
            connect(task, &QBConversionTask::conversionDidFinish, this,
                    [root = m_filename, layout = rules.layout, id = game.value(GameKey::id).toString()] {
                        QBLoaderDrive::copyCover(root, layout, id);
                    });
        }
        tasks << task;
    }
    QBConversionController::sharedController()->startConversionTasks(tasks);
}

void QBDocument::conversionDidFinish(const QVariantMap &userInfo)
{
    const QString filename = userInfo.value(UserInfoKey::filename).toString();
    // A row of the same file is out of date: the file was written anew.
    for (const int row : m_gameListController->arrangedSourceRows()) {
        if (m_gameList->value(row, GameKey::filename).toString() == filename) {
            m_gameList->removeGames({row});
            break;
        }
    }
    if (userInfo.value(UserInfoKey::terminationStatus).toInt() != 0)
        return;
    // Listed here, not again when the folder's watcher sees it.
    m_ownFiles.insert(filename);
    const bool partition = m_documentType == Partition;
    auto *task = new QBBrowsingTask(QBAdding::listingArguments(m_documentType, m_filename, filename),
                                    partition ? 1 : 0, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, &QBDocument::browsingDidFinish);
    m_blockingQueue->addOperation(task);
}
