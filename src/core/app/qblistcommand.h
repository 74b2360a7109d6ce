// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QVariant>

class QIODevice;

// The headless "--list" command: browses one source as a document would
// and writes each game record as one JSON object per line, then a last
// line with the run's terminationStatus and, for a partition, its space
// figures.
class QBListCommand : public QObject
{
    Q_OBJECT

public:
    explicit QBListCommand(QIODevice *output, QObject *parent = nullptr);

    // Starts listing a folder or image (partition false) or a WBFS
    // partition or container file; finished() follows.
    void start(const QString &path, bool partition);

    // One record as compact JSON. Single-precision numbers are written with
    // the fewest digits that read back as the same float, so a size of 4.7
    // prints as 4.7.
    static QByteArray jsonLine(const QVariantMap &record);

signals:
    // 0 when the tool reported no error, else 1.
    void finished(int exitCode);

private:
    QIODevice *m_output;
};
