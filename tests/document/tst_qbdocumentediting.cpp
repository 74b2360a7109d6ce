// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/qbdocumentediting.h"

#include <QTest>

class tst_QBDocumentEditing : public QObject
{
    Q_OBJECT

private slots:
    void removal();
    void renamedPath_data();
    void renamedPath();
};

void tst_QBDocumentEditing::removal()
{
    const QList<QVariantMap> games{{{u"id"_qs, u"RAAE01"_qs}, {u"filename"_qs, u"/v/a b.wbfs"_qs}},
                                   {{u"id"_qs, u"RBBE01"_qs}, {u"filename"_qs, u"/v/b.iso"_qs}},
                                   {{u"id"_qs, u"RCCE01"_qs}, {u"filename"_qs, u"/v/c.wia"_qs}}};
    QCOMPARE(QBEditing::removeArguments(1, u"/dev/sdb1"_qs, games),
             (QStringList{u"remove"_qs, u"RAAE01"_qs, u"RBBE01"_qs, u"RCCE01"_qs, u"--part"_qs, u"/dev/sdb1"_qs,
                          u"--no-free"_qs, u"--sections"_qs}));
    QCOMPARE(QBEditing::removeArguments(0, u"/v"_qs, games.mid(0, 2)),
             (QStringList{u"remove"_qs, u"/v/a b.wbfs"_qs, u"/v/b.iso"_qs, u"--sections"_qs}));

    const QBAlert folder = QBEditing::removeConfirmation(0, u"'a b.wbfs'"_qs);
    QCOMPARE(folder.message, u"Are you sure you want to remove 'a b.wbfs'?"_qs);
    QCOMPARE(folder.informativeText, u"This operation cannot be undone."_qs);
    QCOMPARE(folder.defaultButton, u"OK"_qs);
    QCOMPARE(folder.alternateButton, u"Cancel"_qs);
    const QBAlert partition = QBEditing::removeConfirmation(1, u"3 files"_qs);
    QCOMPARE(partition.message, u"Are you sure you want to remove 3 files?"_qs);
    QCOMPARE(partition.informativeText,
             u"You can undo this operation later unless you make any change to the WBFS partition in the meantime. "
             "To recover removed games, just select 'File > Recover removed games'."_qs);

    QCOMPARE(QBEditing::removeError(1).informativeText,
             u"The selected game couldn't be removed. Please refresh the game list to make sure you are viewing "
             "the current one."_qs);
    QVERIFY(QBEditing::removeError(2).informativeText.startsWith(u"The selected games couldn't"_qs));
    QCOMPARE(QBEditing::removeError(2).message, u"An error occurred."_qs);
}

void tst_QBDocumentEditing::renamedPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("renamed");
    // The extension stays whatever the conversion format setting says.
    QTest::newRow("same folder and extension") << u"/v/a.wbfs"_qs << u"/v/B.wbfs"_qs;
    QTest::newRow("the last extension only") << u"/v/a.b.iso"_qs << u"/v/B.iso"_qs;
    QTest::newRow("no extension, no dot") << u"/v/FST"_qs << u"/v/B"_qs;
    QTest::newRow("a hidden file has no extension") << u"/v/.a"_qs << u"/v/B"_qs;
    QTest::newRow("top folder") << u"/a.wdf"_qs << u"/B.wdf"_qs;
}

void tst_QBDocumentEditing::renamedPath()
{
    QFETCH(QString, path);
    QTEST(QBEditing::renamedPath(path, u"B"_qs), "renamed");
    QCOMPARE(QBEditing::moveArguments(path, u"/v/B.x"_qs),
             (QStringList{u"move"_qs, u"--source"_qs, path, u"--dest"_qs, u"/v/B.x"_qs, u"--sections"_qs}));
}

QTEST_GUILESS_MAIN(tst_QBDocumentEditing)
#include "tst_qbdocumentediting.moc"
