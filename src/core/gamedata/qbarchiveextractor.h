// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QProcess>

#include <memory>

class QTemporaryDir;

// Unpacks a zip archive into a folder with unzip, without blocking the
// event loop. The archive's entry names are screened first: one that is
// absolute or climbs out with ".." refuses the whole archive before
// anything is written. Entries are unpacked into a scratch folder inside
// the destination and then moved into place one by one, so a failure while
// unpacking (a corrupt or truncated archive, a full disk) leaves the files
// already installed as they were.
class QBArchiveExtractor : public QObject
{
    Q_OBJECT

public:
    explicit QBArchiveExtractor(QObject *parent = nullptr);
    ~QBArchiveExtractor() override;

    void start(const QString &archive, const QString &destination);

    // True for an entry name that stays inside the destination.
    static bool isSafeEntry(const QString &name);

signals:
    void finished(bool success);

private:
    void listed();
    void unpacked();
    bool moveIntoPlace();
    void runUnzip(const QStringList &arguments, void (QBArchiveExtractor::*next)());
    void end(bool success);

    QProcess m_process;
    QString m_archive;
    QString m_destination;
    std::unique_ptr<QTemporaryDir> m_scratch;
    QMetaObject::Connection m_next;
};
