// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "qbfaketool.h"
#include "qbtasktestutil.h"
#include "qbtestimages.h"
#include "tasks/qbrecovertask.h"
#include "tasks/qbremovetask.h"
#include "tasks/qbrenametask.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QVariantMap gameRecord(const QString &id, const QString &filename)
{
    return {{GameKey::id, id}, {GameKey::filename, filename}};
}

template<typename Task, typename Signal>
QList<QVariantList> runTask(Task &task, Signal signal)
{
    QSignalSpy posts(&task, signal);
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    if (!task.isFinished())
        finished.wait(30000);
    return QList<QVariantList>(posts.begin(), posts.end());
}

QStringList sortedIds(const Listing &listing)
{
    QStringList ids = listing.ids();
    ids.sort();
    return ids;
}

}

class tst_QBEditingTasks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void removes_data();
    void removes();
    void renameWithoutMoveSectionHasNoPath();
    void cancelledTasksPostNothing();

private:
    QString copyOf(const QString &name);
    QString freshContainer();

    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
    QString m_work;
    int m_round = 0;
};

void tst_QBEditingTasks::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
}

void tst_QBEditingTasks::init()
{
    m_work = m_dir.filePath(u"work%1"_qs.arg(++m_round));
    QVERIFY(QDir().mkpath(m_work));
}

QString tst_QBEditingTasks::copyOf(const QString &name)
{
    const QString copy = m_work + u'/' + QFileInfo(name).fileName();
    QFile::copy(m_library.path(name), copy);
    return copy;
}

// Copying would fill in the sparse container; making a new one is quicker.
QString tst_QBEditingTasks::freshContainer()
{
    return QBTestImages::makeWbfsFile(m_work + u"/PART.wbfs"_qs,
                                      {m_library.path(u"Alpha Quest [RQAE01].wbfs"_qs),
                                       m_library.path(u"Beta [RQBP01].iso"_qs),
                                       m_library.path(u"Golf [GQGE01].iso"_qs)});
}

void tst_QBEditingTasks::removes_data()
{
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("remaining");

    QTest::newRow("image files") << 0 << QStringList{u"RQDK01"_qs, u"RQFP01"_qs} << 0 << QStringList();
    // wit checks every file first and removes none when one is missing.
    QTest::newRow("image files, one missing") << 0 << QStringList{u"RQDK01"_qs, u"RXXX01"_qs} << 1
                                              << QStringList{u"RQDK01"_qs};
    QTest::newRow("wbfs") << 1 << QStringList{u"RQAE01"_qs, u"GQGE01"_qs} << 0 << QStringList{u"RQBP01"_qs};
    // wwt removes the known games and then reports the unknown one.
    QTest::newRow("wbfs, one unknown") << 1 << QStringList{u"RQAE01"_qs, u"RXXX01"_qs} << 1
                                       << QStringList{u"GQGE01"_qs, u"RQBP01"_qs};
}

void tst_QBEditingTasks::removes()
{
    QFETCH(int, launchPath);
    QFETCH(QStringList, ids);
    QFETCH(int, status);
    QFETCH(QStringList, remaining);

    const QHash<QString, QString> files{{u"RQDK01"_qs, u"Delta [RQDK01].ciso"_qs},
                                        {u"RQFP01"_qs, u"Ça märche – 日本 [RQFP01].wdf"_qs}};
    const QString part = launchPath ? freshContainer() : QString();
    QVariantList games;
    QStringList arguments{u"remove"_qs};
    for (const QString &id : ids) {
        const QString filename = launchPath ? part + u'/' + id
                                            : (files.contains(id) ? copyOf(files.value(id))
                                                                  : m_work + u"/missing.iso"_qs);
        games << gameRecord(id, filename);
        arguments << (launchPath ? id : filename);
    }
    if (launchPath)
        arguments << u"--part"_qs << part << u"--no-free"_qs;
    arguments << u"--sections"_qs;

    QBRemoveTask task(arguments, launchPath, games, this);
    const auto posts = runTask(task, &QBRemoveTask::removeDidFinish);
    QCOMPARE(posts.size(), 1);
    const QVariantMap info = posts.first().first().toMap();
    QCOMPARE(info.value(UserInfoKey::terminationStatus).toInt(), status);
    // The list asked for comes back whole, whatever the tool managed.
    QCOMPARE(info.value(UserInfoKey::removedList).toList(), games);
    if (launchPath) {
        QCOMPARE(sortedIds(browse(QBBrowsingTask::partitionArguments(part), 1)), remaining);
    } else {
        for (const QVariant &game : std::as_const(games)) {
            const QVariantMap record = game.toMap();
            QCOMPARE(QFile::exists(record.value(GameKey::filename).toString()),
                     remaining.contains(record.value(GameKey::id).toString()));
        }
    }
}

void tst_QBEditingTasks::renameWithoutMoveSectionHasNoPath()
{
    QBFakeTool tool;
    tool.setScript(u"out [version]\\ndest-path=/not/this\\n\\n[MOVE]\\ndest-path=/first\\ndest-path=/second\\n\\n\n"_qs);
    QBRenameTask task({}, {u"move"_qs}, nullptr);
    auto posts = runTask(task, &QBRenameTask::renomationDidFinish);
    QCOMPARE(posts.first().first().toMap().value(UserInfoKey::destinationPath).toString(), u"/second"_qs);

    tool.setScript(u"out [version]\\ndest-path=/not/this\\n\\n\n"_qs);
    QBRenameTask bare({}, {u"move"_qs}, nullptr);
    posts = runTask(bare, &QBRenameTask::renomationDidFinish);
    const QVariantMap info = posts.first().first().toMap();
    QCOMPARE(info.keys(), (QStringList{UserInfoKey::game, UserInfoKey::terminationStatus}));
}

void tst_QBEditingTasks::cancelledTasksPostNothing()
{
    QBFakeTool tool;
    tool.setScript(u"out [MOVE]\\ndest-path=/x\\n\\n\n"_qs);
    QBRemoveTask remove({u"remove"_qs}, 0, {}, nullptr);
    QBRenameTask rename({}, {u"move"_qs}, nullptr);
    QBRecoverTask recover({u"recover"_qs}, 1, nullptr);
    remove.cancel();
    QVERIFY(runTask(remove, &QBRemoveTask::removeDidFinish).isEmpty());

    // Cancelled while the tool runs: the output is drained, nothing posted.
    QSignalSpy renamed(&rename, &QBRenameTask::renomationDidFinish);
    QSignalSpy renameDone(&rename, &QBOperation::finished);
    rename.start();
    rename.cancel();
    QVERIFY(renameDone.wait(5000));
    QVERIFY(renamed.isEmpty());
    QCOMPARE(tool.invocations().size(), 1);

    recover.cancel();
    QVERIFY(runTask(recover, &QBRecoverTask::recoverDidFinish).isEmpty());
}

QTEST_GUILESS_MAIN(tst_QBEditingTasks)
#include "tst_qbeditingtasks.moc"
