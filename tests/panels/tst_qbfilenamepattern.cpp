// SPDX-License-Identifier: GPL-3.0-or-later
#include "panels/qbfilenamepattern.h"

#include <QTest>

class tst_QBFilenamePattern : public QObject
{
    Q_OBJECT

private slots:
    void stringValueForGame_data();
    void stringValueForGame();
};

namespace {

// Literals as strings, tokens as one-string lists.
QBFilenamePattern pattern(const QVariantList &elements)
{
    return QBFilenamePattern::fromVariantList(elements);
}

QVariant token(const QString &key)
{
    return QStringList{key};
}

}

void tst_QBFilenamePattern::stringValueForGame_data()
{
    QTest::addColumn<QVariantList>("elements");
    QTest::addColumn<QVariantMap>("game");
    QTest::addColumn<QString>("name");

    const QVariantList titleAndId{token(u"title"_qs), u" ["_qs, token(u"id"_qs), u"]"_qs};
    QTest::newRow("illegal characters of a value are removed")
            << titleAndId << QVariantMap{{u"title"_qs, u"Space Race: Two"_qs}, {u"id"_qs, u"ABCD01"_qs}}
            << u"Space Race Two [ABCD01]"_qs;
    QTest::newRow("a missing value adds nothing")
            << titleAndId << QVariantMap{{u"id"_qs, u"ABCD01"_qs}} << u"[ABCD01]"_qs;
    QTest::newRow("spaces and full stops trimmed from both ends only")
            << QVariantList{u" ."_qs, token(u"title"_qs), u". "_qs}
            << QVariantMap{{u"title"_qs, u"Dr. Who v1.0"_qs}} << u"Dr. Who v1.0"_qs;
    QTest::newRow("only illegal characters and dots")
            << QVariantList{token(u"title"_qs)} << QVariantMap{{u"title"_qs, u"..?:*\"..<>|^="_qs}}
            << QString();
    // Every separator is removed, and what is left cannot climb out of the
    // destination folder: ".." is trimmed away.
    QTest::newRow("path separators in a title")
            << QVariantList{token(u"title"_qs)} << QVariantMap{{u"title"_qs, u"../..\\Up/Down"_qs}}
            << u"UpDown"_qs;
    QTest::newRow("control characters of a damaged title")
            << QVariantList{token(u"title"_qs)} << QVariantMap{{u"title"_qs, u"Line\nTwo\t\u2028!"_qs}}
            << u"LineTwo!"_qs;
    QTest::newRow("numbers as digits, lists joined as the database joins them")
            << QVariantList{token(u"players"_qs), u"P "_qs, token(u"languages"_qs), u" "_qs,
                            token(u"wi-fi-players"_qs)}
            << QVariantMap{{u"players"_qs, 4}, {u"languages"_qs, QStringList{u"EN"_qs, u"FR"_qs}},
                           {u"wi-fi-players"_qs, QVariantList{2, u"x"_qs}}}
            << u"4P EN, FR 2, x"_qs;
    QTest::newRow("typed illegal text from a stored pattern")
            << QVariantList{u"a/b"_qs, token(u"region"_qs)} << QVariantMap{{u"region"_qs, u"NTSC-U"_qs}}
            << u"abNTSC-U"_qs;
}

void tst_QBFilenamePattern::stringValueForGame()
{
    QFETCH(QVariantList, elements);
    QFETCH(QVariantMap, game);
    QFETCH(QString, name);
    const QBFilenamePattern composed = pattern(elements);
    QCOMPARE(composed.toVariantList(), elements);
    QCOMPARE(composed.stringValueForGame(game), name);
}

QTEST_GUILESS_MAIN(tst_QBFilenamePattern)
#include "tst_qbfilenamepattern.moc"
