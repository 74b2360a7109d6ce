// SPDX-License-Identifier: GPL-3.0-or-later
#include "qblistcommand.h"

#include "app/qbsettings.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qbkeys.h"

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

void QBListCommand::start(const QString &path, bool partition)
{
    const QStringList arguments = partition
            ? QBBrowsingTask::partitionArguments(path)
            : QBBrowsingTask::folderArguments(path, QBSettings::browseRecursively());
    auto *task = new QBBrowsingTask(arguments, partition ? 1 : 0, this, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, [this](const QVariantMap &userInfo) {
        if (!userInfo.contains(UserInfoKey::terminationStatus)) {
            m_output->write(jsonLine(userInfo.value(UserInfoKey::game).toMap()));
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
        m_output->write(jsonLine(last));
        emit finished(userInfo.value(UserInfoKey::terminationStatus).toInt() == 0 ? 0 : 1);
    });
    connect(task, &QBOperation::finished, task, &QObject::deleteLater);
    task->start();
}
