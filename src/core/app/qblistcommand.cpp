// SPDX-License-Identifier: GPL-3.0-or-later
#include "qblistcommand.h"

#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "tasks/qbbrowsingtask.h"

#include <QDateTime>
#include <QFileInfo>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <charconv>

namespace {

QJsonValue jsonValue(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::Float: {
        // Through the shortest decimal form of the float, so that the JSON
        // number is the value as the user would read it.
        char buffer[32];
        const auto result = std::to_chars(buffer, buffer + sizeof buffer, value.toFloat());
        double shortest = 0;
        std::from_chars(buffer, result.ptr, shortest);
        return shortest;
    }
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd"));
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), jsonValue(it.value()));
        return object;
    }
    case QMetaType::QVariantList: {
        QJsonArray array;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            array.append(jsonValue(item));
        return array;
    }
    default:
        return QJsonValue::fromVariant(value);
    }
}

}

QBListCommand::QBListCommand(QIODevice *output, QObject *parent)
    : QObject(parent)
    , m_output(output)
{
}

QByteArray QBListCommand::jsonLine(const QVariantMap &record)
{
    return QJsonDocument(jsonValue(record).toObject()).toJson(QJsonDocument::Compact) + '\n';
}

void QBListCommand::afterParsing(std::function<void()> work)
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!center || !center->isParsing()) {
        work();
        return;
    }
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(center, &QBGameCenter::parsingChanged, this, [connection, work](bool parsing) {
        if (parsing)
            return;
        disconnect(*connection);
        work();
    });
}

void QBListCommand::start(const QString &path, bool partition)
{
    afterParsing([this, path, partition] { list(path, partition); });
}

void QBListCommand::startDatabase(QIODevice *errors)
{
    afterParsing([this, errors] {
        const QBGameCenter *center = QBGameCenter::sharedGameCenter();
        if (!center || !center->hasDatabase()) {
            const QString path = center ? center->pathForResource(QStringLiteral("wiitdb.xml")) : QString();
            errors->write(QFileInfo::exists(path)
                                  ? "palomet: the title database could not be loaded\n"
                                  : "palomet: no title database is installed\n");
            emit finished(1);
            return;
        }
        QStringList ids = center->database().keys();
        ids.sort();
        for (const QString &id : std::as_const(ids)) {
            const QVariantMap record = center->databaseRecord(id);
            emit gameListed(record);
            write(record);
        }
        emit finished(0);
    });
}

void QBListCommand::list(const QString &path, bool partition)
{
    const QStringList arguments = partition
            ? QBBrowsingTask::partitionArguments(path)
            : QBBrowsingTask::folderArguments(path, QBSettings::browseRecursively());
    auto *task = new QBBrowsingTask(arguments, partition ? 1 : 0, this, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, [this](const QVariantMap &userInfo) {
        if (!userInfo.contains(UserInfoKey::terminationStatus)) {
            QVariantMap game = userInfo.value(UserInfoKey::game).toMap();
            const QBGameCenter *center = QBGameCenter::sharedGameCenter();
            if (center && center->hasDatabase())
                game.insert(QBGameBundle::databaseEntries(center->databaseRecord(game.value(GameKey::id).toString())));
            emit gameListed(game);
            write(game);
            return;
        }
        QVariantMap last{{UserInfoKey::terminationStatus, userInfo.value(UserInfoKey::terminationStatus)}};
        if (userInfo.contains(UserInfoKey::partitionInfos)) {
            const QVariantMap infos = userInfo.value(UserInfoKey::partitionInfos).toMap();
            QVariantMap space;
            for (const QString &key : {PartitionKey::freeSize, PartitionKey::totalSize}) {
                if (infos.contains(key))
                    space.insert(key, infos.value(key));
            }
            last.insert(UserInfoKey::partitionInfos, space);
        }
        write(last);
        emit finished(userInfo.value(UserInfoKey::terminationStatus).toInt() == 0 ? 0 : 1);
    });
    connect(task, &QBOperation::finished, task, &QObject::deleteLater);
    task->start();
}

void QBListCommand::write(const QVariantMap &record)
{
    if (m_output)
        m_output->write(jsonLine(record));
}
