// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbimagedownload.h"

#include "base/qbgameid.h"
#include "base/qbkeys.h"
#include "base/qbsavefile.h"
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "qbfiledownload.h"
#include "qblanguages.h"

#include <QNetworkAccessManager>
#include <QUrl>

QBImageDownload::QBImageDownload(const QVariantMap &game, QNetworkAccessManager *manager, QObject *parent)
    : QBOperation(parent)
    , m_game(game)
    , m_manager(manager)
{
}

QString QBImageDownload::coverLanguage(const QVariantMap &game)
{
    if (game.value(GameKey::region).toString().toLower() == QLatin1String("ntsc-u"))
        return QStringLiteral("US");
    const QStringList languages = QBLanguages::userLanguages();
    return languages.isEmpty() ? QStringLiteral("EN") : languages.first().toUpper();
}

QUrl QBImageDownload::coverUrl(const QString &language, const QString &id)
{
    if (!QBGameID::isValid(id))
        return QUrl();
    return QUrl(QBSettings::coverServer()
                + QStringLiteral("/wii/cover3D/%1/%2.png").arg(language, id));
}

void QBImageDownload::main()
{
    fetch(coverLanguage(m_game), false);
}

void QBImageDownload::fetch(const QString &language, bool fallback)
{
    const QString id = m_game.value(GameKey::id).toString();
    if (!m_manager || !QBGameID::isValid(id)) {
        end();
        return;
    }
    m_download = new QBFileDownload(m_manager, coverUrl(language, id), QBSupportFolder::location() + QStringLiteral("/covers"),
                                    maximumSize, this);
    connect(m_download, &QBFileDownload::finished, this,
            [this, fallback](bool success) { fetchFinished(success, fallback); });
    m_download->start();
}

// An answer that is an error (404 included) is no data; anything else is
// written as it came.
void QBImageDownload::fetchFinished(bool success, bool fallback)
{
    const QString name = m_game.value(GameKey::id).toString() + QStringLiteral(".png");
    const bool written = success && m_download->file().size() > 0
            && m_download->file().commit(name, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                       | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    m_download->deleteLater();
    m_download = nullptr;
    if (written || fallback)
        end();
    else
        fetch(QStringLiteral("EN"), true);
}

void QBImageDownload::end()
{
    emit imageDidDownload(m_game);
    finish();
}
