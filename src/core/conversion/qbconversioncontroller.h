// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tasks/qbconversionhandler.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

#include <memory>

class QBConversionBundle;
class QBConversionListModel;
class QBConversionTask;
class QBDesktopIntegration;
class QBOperationQueue;

// Runs every conversion of the program, one after another, in the order
// they were handed over. It lists their bundles, reserves their source and
// destination paths while they are queued, folds their percentages into
// one overall percentage (shown as a caption, a small bar image and a bar
// on the application icon), asks the user what to do after a tool error,
// offers cancelling one or all, and marks the end of a batch.
//
// Ownership: startConversionTasks() takes over the tasks and their
// bundles. The tasks belong to the queue, which deletes each one once it
// has finished; the bundles belong to the list, which deletes each one
// when its row goes. A bundle can leave the list while its task still
// waits to finish (a cancelled waiting conversion); the task holds its
// bundle weakly, and the end-of-conversion bookkeeping copes with a bundle
// that is gone.
class QBConversionController : public QObject, public QBConversionHandler
{
    Q_OBJECT
    Q_PROPERTY(bool conversionListNotEmpty READ isConversionListNotEmpty NOTIFY conversionListNotEmptyChanged)
    Q_PROPERTY(uint conversionProgress READ conversionProgress NOTIFY conversionProgressChanged)
    Q_PROPERTY(uint numberOfRunningConversions READ numberOfRunningConversions NOTIFY numberOfRunningConversionsChanged)
    Q_PROPERTY(bool formatWIA READ isFormatWIA WRITE setFormatWIA NOTIFY formatWIAChanged)
    Q_PROPERTY(QString caption READ caption NOTIFY captionChanged)
    Q_PROPERTY(bool converting READ isConverting NOTIFY convertingChanged)

public:
    // desktop receives notifications, the icon, the sleep inhibitor and the
    // sound; without one, the controller makes the freedesktop one. The new
    // controller becomes the shared one and the conversions' error handler.
    explicit QBConversionController(QBDesktopIntegration *desktop = nullptr, QObject *parent = nullptr);
    ~QBConversionController() override;

    // The controller made last; one is made (for the whole run) when there
    // is none yet.
    static QBConversionController *sharedController();

    QBConversionListModel *conversionList() const { return m_list; }
    QBOperationQueue *conversionQueue() const { return m_queue; }

    // Whether the queue holds any conversion, waiting or running.
    bool isConverting() const;
    // Exact string comparison, no normalisation of the path.
    bool sourcePathIsReserved(const QString &path) const;
    // Also true for any file or folder that exists at path.
    bool destinationPathIsReserved(const QString &path) const;
    QSet<QString> reservedSourcePaths() const { return m_reservedSourcePaths; }
    QSet<QString> reservedDestinationPaths() const { return m_reservedDestinationPaths; }

    // The title of the chosen output format.
    void setFormat(const QString &title);

    void startConversionTasks(const QList<QBConversionTask *> &tasks);

    void addFloatToConversionProgress(double difference);
    void updateConversionProgress();

    // Removes the rows of conversions that ended by themselves.
    void clearConversions();
    // The stop button of a row.
    void cancelConversion(int row);
    void cancelConversionAtIndex(int index);
    void cancelAllConversions();

    void handleConversionErrorForBundle(QBConversionBundle *bundle) override;

    bool isConversionListNotEmpty() const { return m_conversionListNotEmpty; }
    uint conversionProgress() const { return m_conversionProgress; }
    uint numberOfRunningConversions() const { return m_numberOfRunningConversions; }
    bool isFormatWIA() const { return m_formatWIA; }
    void setFormatWIA(bool wia);
    QString caption() const { return m_caption; }
    // The image last posted with progressDidChange (the idle image before).
    QImage progressImage() const;

signals:
    void progressDidChange(const QImage &progressImage);
    void conversionListNotEmptyChanged(bool notEmpty);
    void conversionProgressChanged(uint progress);
    void numberOfRunningConversionsChanged(uint count);
    void formatWIAChanged(bool wia);
    void captionChanged(const QString &caption);
    void convertingChanged(bool converting);

private:
    void askAboutConversionError(QBConversionBundle *bundle);
    void conversionDidFinish(const QPointer<QBConversionBundle> &bundle, const QObject *key);
    void bundlePercentChanged(const QVariant &oldValue, const QVariant &newValue);
    void updateConversionListNotEmpty();
    void setConversionProgress(uint progress);
    void setNumberOfRunningConversions(uint count);
    void setCaption(const QString &caption);
    void releasePaths(const QBConversionBundle *bundle);
    void announceEndOfBatch();

    std::unique_ptr<QBDesktopIntegration> m_ownDesktop;
    QBDesktopIntegration *m_desktop;
    QBOperationQueue *m_queue;
    QBConversionListModel *m_list;
    QSet<QString> m_reservedSourcePaths;
    QSet<QString> m_reservedDestinationPaths;
    // Whole percents summed over the conversions counted since the last
    // reset; lastProgress -1 makes the next update redraw.
    qint64 m_overallProgress = 0;
    qint64 m_lastProgress = -1;
    qint64 m_conversionsStartedAfterLastReset = 0;
    QHash<const QObject *, QMetaObject::Connection> m_percentObservers;
    int m_openErrorQuestions = 0;
    bool m_endOfBatchPending = false;

    bool m_conversionListNotEmpty = false;
    uint m_conversionProgress = 0;
    uint m_numberOfRunningConversions = 0;
    bool m_formatWIA = false;
    QString m_caption;
    QImage m_progressImage;
};
