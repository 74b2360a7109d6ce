// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

// Asks wit or wwt which version it is (the "version" command), so that the
// program can name the tool it runs. Never with the permission step: the
// command touches no device.
class QBVersionTask : public QBTask
{
    Q_OBJECT

public:
    // tool: "wit" or "wwt".
    explicit QBVersionTask(const QString &tool, QObject *parent = nullptr);

    // As the tool printed it, for example "3.01a"; empty until the end, and
    // after a run that printed none.
    QString version() const { return m_version; }
    // Kills the tool: a version that has not come by now will not.
    void cancel() override;

signals:
    // Once at the end of the output (never after a cancel).
    void versionDidFinish(const QString &version);

protected:
    bool shouldStartSectionWithHeader(const QString &header) override;
    void readKey(QStringView key, QStringView value, const QString &section) override;
    void processDidStop() override;

private:
    QString m_version;
};
