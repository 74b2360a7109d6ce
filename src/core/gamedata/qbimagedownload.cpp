// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbimagedownload.h"

#include "base/qbkeys.h"
#include "base/qbsavefile.h"
#include "base/qbsettings.h"
#include "qblanguages.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
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
    return QUrl(QBSettings::coverServer()
                + QStringLiteral("/wii/cover3D/%1/%2.png").arg(language, id));
}

void QBImageDownload::main()
{
    fetch(coverLanguage(m_game), false);
}

void QBImageDownload::fetch(const QString &language, bool fallback)
{
    if (!m_manager) {
        end();
        return;
    }
    QNetworkRequest request(coverUrl(language, m_game.value(GameKey::id).toString()));
    request.setTransferTimeout(60000);
    m_reply = m_manager->get(request);
    connect(m_reply, &QNetworkReply::finished, this, [this, fallback] { fetchFinished(fallback); });
}

// An answer that is an error (404 included) is no data; anything else is
// written as it came.
void QBImageDownload::fetchFinished(bool fallback)
{
    QNetworkReply *reply = m_reply;
    reply->deleteLater();
    const QByteArray data = reply->error() == QNetworkReply::NoError ? reply->readAll() : QByteArray();
    const bool written = !data.isEmpty()
            && QBSaveFile::write(m_game.value(GameKey::coverPath).toString(), data);
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
