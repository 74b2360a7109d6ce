// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbalertpresenter.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QVariantMap>

class QNetworkAccessManager;
class QNetworkReply;

// One export of a game list to a file: an HTML page whose pictures come
// from the cover server, or a plain text list. For the page, each game's
// cover address is checked on the server (the language cover, else the
// English one is written unchecked); the checks run a few at a time on the
// event loop, so that the window stays live, and can be cancelled. The
// file is written at the end, at once, in UTF-16 with a byte-order mark;
// a cancelled export writes nothing.
class QBGameListExport : public QObject
{
    Q_OBJECT

public:
    enum class Result { Pending, Written, Cancelled, WriteFailed };

    // Checks under way at once. Past six, one server gets them over more
    // than one connection.
    static constexpr int checksInFlight = 12;

    // filename names the list in the page's title; format "html" makes the
    // page, any other value the text list, and is the file's extension.
    QBGameListExport(const QString &filename, const QList<QVariantMap> &games, const QString &format,
                     const QString &chosenPath, QObject *parent = nullptr);
    ~QBGameListExport() override;

    // What an export reads of a game record.
    static QVariantMap exportedValues(const QVariantMap &game);
    // The chosen path with its extension replaced by the format.
    static QString targetPath(const QString &chosenPath, const QString &format);
    // A value as the list writes it: "(null)" when missing, numbers as
    // plain figures.
    static QString textForm(const QVariant &value);
    static QString plainText(const QList<QVariantMap> &games);
    static QString htmlText(const QString &filename, const QList<QVariantMap> &games, const QStringList &coverUrls);

    QString path() const { return m_targetPath; }
    // The number of cover checks to make: one per game for the page, none
    // for the text list.
    int checkCount() const;
    Result result() const { return m_result; }
    QString errorString() const { return m_errorString; }
    // The alert that tells of a failed write.
    QBAlert failureAlert() const;

    void start();
    // Stops the checks; nothing is written.
    void cancel();

signals:
    void progressChanged(int done, int total);
    void finished();

private:
    bool isHtml() const;
    void startCheck();
    void checkFinished(QNetworkReply *reply, int index, bool hasData);
    void write();
    void end(Result result);

    QString m_filename;
    QList<QVariantMap> m_games;
    QString m_format;
    QString m_targetPath;
    QStringList m_coverUrls;
    QList<QNetworkAccessManager *> m_networks;
    QSet<QNetworkReply *> m_replies;
    int m_nextCheck = 0;
    int m_checksDone = 0;
    Result m_result = Result::Pending;
    QString m_errorString;
};
