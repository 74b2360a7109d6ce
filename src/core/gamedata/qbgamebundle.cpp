// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbgamebundle.h"

#include "base/qbkeys.h"
#include "qbgamecenter.h"

#include <QDataStream>

namespace {

const QString &coverKey = QBGameRecord::coverKey;
constexpr quint32 archiveMagic = 0x51424742; // "QBGB"
constexpr quint16 archiveVersion = 1;

}

QBGameBundle::QBGameBundle(const QVariantMap &game, QObject *parent)
    : QBGameBundle(QSharedPointer<QBGameRecord>::create(game), true, parent)
{
}

QBGameBundle::QBGameBundle(QSharedPointer<QBGameRecord> record, bool merge, QObject *parent)
    : QObject(parent)
    , m_record(std::move(record))
{
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (merge && center && center->hasDatabase())
        m_record->addEntries(databaseEntries(center->databaseRecord(m_record->value(GameKey::id).toString())));
    m_record->bindCover(center);
    connect(m_record.get(), &QBGameRecord::valueChanged, this, [this](const QString &key) {
        emit valueChanged(key);
        if (key == coverKey) {
            emit coverChanged();
            emit imageRepresentationChanged();
        } else if (key == GameKey::title) {
            emit imageTitleChanged();
        }
    });
    m_imageSubtitle = subtitle(m_record->values());
    if (merge)
        m_imageVersion = 0;
}

QVariantMap QBGameBundle::databaseEntries(const QVariantMap &record)
{
    QVariantMap entries = record;
    for (const QString &key : {GameKey::filename, GameKey::coverPath, GameKey::isOnWBFS, GameKey::size,
                               GameKey::filetype, GameKey::id, coverKey})
        entries.remove(key);
    return entries;
}

QBGameBundle *QBGameBundle::copy(QObject *parent) const
{
    return new QBGameBundle(m_record, true, parent);
}

void QBGameBundle::encode(QDataStream &out) const
{
    QVariantMap values = m_record->values();
    values.remove(coverKey);
    out << archiveMagic << archiveVersion << values;
}

std::unique_ptr<QBGameBundle> QBGameBundle::decode(QDataStream &in)
{
    quint32 magic = 0;
    quint16 version = 0;
    QVariantMap values;
    in >> magic >> version;
    if (magic != archiveMagic || version != archiveVersion)
        return nullptr;
    in >> values;
    if (in.status() != QDataStream::Ok)
        return nullptr;
    return std::unique_ptr<QBGameBundle>(
            new QBGameBundle(QSharedPointer<QBGameRecord>::create(values), false, nullptr));
}

QImage QBGameBundle::cover() const
{
    return m_record->cover();
}

QString QBGameBundle::imageTitle() const
{
    return m_record->value(GameKey::title).toString();
}

void QBGameBundle::setImageSubtitle(const QString &subtitle)
{
    if (m_imageSubtitle == subtitle)
        return;
    m_imageSubtitle = subtitle;
    emit imageSubtitleChanged();
}

void QBGameBundle::setImageVersion(const QVariant &version)
{
    if (m_imageVersion == version)
        return;
    m_imageVersion = version;
    emit imageVersionChanged();
}

QString QBGameBundle::subtitle(const QVariantMap &game)
{
    const QVariant filetype = game.value(GameKey::filetype);
    // The size is a single-precision figure already in gigabytes.
    const double size = double(game.value(GameKey::size).toFloat());
    return (filetype.isValid() ? filetype.toString() : QStringLiteral("(null)")) + QStringLiteral(", ")
            + QString::number(size, 'f', 2) + QStringLiteral(" GB");
}

QImage QBGameBundle::missingCover()
{
    static const QImage image(QStringLiteral(":/palomet/images/missingcover.png"));
    return image;
}
