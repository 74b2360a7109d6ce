// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbfiledownload.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

QBFileDownload::QBFileDownload(QNetworkAccessManager *manager, const QUrl &url, const QString &folder,
                               qint64 maximumSize, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_url(url)
    , m_maximumSize(maximumSize)
    , m_file(folder)
{
}

QBFileDownload::~QBFileDownload()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

void QBFileDownload::start()
{
    if (!m_manager || !m_file.open()) {
        const QString error = m_manager ? m_file.errorString() : QStringLiteral("No network access");
        QTimer::singleShot(0, this, [this, error] { fail(error); });
        return;
    }
    QNetworkRequest request(m_url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    // Qt's transfer timeout restarts with every byte: a limit on stalls,
    // not on the whole transfer.
    request.setTransferTimeout(stallTimeout);
    m_reply = m_manager->get(request);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &QBFileDownload::headReceived);
    connect(m_reply, &QNetworkReply::readyRead, this, &QBFileDownload::readData);
    connect(m_reply, &QNetworkReply::finished, this, &QBFileDownload::transferEnded);
}

void QBFileDownload::headReceived()
{
    const QVariant header = m_reply->header(QNetworkRequest::ContentLengthHeader);
    const qint64 length = header.isValid() ? header.toLongLong() : -1;
    if (length > m_maximumSize) {
        tooLarge();
        return;
    }
    emit responseReceived(length);
}

void QBFileDownload::readData()
{
    const QByteArray data = m_reply->readAll();
    if (m_file.size() + data.size() > m_maximumSize) {
        tooLarge();
        return;
    }
    if (!m_file.write(data)) {
        fail(m_file.errorString());
        return;
    }
    emit dataReceived(m_file.size());
}

void QBFileDownload::transferEnded()
{
    const QNetworkReply::NetworkError error = m_reply->error();
    if (error == QNetworkReply::NoError) {
        readData();
        if (!m_error.isEmpty())
            return;
    }
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    reply->deleteLater();
    if (error == QNetworkReply::OperationCanceledError || error == QNetworkReply::TimeoutError) {
        // Nothing else cancels a reply that is still connected here.
        fail(QStringLiteral("The server at %1 sent nothing for %2 seconds.")
                     .arg(m_url.host())
                     .arg(stallTimeout / 1000));
    } else if (error != QNetworkReply::NoError) {
        fail(reply->errorString());
    } else if (!m_file.flush()) {
        fail(m_file.errorString());
    } else {
        emit finished(true);
    }
}

void QBFileDownload::tooLarge()
{
    fail(QStringLiteral("The file at %1 is larger than %2 MiB.")
                 .arg(m_url.toDisplayString())
                 .arg(m_maximumSize >> 20));
}

void QBFileDownload::fail(const QString &error)
{
    if (!m_error.isEmpty())
        return;
    m_error = error;
    if (m_reply) {
        QNetworkReply *reply = m_reply;
        m_reply = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }
    emit finished(false);
}
