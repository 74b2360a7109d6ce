// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

#include <QVariantList>
#include <QVariantMap>

// Looks for WBFS partitions on the machine's drives (wwt find) and delivers
// them as one list at the end.
class QBScanningTask : public QBTask
{
    Q_OBJECT

public:
    explicit QBScanningTask(QObject *parent = nullptr);

    QVariantList partitionList() const { return m_partitionList; }

signals:
    // {"partitionList": list}, possibly empty, once at the end of the output
    // (never after a cancel). Each entry holds what the tool printed of
    // path, size (whole gigabytes, as an integer), free_mib and total_mib.
    void scanningDidFinish(const QVariantMap &userInfo);

protected:
    bool shouldStartSectionWithHeader(const QString &header) override;
    void readKey(QStringView key, QStringView value, const QString &section) override;
    void endSection(const QString &section) override;
    void processDidStop() override;

private:
    QVariantList m_partitionList;
    QVariantMap m_parsedInfos;
};
