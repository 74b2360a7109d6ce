// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbupdatedatabasecommand.h"

#include "gamedata/qbgamecenter.h"

#include <QIODevice>
#include <QTimer>

QBUpdateDatabaseCommand::QBUpdateDatabaseCommand(QBGameCenter *center, QIODevice *errors, QObject *parent)
    : QObject(parent)
    , m_center(center)
    , m_errors(errors)
    , m_previousPresenter(QBAlertPresenter::shared())
{
    QBAlertPresenter::setShared(this);
}

QBUpdateDatabaseCommand::~QBUpdateDatabaseCommand()
{
    QBAlertPresenter::setShared(m_previousPresenter);
}

void QBUpdateDatabaseCommand::start()
{
    connect(m_center, &QBGameCenter::downloadPercentChanged, this, [this](double percent) {
        // A line for every tenth, enough for a log.
        const int tenths = int(percent / 10.0);
        if (tenths > m_printedTenths && tenths <= 10) {
            m_printedTenths = tenths;
            print(QStringLiteral("%1%").arg(tenths * 10));
        }
    });
    connect(m_center, &QBGameCenter::downloadDidEnd, this, [this](bool installed) {
        if (installed)
            print(QStringLiteral("The title database is installed: ") + m_center->pathForResource(QStringLiteral("wiitdb.xml")));
        emit finished(installed ? 0 : 1);
    });
    m_center->downloadDatabase();
    if (m_center->downloadString().isEmpty()) {
        // It could not start, and has said why.
        QTimer::singleShot(0, this, [this] { emit finished(1); });
        return;
    }
    print(m_center->downloadText().trimmed());
}

// Nothing to answer: the default button, as a headless run has no one to
// ask.
int QBUpdateDatabaseCommand::runAlert(const QBAlert &alert)
{
    print(alert.informativeText.isEmpty() ? alert.message : alert.message + u' ' + alert.informativeText);
    return QBAlertAnswer::Default;
}

void QBUpdateDatabaseCommand::print(const QString &line)
{
    m_errors->write(QStringLiteral("palomet: %1\n").arg(line).toUtf8());
}
