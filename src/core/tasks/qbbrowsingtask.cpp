// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbbrowsingtask.h"

#include "base/qbkeys.h"
#include "base/qbsupportfolder.h"
#include "base/qbtextnumber.h"

#include <utility>

namespace {
const QString progressFound = QStringLiteral("progress:found");
}

QStringList QBBrowsingTask::folderArguments(const QString &path, bool recursive)
{
    return {QStringLiteral("list"),
            recursive ? QStringLiteral("--recurse") : QStringLiteral("--source"),
            path,
            QStringLiteral("--scan-progress"),
            QStringLiteral("--sections")};
}

QStringList QBBrowsingTask::partitionArguments(const QString &path)
{
    return {QStringLiteral("list"), QStringLiteral("--part"), path,
            QStringLiteral("--scan-progress"), QStringLiteral("--sections")};
}

// wit lists each game in a "progress:found" section while it scans, then
// repeats them all in "disc-N" sections, which are skipped. wwt prints the
// partition first ("wbfs-N": free_mib, total_mib) and then its games as
// "disc-N" sections.
bool QBBrowsingTask::shouldStartSectionWithHeader(const QString &header)
{
    if (header == QLatin1String("error") && m_failedFile.isEmpty())
        m_failedFile = m_lastNamedFile;
    if (header == progressFound
        || (header.startsWith(QLatin1String("disc-")) && launchPath() == 1)) {
        m_game = QVariantMap();
        m_section = Section::Game;
        return true;
    }
    if (header.startsWith(QLatin1String("wbfs-"))) {
        m_section = Section::Partition;
        m_partitionInfos = QVariantMap();
        m_hasPartitionInfos = true;
        return true;
    }
    return false;
}

void QBBrowsingTask::readKey(QStringView key, QStringView value, const QString &)
{
    const bool game = m_section == Section::Game;
    if (const QString *known = QBKeySets::find(game ? QBKeySets::gameKeys() : QBKeySets::partitionKeys(), key))
        (game ? m_game : m_partitionInfos).insert(*known, value.toString());
}

void QBBrowsingTask::endSection(const QString &)
{
    if (m_section == Section::Game) {
        // A game that lacks any of the tool keys is dropped silently.
        if (m_game.size() != QBKeySets::gameKeys().size())
            return;
        QVariantMap game = std::exchange(m_game, QVariantMap());
        game.insert(GameKey::size,
                    QBTextNumber::gigabytesFromBytes(game.value(GameKey::size).toString()));
        game.insert(GameKey::title, game.take(GameKey::name));
        const QString id = game.value(GameKey::id).toString();
        // No cover file for an ID not of a disc's form: it would make a
        // path of its own.
        if (const QString coverPath = QBSupportFolder::coverPath(id); !coverPath.isEmpty())
            game.insert(GameKey::coverPath, coverPath);
        const bool onPartition = m_hasPartitionInfos && !m_partitionInfos.isEmpty();
        if (onPartition)
            game.insert(GameKey::filename, QString(game.value(GameKey::filename).toString() + u'/' + id));
        game.insert(GameKey::isOnWBFS, onPartition);
        emit browsingDidFinish({{UserInfoKey::game, game}});
    } else {
        m_partitionInfos.insert(PartitionKey::freeSize,
                                QBTextNumber::thousandsFromMib(
                                        m_partitionInfos.take(PartitionKey::freeMib).toString()));
        m_partitionInfos.insert(PartitionKey::totalSize,
                                QBTextNumber::thousandsFromMib(
                                        m_partitionInfos.take(PartitionKey::totalMib).toString()));
    }
}

// The tool names a file it could not read in its error's text:
//   !! wit: ERROR #76 [CAN'T OPEN FILE] in SetupReadSF() @ src/lib-sf.c#447
//   !!      Can't open file: /folder/Broken
//   !!      [RXXE01].wbfs
// The text after the first line is wrapped at blanks, within the path as
// well; joined again with one blank, it holds the path as given. The file
// named last before the "error" section is the one that ended the listing.
void QBBrowsingTask::readErrorLine(QStringView text)
{
    const QStringView line = text.trimmed();
    if (line.startsWith(QString(toolName() + QStringLiteral(": ")))) {
        m_errorText.clear();
        return;
    }
    if (!m_errorText.isEmpty())
        m_errorText += u' ';
    m_errorText += line;
    qsizetype longest = 0;
    for (const QString &argument : arguments()) {
        if (argument.startsWith(u'/') && argument.size() > longest && m_errorText.contains(argument)) {
            m_lastNamedFile = argument;
            longest = argument.size();
        }
    }
}

void QBBrowsingTask::processDidStop()
{
    QVariantMap userInfo{{UserInfoKey::terminationStatus, terminationStatus()}};
    if (m_hasPartitionInfos)
        userInfo.insert(UserInfoKey::partitionInfos, m_partitionInfos);
    if (!m_failedFile.isEmpty())
        userInfo.insert(UserInfoKey::failedFile, m_failedFile);
    emit browsingDidFinish(userInfo);
}
