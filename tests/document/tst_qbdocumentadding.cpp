// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/qbdocument.h"
#include "document/qbdocumentadding.h"

#include <QTest>

class tst_QBDocumentAdding : public QObject
{
    Q_OBJECT

private slots:
    void conversionCommand_data();
    void conversionCommand();
    void destinationPath_data();
    void destinationPath();
    void skipAlert_data();
    void skipAlert();
    void listingArguments();
};

namespace {

QVariantMap game(const QString &id, const QString &filename, bool onWBFS)
{
    return {{u"id"_qs, id}, {u"filename"_qs, filename}, {u"isOnWBFS"_qs, onWBFS}};
}

QStringList names(int count)
{
    QStringList list;
    for (int i = 1; i <= count; ++i)
        list << u"/v/game%1.wbfs"_qs.arg(i);
    return list;
}

}

void tst_QBDocumentAdding::conversionCommand_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariantMap>("game");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<qint64>("splitSize");
    QTest::addColumn<QString>("compression");
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("display");

    // A partition never gets split or compression options, whatever the
    // settings, and updates rather than overwrites.
    QTest::newRow("partition game into a partition")
            << 1 << game(u"RABC01"_qs, u"/dev/sdc1/RABC01"_qs, true) << u"/dev/sdb1/RABC01"_qs << qint64(4096)
            << u"lzma"_qs << 1
            << QStringList{u"add"_qs, u"--source"_qs, u"/dev/sdc1/RABC01"_qs, u"--part"_qs, u"/dev/sdb1"_qs,
                           u"--update"_qs, u"--sections"_qs, u"--progress"_qs}
            << u"Add '/dev/sdb1/RABC01' < '/dev/sdc1/RABC01'"_qs;
    QTest::newRow("extraction, split size and compression")
            << 0 << game(u"RABC01"_qs, u"/dev/sdc1/RABC01"_qs, true) << u"/v/G [RABC01]/G [RABC01].wia"_qs
            << qint64(4000) << u"lzma"_qs << 1
            << QStringList{u"extract"_qs,     u"RABC01"_qs,     u"--dest"_qs,      u"/v/G [RABC01]/G [RABC01].wia"_qs,
                           u"--part"_qs,      u"/dev/sdc1"_qs,  u"--overwrite"_qs, u"--sections"_qs,
                           u"--progress"_qs,  u"--split-size"_qs, u"4000M"_qs,     u"--compression"_qs,
                           u"LZMA"_qs}
            << u"Extract '/v/G [RABC01]/G [RABC01].wia' < '/dev/sdc1'"_qs;
    QTest::newRow("same file: --remove, then --split")
            << 0 << game(u"RABC01"_qs, u"/v/a.wbfs"_qs, false) << u"/v/a.wbfs"_qs << qint64(4096) << u"lzma"_qs << 0
            << QStringList{u"copy"_qs,      u"--source"_qs,   u"/v/a.wbfs"_qs,  u"--dest"_qs, u"/v/a.wbfs"_qs,
                           u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs, u"--remove"_qs, u"--split"_qs}
            << u"Convert '/v/a.wbfs' < '/v/a.wbfs'"_qs;
    QTest::newRow("no split below 1 MiB, compression for .wia only")
            << 0 << game(u"RABC01"_qs, u"/v/a.iso"_qs, false) << u"/w/a.wbfs"_qs << qint64(-5) << u"bzip2"_qs << 0
            << QStringList{u"copy"_qs,      u"--source"_qs,   u"/v/a.iso"_qs, u"--dest"_qs, u"/w/a.wbfs"_qs,
                           u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs}
            << u"Convert '/w/a.wbfs' < '/v/a.iso'"_qs;
}

void tst_QBDocumentAdding::conversionCommand()
{
    QFETCH(int, type);
    QFETCH(QVariantMap, game);
    QFETCH(QString, destination);
    QFETCH(qint64, splitSize);
    QFETCH(QString, compression);
    const QBAdding::Command command =
            QBAdding::conversionCommand(type, game, destination, u"/dev/sdb1"_qs, splitSize, compression);
    QTEST(command.launchPath, "launchPath");
    QTEST(command.arguments, "arguments");
    QTEST(command.display, "display");
}

void tst_QBDocumentAdding::destinationPath_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("createParentDirectory");
    QTest::addColumn<QString>("path");
    QTest::newRow("partition: under the ID") << 1 << true << u"/dev/sdb1/RABC01"_qs;
    QTest::newRow("folder, in a folder of its own") << 0 << true << u"/v/Game [RABC01]/Game [RABC01].wbfs"_qs;
    QTest::newRow("folder") << 0 << false << u"/v/Game [RABC01].wbfs"_qs;
}

void tst_QBDocumentAdding::destinationPath()
{
    QFETCH(int, type);
    QFETCH(bool, createParentDirectory);
    const QString destination = type == 1 ? u"/dev/sdb1"_qs : u"/v"_qs;
    QTEST(QBAdding::destinationPath(type, destination, game(u"RABC01"_qs, u"/w/x.iso"_qs, false),
                                    u"Game [RABC01]"_qs, u"wbfs"_qs, createParentDirectory),
          "path");
}

void tst_QBDocumentAdding::skipAlert_data()
{
    QTest::addColumn<int>("screening");
    QTest::addColumn<QStringList>("filenames");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("informativeText");

    QTest::newRow("one same ID") << int(QBAdding::Screening::SameID) << names(1)
                                 << u"'/v/game1.wbfs' has an ID that already exists on the destination drive. "
                                    "Do you want to skip it?"_qs
                                 << u"/v/game1.wbfs"_qs;
    QTest::newRow("12 same IDs: 9 names and ...")
            << int(QBAdding::Screening::SameID) << names(12)
            << u"12 files have an ID that already exists on the destination drive. Do you want to skip them?"_qs
            << (names(9) << u"..."_qs).join(u'\n');
    QTest::newRow("10 collisions: every name")
            << int(QBAdding::Screening::Collision) << names(10)
            << u"10 files already exist or are being transferred to the destination drive. "
               "Do you want to skip them?"_qs
            << names(10).join(u'\n');
    QTest::newRow("one collision") << int(QBAdding::Screening::Collision) << names(1)
                                   << u"'/v/game1.wbfs' already exists or is being transferred to the "
                                      "destination drive. Do you want to skip it?"_qs
                                   << u"/v/game1.wbfs"_qs;
}

void tst_QBDocumentAdding::skipAlert()
{
    QFETCH(int, screening);
    QFETCH(QStringList, filenames);
    const QBAlert alert = QBAdding::skipAlert(QBAdding::Screening(screening), filenames);
    QTEST(alert.message, "message");
    QTEST(alert.informativeText, "informativeText");
    QCOMPARE((QStringList{alert.defaultButton, alert.alternateButton, alert.otherButton}),
             (QStringList{u"Skip"_qs, u"Continue"_qs, u"Cancel"_qs}));
}

void tst_QBDocumentAdding::listingArguments()
{
    QCOMPARE(QBAdding::listingArguments(1, u"/dev/sdb1"_qs, u"/dev/sdb1/RABC01"_qs),
             (QStringList{u"list"_qs, u"--part"_qs, u"/dev/sdb1"_qs, u"--include"_qs, u"RABC01"_qs,
                          u"--scan-progress"_qs, u"--sections"_qs}));
    QCOMPARE(QBAdding::listingArguments(0, u"/v"_qs, u"/v/G/G.wbfs"_qs),
             (QStringList{u"list"_qs, u"--source"_qs, u"/v/G/G.wbfs"_qs, u"--scan-progress"_qs, u"--sections"_qs}));
}

QTEST_GUILESS_MAIN(tst_QBDocumentAdding)
#include "tst_qbdocumentadding.moc"
