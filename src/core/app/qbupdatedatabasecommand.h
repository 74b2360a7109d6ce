// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"

#include <QObject>

class QBGameCenter;
class QIODevice;

// The headless "--update-database" command, for a shell or a scheduled
// job: the game center's own database download (File › Update Database),
// with the same screening of the archive and the same install in one step.
// Its progress, and the alerts it would show, go to the error device as
// lines.
class QBUpdateDatabaseCommand : public QObject, private QBAlertPresenter
{
    Q_OBJECT

public:
    QBUpdateDatabaseCommand(QBGameCenter *center, QIODevice *errors, QObject *parent = nullptr);
    ~QBUpdateDatabaseCommand() override;

    void start();

signals:
    // 0 when a new database was installed, 1 otherwise.
    void finished(int exitCode);

private:
    int runAlert(const QBAlert &alert) override;
    void print(const QString &line);

    QBGameCenter *m_center;
    QIODevice *m_errors;
    QBAlertPresenter *m_previousPresenter;
    int m_printedTenths = 0;
};
