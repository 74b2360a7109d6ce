// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/qbdocumentediting.h"

#include <QTest>

class tst_QBDocumentEditing : public QObject
{
    Q_OBJECT

private slots:
    void renamedPath_data();
    void renamedPath();
};

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
