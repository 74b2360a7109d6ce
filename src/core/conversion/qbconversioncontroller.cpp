// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbconversioncontroller.h"

#include "base/qbalertpresenter.h"
#include "base/qbkeys.h"
#include "base/qblogging.h"
#include "base/qbsettings.h"
#include "qbconversionlistmodel.h"
#include "qbfreedesktopintegration.h"
#include "qbprogressdrawing.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"
#include "tasks/qboperationqueue.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

QPointer<QBConversionController> sharedInstance;

const QString idleImage = QStringLiteral(":/palomet/images/conversions.png");
const QString littleImage = QStringLiteral(":/palomet/images/conversionslittle.png");
const QString beepSound = QStringLiteral(":/palomet/sounds/beep.wav");

// A conversion counts between 0 and 100 whatever its tool printed, so that
// one odd progress line cannot push the mean out of range for the rest of
// the batch.
double countedPercent(const QVariant &value)
{
    const double percent = value.toDouble();
    return std::isfinite(percent) ? qBound(0.0, percent, 100.0) : 0.0;
}

}

QBConversionController::QBConversionController(QBDesktopIntegration *desktop, QObject *parent)
    : QObject(parent)
    , m_desktop(desktop)
    , m_queue(new QBOperationQueue(1, this))
    , m_list(new QBConversionListModel(this))
    , m_caption(QStringLiteral("Conversions"))
{
    if (!m_desktop) {
        m_ownDesktop = std::make_unique<QBFreedesktopIntegration>();
        m_desktop = m_ownDesktop.get();
    }
    sharedInstance = this;
    QBConversionHandler::setShared(this);
    setFormatWIA(QBSettings::conversionFormat() == QLatin1String("wia"));
    connect(m_queue, &QBOperationQueue::operationCountChanged, this, [this] {
        emit convertingChanged(isConverting());
    });
}

QBConversionController::~QBConversionController()
{
    if (m_numberOfRunningConversions > 0)
        m_desktop->setSleepInhibited(false);
    // The tasks die with the queue; none of their last signals may reach a
    // controller that is half destroyed.
    for (QBOperation *operation : m_queue->operations())
        operation->disconnect(this);
}

QBConversionController *QBConversionController::sharedController()
{
    if (!sharedInstance)
        new QBConversionController(nullptr, QCoreApplication::instance());
    return sharedInstance;
}

bool QBConversionController::isConverting() const
{
    return m_queue->operationCount() > 0;
}

bool QBConversionController::sourcePathIsReserved(const QString &path) const
{
    return m_reservedSourcePaths.contains(path);
}

bool QBConversionController::destinationPathIsReserved(const QString &path) const
{
    if (m_reservedDestinationPaths.contains(path))
        return true;
    const QFileInfo info(path);
    return !path.isEmpty() && (info.exists() || info.isSymLink());
}

void QBConversionController::setFormat(const QString &title)
{
    setFormatWIA(title == QLatin1String("wia"));
}

void QBConversionController::startConversionTasks(const QList<QBConversionTask *> &tasks)
{
    for (QBConversionTask *task : tasks) {
        if (!task || task->isFinished())
            continue;
        QBConversionBundle *bundle = task->conversionBundle();
        if (!bundle) {
            qCWarning(lcConversion) << "A conversion without a bundle was not queued";
            task->deleteLater();
            continue;
        }
        m_percentObservers.insert(bundle, connect(bundle, &QBConversionBundle::valueChanged, this,
                [this](const QString &key, const QVariant &oldValue, const QVariant &newValue) {
                    if (key == BundleKey::percent)
                        bundlePercentChanged(oldValue, newValue);
                }));
        // Queued: the end is handled after the queue has let the task go, so
        // an alert shown here never holds up the next conversion.
        connect(task, &QBOperation::finished, this,
                [this, guard = QPointer<QBConversionBundle>(bundle), key = static_cast<const QObject *>(bundle)] {
                    conversionDidFinish(guard, key);
                },
                Qt::QueuedConnection);

        ++m_conversionsStartedAfterLastReset;
        m_lastProgress = -1;
        updateConversionProgress();

        m_list->append(bundle);
        updateConversionListNotEmpty();

        m_reservedSourcePaths.insert(bundle->sourcePath());
        m_reservedDestinationPaths.insert(bundle->destinationPath());

        setNumberOfRunningConversions(m_numberOfRunningConversions + 1);

        // The queue owns what has no parent and deletes it when finished.
        task->setParent(nullptr);
        m_queue->addOperation(task);
    }
}

void QBConversionController::bundlePercentChanged(const QVariant &oldValue, const QVariant &newValue)
{
    addFloatToConversionProgress(countedPercent(newValue) - countedPercent(oldValue));
}

void QBConversionController::addFloatToConversionProgress(double difference)
{
    // Each step's fraction is dropped: 0 to 42.5 to 100 adds 42, then 57.
    m_overallProgress = qint64(std::trunc(double(m_overallProgress) + difference));
    updateConversionProgress();
}

void QBConversionController::updateConversionProgress()
{
    if (m_conversionsStartedAfterLastReset == 0) {
        setCaption(QStringLiteral("Conversions"));
        m_progressImage = QImage(idleImage);
        emit progressDidChange(m_progressImage);
        m_desktop->restoreApplicationIcon();
        return;
    }
    const qint64 progress = m_overallProgress / m_conversionsStartedAfterLastReset;
    if (progress == m_lastProgress)
        return;
    m_lastProgress = progress;
    const int shown = int(std::clamp<qint64>(progress, 0, 100));
    setConversionProgress(uint(shown));
    setCaption(QStringLiteral("Conversions (%1%)").arg(shown));

    m_progressImage = QBProgressDrawing::progressImage(QImage(littleImage), shown);
    emit progressDidChange(m_progressImage);

    const QImage icon = QBProgressDrawing::iconBar(m_desktop->applicationIconImage(), shown);
    if (!icon.isNull())
        m_desktop->setApplicationIconImage(icon, shown);
}

void QBConversionController::conversionDidFinish(const QPointer<QBConversionBundle> &bundle,
                                                 const QObject *key)
{
    setNumberOfRunningConversions(m_numberOfRunningConversions - 1);
    disconnect(m_percentObservers.take(key));

    const bool notify = QBSettings::notifyWhenDone();
    // A conversion cancelled while waiting may already have left the list,
    // and its bundle with it; its paths were released then.
    if (bundle) {
        releasePaths(bundle);
        const int status = bundle->terminationStatus();
        if (notify && status < QBTask::CancelledBeforeRun) {
            m_desktop->deliverNotification(status == QBTask::ToolError
                                                   ? QStringLiteral("An error occurred.")
                                                   : QStringLiteral("Conversion  completed."),
                                           QFileInfo(bundle->destinationPath()).fileName());
        }
        if (status == QBTask::CancelledWhileRunning) {
            // An aborted conversion leaves no trace in the list or the mean.
            const double percent = countedPercent(bundle->value(BundleKey::percent));
            m_list->removeAt(m_list->indexOf(bundle));
            updateConversionListNotEmpty();
            m_conversionsStartedAfterLastReset = qMax<qint64>(0, m_conversionsStartedAfterLastReset - 1);
            m_overallProgress = qint64(std::trunc(double(m_overallProgress) - percent));
            m_lastProgress = -1;
            updateConversionProgress();
        }
    }

    if (m_numberOfRunningConversions == 0) {
        m_overallProgress = 0;
        m_conversionsStartedAfterLastReset = 0;
        m_lastProgress = -1;
        updateConversionProgress();
        if (notify) {
            // Not over an open error question: the batch may end while the
            // user is still asked what to do about its last error.
            if (m_openErrorQuestions > 0)
                m_endOfBatchPending = true;
            else
                announceEndOfBatch();
        } else {
            m_endOfBatchPending = false;
        }
    }
}

void QBConversionController::announceEndOfBatch()
{
    m_endOfBatchPending = false;
    m_desktop->playSound(beepSound);
    QBAlert alert;
    alert.message = QStringLiteral("All conversions have finished.");
    QBAlertPresenter::run(alert);
}

void QBConversionController::releasePaths(const QBConversionBundle *bundle)
{
    // The destination as it is now: when the tool renamed its output, the
    // name asked for stays reserved, which errs on the side of never
    // overwriting anything.
    m_reservedSourcePaths.remove(bundle->sourcePath());
    m_reservedDestinationPaths.remove(bundle->destinationPath());
}

void QBConversionController::clearConversions()
{
    for (int row = m_list->count() - 1; row >= 0; --row) {
        if (!m_list->bundleAt(row)->contains(BundleKey::task))
            m_list->removeAt(row);
    }
    updateConversionListNotEmpty();
}

void QBConversionController::cancelConversion(int row)
{
    const QBConversionBundle *bundle = m_list->bundleAt(row);
    if (!bundle)
        return;
    if (const QBConversionTask *task = bundle->task(); task && task->isCancelled())
        return;
    cancelConversionAtIndex(row);
    updateConversionListNotEmpty();
}

void QBConversionController::cancelConversionAtIndex(int index)
{
    QBConversionBundle *bundle = m_list->bundleAt(index);
    if (!bundle)
        return;
    QBConversionTask *task = bundle->task();
    if (!task) {
        m_list->removeAt(index);
        return;
    }
    if (task->isCancelled() || task->isFinished())
        return;
    if (!task->isExecuting()) {
        // Waiting: it goes now; it only ends the running count once the
        // queue has let it finish.
        m_list->removeAt(index);
        releasePaths(bundle);
        m_conversionsStartedAfterLastReset = qMax<qint64>(0, m_conversionsStartedAfterLastReset - 1);
        m_lastProgress = -1;
        updateConversionProgress();
    }
    task->cancel();
}

void QBConversionController::cancelAllConversions()
{
    // No next conversion may start between two cancels.
    m_queue->setSuspended(true);
    const QList<QBOperation *> operations = m_queue->operations();
    for (QBOperation *operation : operations) {
        auto *task = qobject_cast<QBConversionTask *>(operation);
        const int index = task ? m_list->indexOf(task->conversionBundle()) : -1;
        if (index >= 0)
            cancelConversionAtIndex(index);
        else
            operation->cancel();
    }
    m_queue->setSuspended(false);
    updateConversionListNotEmpty();
}

void QBConversionController::handleConversionErrorForBundle(QBConversionBundle *bundle)
{
    // Asked from the event loop, not from inside the reader that reports
    // the error: the reader then goes on with the tool's output while the
    // question is open, and the row keeps moving behind it.
    QTimer::singleShot(0, this, [this, guard = QPointer<QBConversionBundle>(bundle)] {
        if (guard)
            askAboutConversionError(guard);
    });
}

void QBConversionController::askAboutConversionError(QBConversionBundle *bundle)
{
    const QPointer<QBConversionBundle> guard(bundle);
    QBAlert alert;
    alert.message = QStringLiteral("An error has been detected while converting '%1' to '%2'.")
                            .arg(bundle->sourcePath(), bundle->destinationPath());
    alert.informativeText = QStringLiteral("Please make sure that the source file is not corrupted "
                                           "and that the destination drive has enough free space.");
    alert.defaultButton = QStringLiteral("Continue");
    alert.alternateButton = QStringLiteral("Abort all");
    alert.otherButton = QStringLiteral("Abort");
    ++m_openErrorQuestions;
    const int answer = QBAlertPresenter::run(alert);
    --m_openErrorQuestions;
    switch (answer) {
    case QBAlertAnswer::Alternate:
        cancelAllConversions();
        break;
    case QBAlertAnswer::Other:
        // The conversion may have ended while the question was open; its
        // row then simply goes, as a finished row's stop button does.
        if (guard) {
            cancelConversionAtIndex(m_list->indexOf(guard));
            updateConversionListNotEmpty();
        }
        break;
    default:
        break;
    }
    if (m_openErrorQuestions == 0 && m_endOfBatchPending && m_numberOfRunningConversions == 0)
        announceEndOfBatch();
}

void QBConversionController::updateConversionListNotEmpty()
{
    const bool notEmpty = m_list->count() > 0;
    if (notEmpty == m_conversionListNotEmpty)
        return;
    m_conversionListNotEmpty = notEmpty;
    emit conversionListNotEmptyChanged(notEmpty);
}

void QBConversionController::setConversionProgress(uint progress)
{
    if (progress == m_conversionProgress)
        return;
    m_conversionProgress = progress;
    emit conversionProgressChanged(progress);
}

void QBConversionController::setNumberOfRunningConversions(uint count)
{
    if (count == m_numberOfRunningConversions)
        return;
    const bool wasRunning = m_numberOfRunningConversions > 0;
    m_numberOfRunningConversions = count;
    // A long batch must not be cut short by the machine going to sleep.
    if (wasRunning != (count > 0))
        m_desktop->setSleepInhibited(count > 0);
    emit numberOfRunningConversionsChanged(count);
}

void QBConversionController::setFormatWIA(bool wia)
{
    if (wia == m_formatWIA)
        return;
    m_formatWIA = wia;
    emit formatWIAChanged(wia);
}

void QBConversionController::setCaption(const QString &caption)
{
    if (caption == m_caption)
        return;
    m_caption = caption;
    emit captionChanged(caption);
}

QImage QBConversionController::progressImage() const
{
    return m_progressImage.isNull() ? QImage(idleImage) : m_progressImage;
}
