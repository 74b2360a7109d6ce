// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "qbfaketool.h"
#include "qbtasktestutil.h"
#include "qbtestimages.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversionhandler.h"
#include "tasks/qbconversiontask.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Stands in for the conversion queue: records which bundles reported an
// error and can answer the way the user would.
class RecordingHandler : public QBConversionHandler
{
public:
    QList<QPointer<QBConversionBundle>> bundles;
    std::function<void(QBConversionBundle *)> answer;

    void handleConversionErrorForBundle(QBConversionBundle *bundle) override
    {
        bundles << bundle;
        if (answer)
            answer(bundle);
    }
};

QVariantMap waitingBundle(const QString &source, const QString &destination)
{
    return {{BundleKey::game, QVariantMap{{GameKey::id, u"RQAE01"_qs}}},
            {BundleKey::sourcePath, source},
            {BundleKey::destinationPath, destination},
            {BundleKey::display, u"Convert"_qs},
            {BundleKey::percent, 0.0},
            {BundleKey::isWaiting, true},
            {BundleKey::infos, u"Waiting ..."_qs}};
}

QStringList copyArguments(const QString &source, const QString &destination)
{
    return {u"copy"_qs, u"--source"_qs, source, u"--dest"_qs, destination, u"--overwrite"_qs,
            u"--sections"_qs, u"--progress"_qs};
}

// One conversion run from start to end, with everything it reported.
struct Run
{
    QBConversionBundle bundle;
    QBConversionTask task;
    QStringList infos;
    QList<QVariantMap> successes;

    Run(const QStringList &arguments, int launchPath, const QVariantMap &values)
        : bundle(values)
        , task(arguments, launchPath, &bundle, nullptr)
    {
        QObject::connect(&bundle, &QBConversionBundle::valueChanged, &bundle,
                         [this](const QString &key, const QVariant &, const QVariant &value) {
                             if (key == BundleKey::infos)
                                 infos << value.toString();
                         });
        QObject::connect(&task, &QBConversionTask::conversionDidFinish, &task,
                         [this](const QVariantMap &info) { successes << info; });
    }

    bool run(int timeoutMs = 60000)
    {
        QSignalSpy finished(&task, &QBOperation::finished);
        task.start();
        return task.isFinished() || finished.wait(timeoutMs);
    }
};

QString listedId(const QString &path, int launchPath)
{
    const Listing listing = browse(launchPath ? QBBrowsingTask::partitionArguments(path)
                                              : QBBrowsingTask::folderArguments(path, false),
                                   launchPath);
    return listing.ids().join(u',');
}

}

class tst_QBConversionTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void copiesIntoFolderThatDoesNotExist();
    void copyIntoFolderTakesTheToolsName();
    void sameSourceAndDestinationWithRemove();
    void addsToWbfsFile();
    void toolErrorAsksHandlerOnce();
    void abortFromErrorAnswerStopsTheRun();
    void progressSections_data();
    void progressSections();
    void cancelWhileWaiting();
    void cancelWhileRunningStopsRealTool();

private:
    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
    RecordingHandler m_handler;
};

void tst_QBConversionTask::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
}

void tst_QBConversionTask::init()
{
    m_handler.bundles.clear();
    m_handler.answer = nullptr;
    QBConversionHandler::setShared(&m_handler);
}

void tst_QBConversionTask::cleanup()
{
    QBConversionHandler::setShared(nullptr);
}

void tst_QBConversionTask::copiesIntoFolderThatDoesNotExist()
{
    const QString source = m_library.path(u"Alpha Quest [RQAE01].wbfs"_qs);
    const QString destination = m_dir.filePath(u"new/deeper/Alpha.wbfs"_qs);
    Run run(copyArguments(source, destination), 0, waitingBundle(source, destination));
    QVERIFY(run.run());

    QCOMPARE(run.task.terminationStatus(), 0);
    QCOMPARE(run.infos.first(), u"Conversion started."_qs);
    QCOMPARE(run.infos.last(), u"Task completed."_qs);
    QCOMPARE(run.bundle.value(BundleKey::isWaiting).toBool(), false);
    QCOMPARE(run.bundle.percent(), 100.0);
    QVERIFY(!run.bundle.contains(BundleKey::task));
    QCOMPARE(run.bundle.terminationStatus(), 0);
    QCOMPARE(run.successes.size(), 1);
    QCOMPARE(run.successes.first().value(UserInfoKey::filename).toString(), destination);
    QCOMPARE(run.successes.first().value(UserInfoKey::game).toMap().value(GameKey::id).toString(), u"RQAE01"_qs);
    QCOMPARE(run.successes.first().value(UserInfoKey::task).value<QObject *>(), &run.task);
    QCOMPARE(listedId(destination, 0), u"RQAE01"_qs);
    QVERIFY(m_handler.bundles.isEmpty());
}

void tst_QBConversionTask::copyIntoFolderTakesTheToolsName()
{
    // Given a folder, wit names the file itself and says so in "dest-path".
    const QString source = m_library.path(u"Golf [GQGE01].iso"_qs);
    const QString folder = m_dir.filePath(u"named"_qs);
    QVERIFY(QDir().mkpath(folder));
    Run run(copyArguments(source, folder), 0, waitingBundle(source, folder));
    QVERIFY(run.run());
    QCOMPARE(run.task.terminationStatus(), 0);
    const QString reported = run.bundle.destinationPath();
    QVERIFY2(reported.startsWith(folder + u'/') && reported.endsWith(u".iso"_qs), qPrintable(reported));
    QVERIFY(QFile::exists(reported));
    QCOMPARE(run.successes.first().value(UserInfoKey::filename).toString(), reported);
}

void tst_QBConversionTask::sameSourceAndDestinationWithRemove()
{
    const QString image = m_dir.filePath(u"same/Delta.ciso"_qs);
    QVERIFY(QDir().mkpath(m_dir.filePath(u"same"_qs)));
    QVERIFY(QFile::copy(m_library.path(u"Delta [RQDK01].ciso"_qs), image));
    Run run(copyArguments(image, image) << u"--remove"_qs, 0, waitingBundle(image, image));
    QVERIFY(run.run());
    QCOMPARE(run.task.terminationStatus(), 0);
    QCOMPARE(listedId(image, 0), u"RQDK01"_qs);
}

void tst_QBConversionTask::addsToWbfsFile()
{
    const QString part = m_dir.filePath(u"add.wbfs"_qs);
    QVERIFY2(!QBTestImages::makeWbfsFile(part, {}).isEmpty(), qPrintable(QBTestImages::lastError()));
    const QString source = m_library.path(u"Charlie [RQCJ01].wia"_qs);
    // An addition writes into the partition: no folder is made for it, even
    // when the destination names one that does not exist.
    const QString destination = m_dir.filePath(u"not-made/RQCJ01"_qs);
    Run run({u"add"_qs, u"--source"_qs, source, u"--part"_qs, part, u"--update"_qs, u"--sections"_qs,
             u"--progress"_qs},
            1, waitingBundle(source, destination));
    QVERIFY(run.run());
    QCOMPARE(run.task.terminationStatus(), 0);
    QCOMPARE(run.successes.size(), 1);
    QVERIFY(!QFile::exists(m_dir.filePath(u"not-made"_qs)));
    QCOMPARE(listedId(part, 1), u"RQCJ01"_qs);
}

void tst_QBConversionTask::toolErrorAsksHandlerOnce()
{
    const QString corrupt = m_dir.filePath(u"corrupt.iso"_qs);
    QFile file(corrupt);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(100000, 'x'));
    file.close();
    const QString destination = m_dir.filePath(u"error/out.wbfs"_qs);
    Run run(copyArguments(corrupt, destination), 0, waitingBundle(corrupt, destination));
    int statusWhenAsked = -1;
    m_handler.answer = [&](QBConversionBundle *bundle) { statusWhenAsked = bundle->terminationStatus(); };
    QVERIFY(run.run());
    QCOMPARE(m_handler.bundles.size(), 1);
    QCOMPARE(m_handler.bundles.first().data(), &run.bundle);
    QCOMPARE(statusWhenAsked, 1);
    QCOMPARE(run.task.terminationStatus(), 1);
    QCOMPARE(run.bundle.terminationStatus(), 1);
    QCOMPARE(run.infos.last(), u"Error! Please try again."_qs);
    QCOMPARE(run.bundle.percent(), 100.0);
    QVERIFY(!run.bundle.contains(BundleKey::task));
    QVERIFY(run.successes.isEmpty());
}

void tst_QBConversionTask::abortFromErrorAnswerStopsTheRun()
{
    QBFakeTool tool;
    tool.setScript(u"out [progress]\\npercent=10\\nmib-per-sec=1\\neta-text=1:00\\n\\n\n"
                   "out [error]\\ncode=54\\n\\n\n"
                   "pause 100\n"
                   "out [progress]\\npercent=90\\nmib-per-sec=1\\neta-text=0:01\\n\\n\n"
                   "hang\n"_qs);
    Run run({u"copy"_qs}, 0, waitingBundle(u"src"_qs, m_dir.filePath(u"abort.wbfs"_qs)));
    m_handler.answer = [](QBConversionBundle *bundle) { bundle->task()->cancel(); };
    QVERIFY(run.run(10000));
    QCOMPARE(m_handler.bundles.size(), 1);
    QCOMPARE(run.task.terminationStatus(), 3);
    QCOMPARE(run.bundle.terminationStatus(), 3);
    QCOMPARE(run.infos.last(), u"Aborting ..."_qs);
    QCOMPARE(run.bundle.percent(), 10.0);
    // Cancelled: the end of output is not reported, so the task stays.
    QCOMPARE(run.bundle.task(), &run.task);
    QVERIFY(run.successes.isEmpty());
}

void tst_QBConversionTask::progressSections_data()
{
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("output");
    QTest::addColumn<double>("percent");
    QTest::addColumn<QString>("infos");
    QTest::addColumn<QString>("destination");

    QTest::newRow("percent, speed and time left")
            << 0 << u"[progress]\\npercent=42.5\\nmib-per-sec=12.3\\neta-text=5:20\\n\\n"_qs << 42.5
            << u"12.3 MiB/sec - 5:20 minutes left"_qs << u"asked"_qs;
    QTest::newRow("missing values")
            << 0 << u"[progress]\\npercent=7\\n\\n"_qs << 7.0
            << u"(null) MiB/sec - (null) minutes left"_qs << u"asked"_qs;
    QTest::newRow("percent that is not a number")
            << 0 << u"[progress]\\npercent=abc\\nmib-per-sec=1\\neta-text=0:01\\n\\n"_qs << 0.0
            << u"1 MiB/sec - 0:01 minutes left"_qs << u"asked"_qs;
    QTest::newRow("wit COPY names the output")
            << 0 << u"[COPY]\\ndest-path=/out/Real [RQAE01].wbfs\\n\\n"_qs << -1.0 << QString()
            << u"/out/Real [RQAE01].wbfs"_qs;
    QTest::newRow("wwt COPY is not read")
            << 1 << u"[COPY]\\ndest-path=/out/ignored.wbfs\\n\\n"_qs << -1.0 << QString() << u"asked"_qs;
    QTest::newRow("wwt progress may name the output")
            << 1 << u"[progress]\\npercent=50\\ndest-path=/out/p.wbfs\\nmib-per-sec=2\\neta-text=0:02\\n\\n"_qs
            << 50.0 << u"2 MiB/sec - 0:02 minutes left"_qs << u"/out/p.wbfs"_qs;
    QTest::newRow("other sections do nothing")
            << 0 << u"[EXTRACT]\\ndest-path=/out/x.wbfs\\npercent=3\\n\\n"_qs << -1.0 << QString()
            << u"asked"_qs;
}

void tst_QBConversionTask::progressSections()
{
    QFETCH(int, launchPath);
    QFETCH(QString, output);
    QFETCH(double, percent);
    QFETCH(QString, infos);
    QFETCH(QString, destination);

    QBFakeTool tool;
    tool.setScript(u"out "_qs + output + u"\nhang\n"_qs);
    // "asked" stands for the destination given at creation.
    Run run({u"copy"_qs}, launchPath, waitingBundle(u"src"_qs, u"asked"_qs));
    run.task.start();
    if (percent >= 0) {
        QTRY_COMPARE(run.infos.size(), 2);
        QCOMPARE(run.infos.last(), infos);
        QCOMPARE(run.bundle.percent(), percent);
    } else {
        QTest::qWait(300);
        QCOMPARE(run.infos, QStringList{u"Conversion started."_qs});
    }
    QCOMPARE(run.bundle.destinationPath(), destination);
    QSignalSpy finished(&run.task, &QBOperation::finished);
    run.task.cancel();
    QVERIFY(finished.wait(5000));
}

void tst_QBConversionTask::cancelWhileWaiting()
{
    QBFakeTool tool;
    QVariantMap values = waitingBundle(u"src"_qs, u"dst"_qs);
    values.insert(BundleKey::terminationStatus, 7);
    Run run({u"copy"_qs}, 0, values);
    QCOMPARE(run.bundle.terminationStatus(), 0);
    QCOMPARE(run.bundle.task(), &run.task);
    run.task.cancel();
    QCOMPARE(run.task.terminationStatus(), 2);
    QCOMPARE(run.bundle.terminationStatus(), 2);
    QVERIFY(run.run());
    QCOMPARE(run.bundle.value(BundleKey::infos).toString(), u"Waiting ..."_qs);
    QCOMPARE(run.bundle.value(BundleKey::isWaiting).toBool(), true);
    QCOMPARE(run.bundle.task(), &run.task);
    QVERIFY(tool.invocations().isEmpty());
    // A second cancel changes nothing.
    run.task.cancel();
    QCOMPARE(run.bundle.terminationStatus(), 2);
}

void tst_QBConversionTask::cancelWhileRunningStopsRealTool()
{
    // A disc with 400 MiB of data takes wit several seconds to compose.
    const QString tree = m_dir.filePath(u"bigtree"_qs);
    QVERIFY(QBTestImages::makeWiiTree(tree, u"RQBE01"_qs, u"Big"_qs, 400LL * 1024 * 1024));
    const QString folder = m_dir.filePath(u"cancelled"_qs);
    const QString destination = folder + u"/Big.iso"_qs;
    Run run(copyArguments(tree, destination), 0, waitingBundle(tree, destination));
    QSignalSpy finished(&run.task, &QBOperation::finished);
    run.task.start();
    QTRY_VERIFY_WITH_TIMEOUT(run.bundle.percent() > 0 || run.infos.size() >= 2, 10000);
    QVERIFY2(!run.task.isFinished(), "the conversion ended before it could be cancelled");

    QElapsedTimer timer;
    timer.start();
    run.task.cancel();
    QCOMPARE(run.task.terminationStatus(), 3);
    QCOMPARE(run.bundle.terminationStatus(), 3);
    QCOMPARE(run.bundle.value(BundleKey::infos).toString(), u"Aborting ..."_qs);
    QVERIFY(finished.wait(10000));
    QVERIFY2(timer.elapsed() < 5000, "wit went on after the interrupt");
    QCOMPARE(run.bundle.value(BundleKey::infos).toString(), u"Aborting ..."_qs);
    QVERIFY(run.successes.isEmpty());
    QCOMPARE(run.bundle.task(), &run.task);
    // wit cleans up its temporary file when interrupted.
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList());
}

QTEST_GUILESS_MAIN(tst_QBConversionTask)
#include "tst_qbconversiontask.moc"
