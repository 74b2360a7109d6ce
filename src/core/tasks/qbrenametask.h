// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

#include <QVariantMap>

// Renames one game's image file with wit move. The tool reports the name it
// actually gave the file, which is what the result carries.
class QBRenameTask : public QBTask
{
    Q_OBJECT

public:
    QBRenameTask(const QVariantMap &game, const QStringList &arguments, QObject *sender,
                 QObject *parent = nullptr);

    QVariantMap game() const { return m_game; }
    QString renamed() const { return m_renamed; }

signals:
    // {"game", "terminationStatus": int, and "destinationPath" when the tool
    // reported one}
    void renomationDidFinish(const QVariantMap &userInfo);

protected:
    bool shouldStartSectionWithHeader(const QString &header) override;
    void readKey(QStringView key, QStringView value, const QString &section) override;
    void processDidStop() override;

private:
    QString m_renamed;
    bool m_hasRenamed = false;
    QVariantMap m_game;
};
