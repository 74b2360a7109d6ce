// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "qbfaketool.h"
#include "tasks/qbscanningtask.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

class tst_QBScanningTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void partitions_data();
    void partitions();
};

void tst_QBScanningTask::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
}

void tst_QBScanningTask::partitions_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QVariantList>("expected");

    QTest::newRow("two partitions in order")
            << u"[FIND]\\nn-partitions=2\\n\\n"
               "[part-1]\\npath=/dev/sdb1\\nreal-path=/dev/sdb1\\nis-wbfs=1\\nsize=1500000000\\n\\n"
               "[part-2]\\npath=/dev/sdc1\\nsize=999999999\\nfree_mib=10\\ntotal_mib=20\\n\\n"_qs
            << QVariantList{QVariantMap{{u"path"_qs, u"/dev/sdb1"_qs}, {u"size"_qs, 1LL}},
                            QVariantMap{{u"path"_qs, u"/dev/sdc1"_qs}, {u"size"_qs, 0LL},
                                        {u"free_mib"_qs, u"10"_qs}, {u"total_mib"_qs, u"20"_qs}}};
    QTest::newRow("unfinished section is not added")
            << u"[part-0]\\npath=/dev/sdb1\\nsize=2000000000\\n\\n[part-1]\\npath=/dev/sdc1\\nsize=3"_qs
            << QVariantList{QVariantMap{{u"path"_qs, u"/dev/sdb1"_qs}, {u"size"_qs, 2LL}}};
    QTest::newRow("size missing or not a number")
            << u"[part-0]\\npath=/a\\n\\n[part-1]\\npath=/b\\nsize=big\\n\\n"_qs
            << QVariantList{QVariantMap{{u"path"_qs, u"/a"_qs}, {u"size"_qs, 0LL}},
                            QVariantMap{{u"path"_qs, u"/b"_qs}, {u"size"_qs, 0LL}}};
    QTest::newRow("nothing found") << u"[FIND]\\nn-partitions=0\\nn-wbfs=0\\n\\n"_qs << QVariantList();
}

void tst_QBScanningTask::partitions()
{
    QFETCH(QString, output);
    QFETCH(QVariantList, expected);

    QBFakeTool tool;
    tool.setScript(u"out "_qs + output + u'\n');
    QBScanningTask task;
    QSignalSpy posts(&task, &QBScanningTask::scanningDidFinish);
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    QVERIFY(finished.wait(5000));
    QCOMPARE(posts.size(), 1);
    const QVariantMap info = posts.first().first().toMap();
    QCOMPARE(info.keys(), QStringList{UserInfoKey::partitionList});
    QCOMPARE(info.value(UserInfoKey::partitionList).toList(), expected);
}

QTEST_GUILESS_MAIN(tst_QBScanningTask)
#include "tst_qbscanningtask.moc"
