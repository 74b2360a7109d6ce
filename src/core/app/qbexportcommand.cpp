// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbexportcommand.h"

#include "app/qbdocumentcontroller.h"
#include "app/qbgamelistexport.h"
#include "app/qblistcommand.h"

#include <QFileInfo>
#include <QIODevice>

QBExportCommand::QBExportCommand(const QString &file, const QString &format, QIODevice *errors, QObject *parent)
    : QObject(parent)
    , m_file(file)
    , m_format(format)
    , m_errors(errors)
    , m_list(new QBListCommand(nullptr, this))
{
    connect(m_list, &QBListCommand::gameListed, this,
            [this](const QVariantMap &game) { m_games.append(QBGameListExport::exportedValues(game)); });
}

void QBExportCommand::start(const QString &path, bool partition)
{
    // A document is named by the whole path, whatever the working folder.
    const QString filename = QFileInfo(path).absoluteFilePath();
    connect(m_list, &QBListCommand::finished, this, [this, filename](int exitCode) {
        listed(exitCode, filename, QStringLiteral("'%1' could not be opened correctly.").arg(filename));
    });
    m_list->start(filename, partition);
}

void QBExportCommand::startDatabase()
{
    // The list command has said why it failed.
    connect(m_list, &QBListCommand::finished, this, [this](int exitCode) {
        listed(exitCode, QBDocumentController::databaseDocumentName, QString());
    });
    m_list->startDatabase(m_errors);
}

void QBExportCommand::listed(int exitCode, const QString &filename, const QString &failure)
{
    if (exitCode != 0) {
        if (!failure.isEmpty())
            m_errors->write(QStringLiteral("palomet: %1\n").arg(failure).toUtf8());
        emit finished(1);
        return;
    }
    auto *job = new QBGameListExport(filename, m_games, m_format, m_file, this);
    connect(job, &QBGameListExport::finished, this, [this, job] {
        if (job->result() == QBGameListExport::Result::Written) {
            emit finished(0);
            return;
        }
        const QBAlert alert = job->failureAlert();
        m_errors->write(QStringLiteral("palomet: %1 %2\n").arg(alert.message, alert.informativeText).toUtf8());
        emit finished(1);
    });
    job->start();
}
