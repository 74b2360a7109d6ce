// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QVariantMap>

class QBListCommand;
class QIODevice;

// The headless "--export" command: lists a source as a freshly opened
// document would (games in the order listed, no filter, database records
// merged in) and writes its game list as the export command does. Failures
// go to the error device as one line each.
class QBExportCommand : public QObject
{
    Q_OBJECT

public:
    QBExportCommand(const QString &file, const QString &format, QIODevice *errors, QObject *parent = nullptr);

    // A folder or image (partition false), or a WBFS partition or file.
    void start(const QString &path, bool partition);
    void startDatabase();

signals:
    // 0 when the file was written, 1 otherwise.
    void finished(int exitCode);

private:
    void listed(int exitCode, const QString &filename, const QString &failure);

    QString m_file;
    QString m_format;
    QIODevice *m_errors;
    QBListCommand *m_list;
    QList<QVariantMap> m_games;
};
