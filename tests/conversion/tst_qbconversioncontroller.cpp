// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbconversionlistmodel.h"
#include "conversion/qbprogressdrawing.h"
#include "qbconversiontestutil.h"
#include "qbfaketool.h"
#include "qbrecordingdesktop.h"
#include "qbscriptedalerts.h"
#include "qbtestimages.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"
#include "tasks/qboperationqueue.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString errorMessage = QStringLiteral("An error has been detected while converting '%1' to '%2'.");
const QString allFinished = QStringLiteral("All conversions have finished.");

bool isBlue(QRgb pixel)
{
    return qBlue(pixel) > 200 && qRed(pixel) < 80 && qGreen(pixel) < 80;
}

QImage blank(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QBConversionTask *copy(const QString &source, const QString &destination)
{
    return conversion({u"copy"_qs, u"--source"_qs, source, u"--dest"_qs, destination, u"--overwrite"_qs,
                       u"--sections"_qs, u"--progress"_qs},
                      source, destination);
}

}

class tst_QBConversionController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void runsRealConversionsOneAtATime();
    void overallPercentage_data();
    void overallPercentage();
    void cancelsRunningAndWaitingRealConversions();
    void cancelAllSuspendsTheQueueAndKeepsRunningRows();
    void toolErrorAnswers_data();
    void toolErrorAnswers();
    void batchEndWaitsForTheErrorQuestion();
    void badInput_data();
    void badInput();
    void progressBars();
    void iconBarCoversTheOldOne();

private:
    QBConversionListModel *list() const { return m_controller->conversionList(); }
    QStringList column(int role) const;

    QTemporaryDir m_dir;
    QStringList m_images;
    QString m_bigTree;
    std::unique_ptr<QBRecordingDesktop> m_desktop;
    std::unique_ptr<QBScriptedAlerts> m_alerts;
    std::unique_ptr<QBConversionController> m_controller;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    QList<uint> m_progressSeen;
};

void tst_QBConversionController::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
    for (const QString &id : {u"RQAE01"_qs, u"RQBE01"_qs, u"RQCE01"_qs}) {
        const QString image = QBTestImages::makeWiiImage(m_dir.filePath(id + u".wdf"_qs), id, id);
        QVERIFY2(!image.isEmpty(), qPrintable(QBTestImages::lastError()));
        m_images << image;
    }
    // 400 MiB of data keeps wit busy for seconds, long enough to cancel.
    m_bigTree = m_dir.filePath(u"bigtree"_qs);
    QVERIFY(QBTestImages::makeWiiTree(m_bigTree, u"RQDE01"_qs, u"Big"_qs, 400LL * 1024 * 1024));
}

void tst_QBConversionController::init()
{
    QBSettings::setValue(SettingsKey::notifyWhenDone, true);
    m_desktop = std::make_unique<QBRecordingDesktop>();
    m_alerts = std::make_unique<QBScriptedAlerts>();
    m_controller = std::make_unique<QBConversionController>(m_desktop.get());
    m_tester = std::make_unique<QAbstractItemModelTester>(
            list(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_progressSeen.clear();
    connect(m_controller.get(), &QBConversionController::conversionProgressChanged, this,
            [this](uint progress) { m_progressSeen << progress; });
}

// No overall progress ever passes 100, whatever the tasks wrote.
void tst_QBConversionController::cleanup()
{
    for (const uint progress : std::as_const(m_progressSeen))
        QVERIFY(progress <= 100);
    m_tester.reset();
    m_controller.reset();
    m_alerts.reset();
    m_desktop.reset();
}

QStringList tst_QBConversionController::column(int role) const
{
    QStringList values;
    for (int row = 0; row < list()->rowCount(); ++row)
        values << list()->index(row).data(role).toString();
    return values;
}

void tst_QBConversionController::runsRealConversionsOneAtATime()
{
    QList<QBConversionTask *> tasks;
    QStringList destinations;
    for (int i = 0; i < m_images.size(); ++i) {
        destinations << m_dir.filePath(u"real/%1.wbfs"_qs.arg(i));
        tasks << copy(m_images.at(i), destinations.last());
    }
    QList<int> started;
    int mostAtOnce = 0;
    // The queue deletes each task once it has finished.
    const QList<QPointer<QBConversionTask>> guards(tasks.cbegin(), tasks.cend());
    for (int i = 0; i < tasks.size(); ++i) {
        connect(tasks.at(i), &QBOperation::executingChanged, this, [&, i](bool executing) {
            if (!executing)
                return;
            started << i;
            const auto now = std::count_if(guards.cbegin(), guards.cend(),
                                           [](const auto &task) { return task && task->isExecuting(); });
            mostAtOnce = qMax(mostAtOnce, int(now));
        });
    }
    // While the first runs and the others wait, the mean is at most a third.
    QStringList captionsWhileOthersWait;
    connect(m_controller.get(), &QBConversionController::captionChanged, this, [&](const QString &caption) {
        if (started.size() <= 1 && m_controller->numberOfRunningConversions() == 3)
            captionsWhileOthersWait << caption;
    });
    QSignalSpy images(m_controller.get(), &QBConversionController::progressDidChange);

    m_controller->startConversionTasks(tasks);
    QCOMPARE(m_controller->numberOfRunningConversions(), 3u);
    QVERIFY(m_controller->isConverting());
    QVERIFY(m_controller->isConversionListNotEmpty());
    QCOMPARE(column(QBConversionListModel::InfosRole), QStringList(3, u"Waiting ..."_qs));
    QCOMPARE(m_controller->caption(), u"Conversions (0%)"_qs);
    QCOMPARE(m_controller->reservedSourcePaths(), QSet<QString>(m_images.cbegin(), m_images.cend()));
    QCOMPARE(m_controller->reservedDestinationPaths(), QSet<QString>(destinations.cbegin(), destinations.cend()));
    QVERIFY(m_controller->sourcePathIsReserved(m_images.first()));
    QVERIFY(!m_controller->sourcePathIsReserved(m_images.first() + u'/'));
    QVERIFY(m_controller->destinationPathIsReserved(destinations.last()));
    QCOMPARE(m_desktop->inhibitorChanges, QList<bool>{true});

    QTRY_COMPARE_WITH_TIMEOUT(m_controller->numberOfRunningConversions(), 0u, 60000);
    QCOMPARE(started, (QList<int>{0, 1, 2}));
    QCOMPARE(mostAtOnce, 1);
    for (const QString &caption : std::as_const(captionsWhileOthersWait))
        QVERIFY2(caption.section(u'(', 1).section(u'%', 0, 0).toInt() <= 33, qPrintable(caption));
    QCOMPARE(column(QBConversionListModel::InfosRole), QStringList(3, u"Task completed."_qs));
    QCOMPARE(column(QBConversionListModel::PercentRole), QStringList(3, u"100"_qs));
    QCOMPARE(column(QBConversionListModel::HasTaskRole), QStringList(3, u"false"_qs));
    for (const QString &destination : std::as_const(destinations))
        QVERIFY(QFile::exists(destination));

    QVERIFY(m_controller->reservedSourcePaths().isEmpty());
    QVERIFY(m_controller->reservedDestinationPaths().isEmpty());
    // Not reserved by any conversion, but there: still not to be written.
    QVERIFY(m_controller->destinationPathIsReserved(destinations.first()));
    QVERIFY(!m_controller->destinationPathIsReserved(m_dir.filePath(u"real/none.wbfs"_qs)));
    QTRY_VERIFY(!m_controller->isConverting());
    QCOMPARE(m_controller->caption(), u"Conversions"_qs);
    QCOMPARE(images.last().first().value<QImage>(), QImage(u":/palomet/images/conversions.png"_qs));
    QVERIFY(m_desktop->icon.isNull());
    QVERIFY(!m_desktop->iconPercents.isEmpty());

    const QList<QPair<QString, QString>> notified{{u"Conversion  completed."_qs, u"0.wbfs"_qs},
                                                  {u"Conversion  completed."_qs, u"1.wbfs"_qs},
                                                  {u"Conversion  completed."_qs, u"2.wbfs"_qs}};
    QCOMPARE(m_desktop->notifications, notified);
    QCOMPARE(m_desktop->sounds, QStringList{u":/palomet/sounds/beep.wav"_qs});
    QCOMPARE(m_alerts->messages(), QStringList{allFinished});
    QCOMPARE(m_desktop->inhibitorChanges, (QList<bool>{true, false}));

    // Finished rows stay until cleared.
    m_controller->clearConversions();
    QCOMPARE(list()->rowCount(), 0);
    QVERIFY(!m_controller->isConversionListNotEmpty());
}

void tst_QBConversionController::overallPercentage_data()
{
    QTest::addColumn<QList<double>>("percents");
    QTest::addColumn<QStringList>("captions");

    QTest::newRow("0 to 42.5 to 100 adds 42, then 57")
            << QList<double>{42.5, 100.0}
            << QStringList{u"Conversions (0%)"_qs, u"Conversions (42%)"_qs, u"Conversions (99%)"_qs};
    QTest::newRow("each step drops its fraction")
            << QList<double>{0.9, 1.8, 2.7, 3.6} << QStringList{u"Conversions (0%)"_qs};
    QTest::newRow("outside 0 to 100 counts as the bound")
            << QList<double>{250.0, -5.0, 30.0}
            << QStringList{u"Conversions (0%)"_qs, u"Conversions (100%)"_qs, u"Conversions (0%)"_qs,
                           u"Conversions (30%)"_qs};
    QTest::newRow("not a number counts as 0")
            << QList<double>{20.0, qQNaN(), 20.0}
            << QStringList{u"Conversions (0%)"_qs, u"Conversions (20%)"_qs, u"Conversions (0%)"_qs,
                           u"Conversions (20%)"_qs};
}

void tst_QBConversionController::overallPercentage()
{
    QFETCH(QList<double>, percents);
    QFETCH(QStringList, captions);

    // Nothing runs: the percentages are written as a task would write them.
    m_controller->conversionQueue()->setSuspended(true);
    QBConversionTask *task = conversion({u"copy"_qs}, u"src"_qs, u"dst"_qs);
    QStringList seen;
    connect(m_controller.get(), &QBConversionController::captionChanged, this,
            [&seen](const QString &caption) { seen << caption; });
    m_controller->startConversionTasks({task});
    for (const double percent : percents)
        task->conversionBundle()->setValue(BundleKey::percent, percent);
    QCOMPARE(seen, captions);
}

void tst_QBConversionController::cancelsRunningAndWaitingRealConversions()
{
    const QString big = m_dir.filePath(u"cancel/Big.iso"_qs);
    const QString small = m_dir.filePath(u"cancel/Small.wbfs"_qs);
    QBConversionTask *running = copy(m_bigTree, big);
    m_controller->startConversionTasks({running, copy(m_images.first(), small)});
    QTRY_VERIFY_WITH_TIMEOUT(running->conversionBundle()->percent() > 0, 20000);

    m_controller->cancelConversion(1);
    QCOMPARE(list()->rowCount(), 1);
    QVERIFY(!m_controller->sourcePathIsReserved(m_images.first()));
    QVERIFY(!m_controller->destinationPathIsReserved(small));
    QTRY_COMPARE(m_controller->numberOfRunningConversions(), 1u);

    QBConversionBundle *bundle = running->conversionBundle();
    m_controller->cancelConversion(0);
    // The row stays until the tool has exited, and so do its paths.
    QCOMPARE(list()->rowCount(), 1);
    QCOMPARE(bundle->value(BundleKey::infos).toString(), u"Aborting ..."_qs);
    QVERIFY(m_controller->sourcePathIsReserved(m_bigTree));
    m_controller->cancelConversion(0);
    m_controller->clearConversions();
    QCOMPARE(list()->rowCount(), 1);
    QCOMPARE(m_controller->numberOfRunningConversions(), 1u);

    QTRY_COMPARE_WITH_TIMEOUT(m_controller->numberOfRunningConversions(), 0u, 10000);
    QCOMPARE(list()->rowCount(), 0);
    QVERIFY(m_controller->reservedSourcePaths().isEmpty());
    QVERIFY(m_controller->reservedDestinationPaths().isEmpty());
    QCOMPARE(m_controller->caption(), u"Conversions"_qs);
    // Nothing of the cancelled output stays, not even the folder made for it.
    QVERIFY(!QFileInfo::exists(m_dir.filePath(u"cancel"_qs)));
    QVERIFY(m_desktop->notifications.isEmpty());
    QCOMPARE(m_desktop->sounds.size(), 1);
    QCOMPARE(m_alerts->messages(), QStringList{allFinished});
}

void tst_QBConversionController::cancelAllSuspendsTheQueueAndKeepsRunningRows()
{
    QBFakeTool tool;
    tool.setScript(progressSection(u"30"_qs) + u"hang\n"_qs);
    QList<QBConversionTask *> tasks;
    for (int i = 0; i < 3; ++i)
        tasks << conversion({u"copy"_qs}, u"src%1"_qs.arg(i), u"dst%1"_qs.arg(i));
    m_controller->startConversionTasks(tasks);
    QTRY_COMPARE(m_controller->caption(), u"Conversions (10%)"_qs);

    m_controller->cancelAllConversions();
    // The running one stays, cancelled, until its tool has gone; no waiting
    // one starts meanwhile.
    QCOMPARE(list()->rowCount(), 1);
    QCOMPARE(list()->index(0).data(QBConversionListModel::HasTaskRole).toBool(), true);
    QCOMPARE(list()->index(0).data(QBConversionListModel::TerminationStatusRole).toInt(), 3);
    m_controller->clearConversions();
    QCOMPARE(list()->rowCount(), 1);

    QTRY_COMPARE(m_controller->numberOfRunningConversions(), 0u);
    QCOMPARE(list()->rowCount(), 0);
    QVERIFY(m_controller->reservedSourcePaths().isEmpty());
    QVERIFY(m_controller->reservedDestinationPaths().isEmpty());
    QCOMPARE(tool.invocations().size(), 1);
    QCOMPARE(m_controller->caption(), u"Conversions"_qs);
}

void tst_QBConversionController::toolErrorAnswers_data()
{
    QTest::addColumn<QList<int>>("answers");
    QTest::addColumn<int>("errorAlerts");
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QStringList>("notified");

    const QString failed = u"Error! Please try again."_qs;
    const QString error = u"An error occurred."_qs;
    QTest::newRow("Continue") << QList<int>{QBAlertAnswer::Default, QBAlertAnswer::Default} << 2
                              << QStringList{failed, failed} << QStringList{error, error};
    QTest::newRow("Abort") << QList<int>{QBAlertAnswer::Other, QBAlertAnswer::Default} << 2
                           << QStringList{failed} << QStringList{error};
    QTest::newRow("Abort all") << QList<int>{QBAlertAnswer::Alternate} << 1 << QStringList()
                               << QStringList();
}

void tst_QBConversionController::toolErrorAnswers()
{
    QFETCH(QList<int>, answers);
    QFETCH(int, errorAlerts);
    QFETCH(QStringList, rows);
    QFETCH(QStringList, notified);

    // The error comes in the middle of the run; the tool goes on after it.
    QBFakeTool tool;
    tool.setScript(progressSection(u"10"_qs) + u"out [error]\\ncode=54\\n\\n\npause 200\n"_qs + progressSection(u"60"_qs)
                   + u"pause 1500\n"_qs);
    QBConversionTask *first = conversion({u"copy"_qs}, u"srcA"_qs, u"dstA"_qs);
    QBConversionTask *second = conversion({u"copy"_qs}, u"srcB"_qs, u"dstB"_qs);
    QList<QPointer<QBConversionBundle>> bundles{first->conversionBundle(), second->conversionBundle()};
    m_alerts->answers = answers;
    int asked = 0;
    m_alerts->onAlert = [&](const QBAlert &alert) {
        if (alert.message == allFinished)
            return;
        QBConversionBundle *bundle = bundles.at(asked++);
        QCOMPARE(alert.message, errorMessage.arg(bundle->sourcePath(), bundle->destinationPath()));
        QCOMPARE(alert.informativeText,
                 u"Please make sure that the source file is not corrupted and that the destination drive "
                 "has enough free space."_qs);
        QCOMPARE(bundle->terminationStatus(), 1);
        // The tool runs on behind the question and its row keeps moving.
        QTRY_COMPARE(bundle->percent(), 60.0);
        QVERIFY(bundle->task() && bundle->task()->isExecuting());
    };
    m_controller->startConversionTasks({first, second});
    QTRY_COMPARE_WITH_TIMEOUT(m_controller->numberOfRunningConversions(), 0u, 15000);

    QCOMPARE(asked, errorAlerts);
    QCOMPARE(m_alerts->messages().last(), allFinished);
    QCOMPARE(column(QBConversionListModel::InfosRole), rows);
    QStringList titles;
    for (const auto &notification : std::as_const(m_desktop->notifications))
        titles << notification.first;
    QCOMPARE(titles, notified);
    QVERIFY(m_controller->reservedSourcePaths().isEmpty());
    QVERIFY(m_controller->reservedDestinationPaths().isEmpty());
    QCOMPARE(m_controller->caption(), u"Conversions"_qs);
}

void tst_QBConversionController::batchEndWaitsForTheErrorQuestion()
{
    QBFakeTool tool;
    tool.setScript(progressSection(u"10"_qs) + u"out [error]\\ncode=54\\n\\n\n"_qs);
    bool questionOpen = false;
    bool announcedOverTheQuestion = false;
    m_alerts->onAlert = [&](const QBAlert &alert) {
        if (alert.message == allFinished) {
            announcedOverTheQuestion = questionOpen;
            return;
        }
        // The tool ends, and with it the batch, while the user still reads.
        questionOpen = true;
        QTRY_COMPARE(m_controller->numberOfRunningConversions(), 0u);
        QVERIFY(m_desktop->sounds.isEmpty());
        questionOpen = false;
    };
    // "Abort" for a conversion that has ended: its row goes, and the list
    // knows it is empty.
    m_alerts->answers = {QBAlertAnswer::Other};
    m_controller->startConversionTasks({conversion({u"copy"_qs}, u"src"_qs, u"dst"_qs)});
    QTRY_COMPARE(m_alerts->messages().size(), 2);
    QCOMPARE(m_alerts->messages().last(), allFinished);
    QVERIFY(!announcedOverTheQuestion);
    QCOMPARE(m_desktop->sounds.size(), 1);
    QCOMPARE(list()->rowCount(), 0);
    QVERIFY(!m_controller->isConversionListNotEmpty());
}

void tst_QBConversionController::badInput_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QStringList>("stillReserved");

    QTest::newRow("progress that is not a number")
            << progressSection(u"abc"_qs) + u"pause 100\n"_qs << u"dst"_qs << QStringList();
    QTest::newRow("percent outside 0 to 100")
            << progressSection(u"250"_qs) + progressSection(u"-40"_qs) + progressSection(u"1e400"_qs) << u"dst"_qs << QStringList();
    // The name asked for stays reserved: nothing is ever written over it.
    QTest::newRow("destination renamed by the tool")
            << u"out [COPY]\\ndest-path=renamed.wbfs\\n\\n\n"_qs + progressSection(u"50"_qs) << u"renamed.wbfs"_qs
            << QStringList{u"dst"_qs};
    QTest::newRow("no output at all") << u"exit 3\n"_qs << u"dst"_qs << QStringList();
}

void tst_QBConversionController::badInput()
{
    QFETCH(QString, script);
    QFETCH(QString, destination);
    QFETCH(QStringList, stillReserved);

    QBFakeTool tool;
    tool.setScript(script);
    QBConversionTask *task = conversion({u"copy"_qs}, u"src"_qs, u"dst"_qs);
    QPointer<QBConversionBundle> bundle = task->conversionBundle();
    m_controller->startConversionTasks({task});
    QTRY_COMPARE(m_controller->numberOfRunningConversions(), 0u);

    QCOMPARE(list()->rowCount(), 1);
    QCOMPARE(column(QBConversionListModel::InfosRole), QStringList{u"Task completed."_qs});
    QCOMPARE(bundle->destinationPath(), destination);
    QVERIFY(m_controller->reservedSourcePaths().isEmpty());
    QCOMPARE(m_controller->reservedDestinationPaths(), QSet<QString>(stillReserved.cbegin(), stillReserved.cend()));
    QCOMPARE(m_desktop->notifications.size(), 1);
    QCOMPARE(m_desktop->notifications.first().second, destination);
    QCOMPARE(m_controller->caption(), u"Conversions"_qs);
    for (const int percent : std::as_const(m_desktop->iconPercents))
        QVERIFY(percent >= 0 && percent <= 100);
}

// Each bar is drawn: blue up to its share, then the track.
void tst_QBConversionController::progressBars()
{
    QCOMPARE(QBProgressDrawing::barWidth(99, 128), 126);
    const QImage little = QBProgressDrawing::progressImage(blank(128, 32), 50);
    QVERIFY(isBlue(little.pixel(0, 32 - 3)) && isBlue(little.pixel(63, 32 - 3)));
    QCOMPARE(qGray(little.pixel(64, 32 - 3)), 128);
    const QImage icon = QBProgressDrawing::iconBar(blank(128, 128), 50);
    QVERIFY(isBlue(icon.pixel(3, 128 - 40)) && isBlue(icon.pixel(63, 128 - 40)));
    QVERIFY(qRed(icon.pixel(64, 128 - 40)) > 150);
}

void tst_QBConversionController::iconBarCoversTheOldOne()
{
    QImage icon(128, 128, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::darkGreen);
    // Away from the rounded ends, whose soft edges blend with what was
    // there, nothing of the 90 shows under the 30.
    const QRect inside(10, 128 - 47, 108, 14);
    const QImage fresh = QBProgressDrawing::iconBar(icon, 30).copy(inside);
    const QImage over = QBProgressDrawing::iconBar(QBProgressDrawing::iconBar(icon, 90), 30).copy(inside);
    QCOMPARE(over, fresh);
}

QTEST_GUILESS_MAIN(tst_QBConversionController)
#include "tst_qbconversioncontroller.moc"
