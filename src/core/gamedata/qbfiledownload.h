// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbsavefile.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

// One GET written, as it arrives, to a private file in a folder (see
// QBSaveFile), never held whole in memory. It ends with an error when the
// answer is larger than its limit, announced or not, or when nothing
// arrives for stallTimeout; a server that streams without end is cut off
// at the limit.
class QBFileDownload : public QObject
{
    Q_OBJECT

public:
    static constexpr int stallTimeout = 60000;

    QBFileDownload(QNetworkAccessManager *manager, const QUrl &url, const QString &folder, qint64 maximumSize,
                   QObject *parent = nullptr);
    // A transfer still running is dropped without a signal.
    ~QBFileDownload() override;

    // finished() follows, never from within this call.
    void start();
    // The received bytes; commit it to keep them.
    QBSaveFile &file() { return m_file; }
    QString errorString() const { return m_error; }

signals:
    // The answer's head has come: its announced length, or -1.
    void responseReceived(qint64 length);
    void dataReceived(qint64 received);
    void finished(bool success);

private:
    void headReceived();
    void readData();
    void transferEnded();
    void tooLarge();
    void fail(const QString &error);

    QPointer<QNetworkAccessManager> m_manager;
    QUrl m_url;
    qint64 m_maximumSize;
    QBSaveFile m_file;
    QPointer<QNetworkReply> m_reply;
    QString m_error;
};
