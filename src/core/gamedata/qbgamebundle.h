// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbgamerecord.h"

#include <QImage>
#include <QObject>
#include <QSharedPointer>
#include <QVariant>
#include <QVariantMap>

#include <memory>

class QDataStream;

// One game as lists and the cover grid show it: the game record, merged
// with the game's title-database record, plus what the grid draws (cover,
// title, subtitle and a version that changes when the cover must be
// redrawn). Every record key reads as value(key); changes to the record
// are announced by valueChanged.
class QBGameBundle : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap infosDictionary READ infosDictionary NOTIFY valueChanged)
    Q_PROPERTY(QImage cover READ cover NOTIFY coverChanged)
    Q_PROPERTY(QImage imageRepresentation READ imageRepresentation NOTIFY imageRepresentationChanged)
    Q_PROPERTY(QString imageTitle READ imageTitle NOTIFY imageTitleChanged)
    Q_PROPERTY(QString imageSubtitle READ imageSubtitle WRITE setImageSubtitle NOTIFY imageSubtitleChanged)
    Q_PROPERTY(QVariant imageVersion READ imageVersion WRITE setImageVersion NOTIFY imageVersionChanged)

public:
    // Wraps a game record (browsing task keys). When the shared game center
    // holds a database, the game's database record is merged in first, its
    // values winning (the localised title, the database's region), except
    // for the keys of databaseEntries.
    explicit QBGameBundle(const QVariantMap &game, QObject *parent = nullptr);

    // What of a database record goes over a game record: everything but
    // the keys that locate and describe the game's file (filename,
    // coverPath, isOnWBFS, size, filetype, id) and its cover, which the
    // tool and the cache alone give. A database's locale may hold any
    // element; none of them decides which file Remove or Rename acts on.
    static QVariantMap databaseEntries(const QVariantMap &record);

    // A bundle around the very same record: changes through either show in
    // both. The database is merged again (no change when it is the same)
    // and the copy starts at version 0.
    QBGameBundle *copy(QObject *parent = nullptr) const;

    // Archives the record and nothing else; the cover is left out, since it
    // comes back from the cache.
    void encode(QDataStream &out) const;
    // A bundle from encode()'s output, with no database merge and no
    // version; null when the data is not such an archive.
    static std::unique_ptr<QBGameBundle> decode(QDataStream &in);

    QBGameRecord *record() const { return m_record.get(); }
    QVariantMap infosDictionary() const { return m_record->values(); }
    QVariant value(const QString &key) const { return m_record->value(key); }
    void setDetail(const QString &key, const QVariant &value) { m_record->setValue(key, value); }

    // Null while a cover evicted from memory is read again (see
    // QBGameRecord::cover).
    QImage cover() const;
    QImage imageRepresentation() const { return cover(); }
    QString imageTitle() const;
    // Games with the same title share it.
    QString imageUID() const { return imageTitle(); }
    QString imageSubtitle() const { return m_imageSubtitle; }
    void setImageSubtitle(const QString &subtitle);
    // 0 when made from a game record, invalid (read as 0) after decode().
    QVariant imageVersion() const { return m_imageVersion; }
    void setImageVersion(const QVariant &version);

    // "FILETYPE, SIZE GB" with two decimals; a missing file type reads
    // "(null)" and a missing size 0.00.
    static QString subtitle(const QVariantMap &game);
    static QImage missingCover();

signals:
    void valueChanged(const QString &key);
    void coverChanged();
    void imageRepresentationChanged();
    void imageTitleChanged();
    void imageSubtitleChanged();
    void imageVersionChanged();

private:
    QBGameBundle(QSharedPointer<QBGameRecord> record, bool merge, QObject *parent);

    QSharedPointer<QBGameRecord> m_record;
    QString m_imageSubtitle;
    QVariant m_imageVersion;
};
