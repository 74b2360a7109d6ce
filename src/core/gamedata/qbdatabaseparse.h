// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tasks/qboperation.h"

#include <QHash>
#include <QStringList>
#include <QVariantMap>

#include <atomic>
#include <memory>
#include <optional>

namespace pugi {
class xml_node;
}

// Keys of a title-database record, spelt as the database spells them.
namespace DatabaseKey {
inline const QString id = QStringLiteral("id");
inline const QString developer = QStringLiteral("developer");
inline const QString genre = QStringLiteral("genre");
inline const QString languages = QStringLiteral("languages");
inline const QString publisher = QStringLiteral("publisher");
inline const QString region = QStringLiteral("region");
inline const QString lang = QStringLiteral("lang");
inline const QString title = QStringLiteral("title");
inline const QString synopsis = QStringLiteral("synopsis");
inline const QString date = QStringLiteral("date");
inline const QString players = QStringLiteral("players");
inline const QString requirements = QStringLiteral("requirements");
inline const QString optionalControls = QStringLiteral("optional-controls");
inline const QString wifiPlayers = QStringLiteral("wi-fi-players");
inline const QString wifiFeatures = QStringLiteral("wi-fi-features");
inline const QString rating = QStringLiteral("rating");
}

// The parsed title database: game ID to that game's record.
using QBDatabase = QHash<QString, QVariantMap>;

// Reads wiitdb.xml into one flat record per game, in the user's preferred
// language, on a worker thread of the global pool. The operation stays
// executing until the worker is done, so a queue's concurrency limit counts
// the parse. A file that cannot be read, a malformed document or a cancel
// posts nothing.
class QBDatabaseParse : public QBOperation
{
    Q_OBJECT

public:
    // languages: the language preference list, best first, as the game
    // center builds it.
    QBDatabaseParse(const QString &databasePath, const QStringList &languages,
                    QObject *parent = nullptr);
    ~QBDatabaseParse() override;

    QString databasePath() const { return m_databasePath; }
    void cancel() override;

    // The largest database read: well above the real one, far below what
    // a small machine holds as a tree. A larger file, or one that is not a
    // regular file (a FIFO would block the read for good), cannot be loaded.
    static constexpr qint64 maximumFileSize = qint64(256) << 20;

    // The whole parse, on the calling thread. Empty when the file cannot be
    // loaded, or when cancelled is set after a child of the root. A game
    // without id text is skipped; a date whose attributes name no day, and
    // a control without a type, are left out of their game's record.
    static std::optional<QBDatabase> parse(const QString &path, const QStringList &languages,
                                           const std::atomic_bool *cancelled = nullptr);
    // One game element's record; empty when it has no id text.
    static std::optional<QVariantMap> dictionaryForGameNode(const pugi::xml_node &game,
                                                            const QStringList &languages);

signals:
    // The result, delivered on the operation's (main) thread.
    void databaseDidParse(const QBDatabase &database);

protected:
    void main() override;

private:
    QString m_databasePath;
    QStringList m_languages;
    // Shared with the worker, which may outlive the operation.
    std::shared_ptr<std::atomic_bool> m_cancelFlag;
};
