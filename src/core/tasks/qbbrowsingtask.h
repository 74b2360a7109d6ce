// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

#include <QVariantMap>

// Lists the games of a folder or image (wit list) or of a WBFS partition
// (wwt list). Each game is posted as soon as its section ends; a last post
// carries the run's status and, for a partition, its space figures.
class QBBrowsingTask : public QBTask
{
    Q_OBJECT

public:
    using QBTask::QBTask;

    // The argument lists of a listing.
    static QStringList folderArguments(const QString &path, bool recursive);
    static QStringList partitionArguments(const QString &path);

signals:
    // Two forms: {"game": record} for each game, then, once at the end of
    // the output (never after a cancel), {"terminationStatus": int} with
    // "partitionInfos" when a partition section was read, and "failedFile"
    // when the error that ended the listing named a file.
    void browsingDidFinish(const QVariantMap &userInfo);

protected:
    bool shouldStartSectionWithHeader(const QString &header) override;
    void readKey(QStringView key, QStringView value, const QString &section) override;
    void endSection(const QString &section) override;
    void processDidStop() override;
    void readErrorLine(QStringView text) override;

private:
    // What the open accepted section describes; set once at its header so
    // that key lines need no name comparison.
    enum class Section { Game, Partition };

    Section m_section = Section::Game;
    QVariantMap m_game;
    QVariantMap m_partitionInfos;
    bool m_hasPartitionInfos = false;
    QString m_errorText;
    QString m_lastNamedFile;
    QString m_failedFile;
};
