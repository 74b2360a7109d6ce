// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tasks/qboperation.h"

#include <QPointer>
#include <QVariantMap>

class QBFileDownload;
class QNetworkAccessManager;

// Fetches one game's cover from the cover server into the covers folder:
// first in the game's language, then in English. It always ends with
// imageDidDownload, whether or not a picture arrived; what was written is
// only found out when the file is read back. The file is named after the
// ID alone (a game whose ID is not of a disc's form gets none), is written
// privately and put in place in one step, as a regular file that replaces
// whatever had its name (a link included, never followed), and a fetch
// larger than maximumSize is dropped.
class QBImageDownload : public QBOperation
{
    Q_OBJECT

public:
    static constexpr qint64 maximumSize = qint64(8) << 20;

    // game: a game record (id, region, coverPath); the manager is shared
    // with the game center's other downloads.
    QBImageDownload(const QVariantMap &game, QNetworkAccessManager *manager, QObject *parent = nullptr);

    const QVariantMap &game() const { return m_game; }

    // "US" for an NTSC-U game, else the user's first language upper-cased
    // as it stands (en-GB gives EN-GB), "EN" when there is none.
    static QString coverLanguage(const QVariantMap &game);
    // The cover's address on the server set in "coverServer"; none for an
    // ID that is not of a disc's form.
    static QUrl coverUrl(const QString &language, const QString &id);

signals:
    void imageDidDownload(const QVariantMap &game);

protected:
    void main() override;

private:
    void fetch(const QString &language, bool fallback);
    void fetchFinished(bool success, bool fallback);
    void end();

    QVariantMap m_game;
    QPointer<QNetworkAccessManager> m_manager;
    QBFileDownload *m_download = nullptr;
};
