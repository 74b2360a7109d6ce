// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "panels/qbselectpartitionpanel.h"
#include "qbfaketool.h"
#include "qbpaneltestutil.h"
#include "qbscriptedalerts.h"
#include "qbtestimages.h"

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardPaths>

class tst_QBSelectPartitionPanel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void listsTheScannedPartitions_data();
    void listsTheScannedPartitions();
    void oneScanAcrossOpenings();
    void opensAWbfsFile();
};

namespace {

const QString scanning = u"Scanning WBFS partitions ..."_qs;

QString partitionSection(int n, const QString &path, const QString &bytes)
{
    return u"[part-%1]\\npath=%2\\nreal-path=%2\\nis-wbfs=1\\nsize=%3\\n\\n"_qs.arg(n).arg(path, bytes);
}

// What the panel shows: label, whether the wheel, menu and OK button are
// on, and the menu's titles.
QString state(const QBSelectPartitionPanel &panel)
{
    QStringList titles;
    for (int i = 0; i < panel.selectPartitionMenu()->count(); ++i)
        titles << panel.selectPartitionMenu()->itemText(i);
    return u"%1 | wheel %2 | menu %3 | ok %4 | %5"_qs.arg(
            panel.selectPartitionLabel()->text(),
            panel.selectPartitionWheel()->isVisible() ? u"on"_qs : u"off"_qs,
            panel.selectPartitionMenu()->isEnabled() ? u"on"_qs : u"off"_qs,
            panel.okButton()->isEnabled() ? u"on"_qs : u"off"_qs, titles.join(u", "_qs));
}

}

void tst_QBSelectPartitionPanel::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QBSettings::setValue(SettingsKey::permissionCommand, QString());
}

void tst_QBSelectPartitionPanel::listsTheScannedPartitions_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("found");
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<QString>("selected");

    QTest::newRow("none") << u"[FIND]\\nn-partitions=0\\n\\n"_qs
                          << u"No WBFS partitions found. | wheel off | menu off | ok on | "_qs << false
                          << QString();
    QTest::newRow("one") << partitionSection(1, u"/dev/sdb1"_qs, u"500107862016"_qs)
                         << u"1 partition found. | wheel off | menu on | ok on | 1. /dev/sdb1 (500 GB)"_qs
                         << true << u"/dev/sdb1"_qs;
    QTest::newRow("two") << partitionSection(1, u"/dev/sdb1"_qs, u"500107862016"_qs)
                                    + partitionSection(2, u"/dev/disk/by-id/usb-%1 disk-part2"_qs,
                                                       u"2000398934016"_qs)
                         << u"2 partitions found. | wheel off | menu on | ok on | 1. /dev/sdb1 (500 GB), "
                            "2. /dev/disk/by-id/usb-%1 disk-part2 (2000 GB)"_qs
                         << true << u"/dev/sdb1"_qs;
    // Sizes in whole decimal gigabytes; an unfinished section is no partition.
    QTest::newRow("size not a number, last cut off")
            << partitionSection(1, u"/a"_qs, u"big"_qs) + partitionSection(2, u"/b"_qs, u"1999999999"_qs)
                    + u"[part-3]\\npath=/c\\nsize=3"_qs
            << u"2 partitions found. | wheel off | menu on | ok on | 1. /a (0 GB), 2. /b (1 GB)"_qs << true << u"/a"_qs;
}

void tst_QBSelectPartitionPanel::listsTheScannedPartitions()
{
    QFETCH(QString, output);
    QFETCH(QString, found);
    QFETCH(bool, confirmed);
    QFETCH(QString, selected);

    QBFakeTool tool;
    tool.setScript(u"out "_qs + output + u'\n');
    QBSelectPartitionPanel panel;
    QString scanningState;
    QString foundState;
    whenShown(&panel, [&] {
        scanningState = state(panel);
        QTRY_VERIFY(!panel.selectPartitionWheel()->isVisible());
        foundState = state(panel);
        QTest::mouseClick(panel.okButton(), Qt::LeftButton);
    });
    QCOMPARE(panel.runModalWithTitle(u"Open Partition"_qs), confirmed);
    QCOMPARE(scanningState, scanning + u" | wheel on | menu off | ok off | "_qs);
    QCOMPARE(foundState, found);
    QCOMPARE(panel.selectedPartition(), selected);
    QCOMPARE(tool.invocations(), QStringList{u"wwt | find | --auto | --all | --sections"_qs});
}

void tst_QBSelectPartitionPanel::oneScanAcrossOpenings()
{
    QBFakeTool tool;
    tool.setScript(u"pause 1500\nout "_qs + partitionSection(1, u"/dev/sdb1"_qs, u"1500000000"_qs) + u'\n');
    QBSelectPartitionPanel panel;
    whenShown(&panel, [&] { QTest::keyClick(&panel, Qt::Key_Escape); });
    QVERIFY(!panel.runModalWithTitle(u"Open Partition"_qs));

    // Reopened while that scan runs: the same scan fills the menu.
    QString reopenedState;
    whenShown(&panel, [&] {
        reopenedState = state(panel);
        QTRY_COMPARE(panel.selectPartitionLabel()->text(), u"1 partition found."_qs);
        QTest::mouseClick(panel.okButton(), Qt::LeftButton);
    });
    QVERIFY(panel.runModalWithTitle(u"Open Partition"_qs));
    QCOMPARE(reopenedState, scanning + u" | wheel on | menu off | ok off | "_qs);
    QCOMPARE(panel.selectedPartition(), u"/dev/sdb1"_qs);
    QCOMPARE(tool.invocations().size(), 1);

    // Once it has ended, the next opening scans afresh.
    whenShown(&panel, [&] {
        reopenedState = state(panel);
        QTest::mouseClick(panel.findChild<QPushButton *>(u"cancel"_qs), Qt::LeftButton);
    });
    QVERIFY(!panel.runModalWithTitle(u"Open Partition"_qs));
    QCOMPARE(reopenedState, scanning + u" | wheel on | menu off | ok off | "_qs);
    QTRY_COMPARE(tool.invocations().size(), 2);
}

void tst_QBSelectPartitionPanel::opensAWbfsFile()
{
    QTemporaryDir dir;
    const QString container = QBTestImages::makeWbfsFile(dir.filePath(u"games.wbfs"_qs), {}, 1);
    QVERIFY2(!container.isEmpty(), qPrintable(QBTestImages::lastError()));
    const QString notes = dir.filePath(u"notes.wbfs"_qs);
    QFile file(notes);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("not a partition");
    file.close();

    QBScriptedAlerts alerts;
    QBFakeTool tool;
    tool.setScript(u"out "_qs + partitionSection(1, u"/dev/sdb1"_qs, u"1500000000"_qs) + u'\n');
    QBSelectPartitionPanel panel;
    QStringList answers{notes, QString(), container};
    panel.setFileChooser([&](QWidget *parent) { return parent == &panel && !answers.isEmpty() ? answers.takeFirst() : QString(); });
    bool openAfterRefusals = false;
    whenShown(&panel, [&] {
        QTest::mouseClick(panel.fileButton(), Qt::LeftButton);
        QTest::mouseClick(panel.fileButton(), Qt::LeftButton);
        openAfterRefusals = panel.isVisible();
        QTest::mouseClick(panel.fileButton(), Qt::LeftButton);
    });
    QVERIFY(panel.runModalWithTitle(u"Open Partition"_qs));
    QVERIFY(openAfterRefusals);
    QVERIFY(answers.isEmpty());
    QCOMPARE(alerts.messages(), QStringList{u"“notes.wbfs” is not a WBFS file."_qs});
    QCOMPARE(panel.selectedPartition(), container);

    // The file counts for that opening only.
    whenShown(&panel, [&] {
        QTRY_VERIFY(panel.selectPartitionMenu()->isEnabled());
        QTest::keyClick(&panel, Qt::Key_Return);
    });
    QVERIFY(panel.runModalWithTitle(u"Open Partition"_qs));
    QCOMPARE(panel.selectedPartition(), u"/dev/sdb1"_qs);
}

QTEST_MAIN(tst_QBSelectPartitionPanel)
#include "tst_qbselectpartitionpanel.moc"
