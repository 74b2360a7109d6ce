// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFileDevice>
#include <QObject>
#include <QProcess>

#include <memory>

class QBSaveFile;

// Installs the one file that a downloaded zip archive is for ("wiitdb.xml",
// "wit" or "wwt") into a folder, without blocking the event loop. Nothing
// else of the archive is ever written anywhere. The entry is screened first
// (QBArchiveScreening: a regular file, once, of bounded size); unzip then
// writes it to a pipe, never to the disk itself, and it goes into a private
// file in the folder that replaces the installed one in one step, and only
// when it came out whole and of the announced size.
class QBArchiveExtractor : public QObject
{
    Q_OBJECT

public:
    explicit QBArchiveExtractor(QObject *parent = nullptr);
    ~QBArchiveExtractor() override;

    // finished() follows, never from within this call.
    void start(const QString &archive, const QString &name, const QString &destination, qint64 maximumSize,
               QFileDevice::Permissions permissions);

signals:
    void finished(bool success);

private:
    void readOutput();
    void unpacked();
    void fail(const QString &reason);
    void end(bool success);

    QProcess m_process;
    QString m_name;
    qint64 m_size = 0;
    QFileDevice::Permissions m_permissions;
    std::unique_ptr<QBSaveFile> m_file;
    bool m_ended = false;
};
