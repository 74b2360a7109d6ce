// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "qbtask.h"

#include <QPointer>
#include <QVariantMap>

class QBConversionBundle;

// One copy, conversion, extraction or addition of one game: wit copy, wwt
// extract or wwt add, run with progress output. Progress, status text and
// outcome are written into the conversion bundle.
class QBConversionTask : public QBTask
{
    Q_OBJECT

public:
    // Sets the bundle's terminationStatus to 0 and its task to this task.
    QBConversionTask(const QStringList &arguments, int launchPath, QBConversionBundle *bundle,
                     QObject *sender, QObject *parent = nullptr);
    // A tool still running is stopped, awaited and its leftovers removed.
    ~QBConversionTask() override;

    QBConversionBundle *conversionBundle() const { return m_bundle; }

    // Cancelled while waiting: status 2. Cancelled while running: status 3,
    // "Aborting ...", and the tool is sent a terminate and then an interrupt
    // signal (wit only stops at once on the second one; on the first alone it
    // would finish the current job). Once the tool has ended, what it left
    // of an unfinished output is removed: its temporary files and the
    // folder made for the game, when empty.
    void cancel() override;

    // The temporary files in folder that wit and wwt write an output named
    // name through (".NAME.XXXXXX.tmp", and ".1", ".2"... after it for the
    // parts of a split one); links and folders never count.
    static QStringList temporaryFiles(const QString &folder, const QString &name);

signals:
    // Only after a successful run: {"game", "filename" (the destination as
    // last reported by the tool), "task"}.
    void conversionDidFinish(const QVariantMap &userInfo);

protected:
    void processWillStart() override;
    bool shouldStartSectionWithHeader(const QString &header) override;
    void readKey(QStringView key, QStringView value, const QString &section) override;
    void endSection(const QString &section) override;
    void processDidStop() override;
    void processDidRaiseError() override;

private:
    void setBundleValue(const QString &key, const QVariant &value);
    void setStatus(int status);
    void toolDidEnd();
    QStringList ownTemporaryFiles() const;

    QPointer<QBConversionBundle> m_bundle;
    QVariantMap m_parsedInfos;
    // Temporary files already there when the tool started belong to
    // someone else.
    QStringList m_temporaryFilesBefore;
    QString m_requestedDestination;
    QString m_createdFolder;
};
