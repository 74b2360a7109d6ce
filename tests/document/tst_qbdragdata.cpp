// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/qbdragdata.h"

#include <QCborMap>
#include <QCborValue>
#include <QDateTime>
#include <QImage>
#include <QMimeData>
#include <QRandomGenerator>
#include <QTest>

#include <memory>

class tst_QBDragData : public QObject
{
    Q_OBJECT

private slots:
    void carriesTheRecords();
    void refusesOtherData_data();
    void refusesOtherData();
    void survivesDamage();

private:
    const QList<QVariantMap> m_games{
            {{u"id"_qs, u"RQAE01"_qs}, {u"filename"_qs, u"/v/Alpha: Quest.wbfs"_qs}, {u"isOnWBFS"_qs, false},
             {u"size"_qs, 4.37}, {u"languages"_qs, QStringList{u"EN"_qs, u"FR"_qs}},
             {u"date"_qs, QDateTime(QDate(2009, 3, 1), QTime(0, 0), Qt::UTC)}, {u"cover"_qs, QImage(4, 4, QImage::Format_RGB32)}},
            {{u"id"_qs, u"GQGE01"_qs}, {u"filename"_qs, u"/dev/sdb1/GQGE01"_qs}, {u"isOnWBFS"_qs, true}}};
};

void tst_QBDragData::carriesTheRecords()
{
    const std::unique_ptr<QMimeData> data(QBDragData::mimeData(m_games));
    QCOMPARE(data->formats(), QStringList{QBDragData::mimeType});
    const std::optional<QList<QVariantMap>> games = QBDragData::games(data.get());
    QVERIFY(games);
    QCOMPARE(games->size(), 2);
    const QVariantMap &first = games->first();
    QCOMPARE(first.value(u"filename"_qs).toString(), u"/v/Alpha: Quest.wbfs"_qs);
    QCOMPARE(first.value(u"isOnWBFS"_qs).toBool(), false);
    QCOMPARE(first.value(u"size"_qs).toDouble(), 4.37);
    QCOMPARE(first.value(u"languages"_qs).toStringList(), (QStringList{u"EN"_qs, u"FR"_qs}));
    QCOMPARE(first.value(u"date"_qs).toDateTime(), QDateTime(QDate(2009, 3, 1), QTime(0, 0), Qt::UTC));
    // The cover comes back from the cache, not from the drag.
    QVERIFY(!first.contains(u"cover"_qs));
    QCOMPARE(games->last().value(u"id"_qs).toString(), u"GQGE01"_qs);
    QCOMPARE(games->last().value(u"isOnWBFS"_qs).toBool(), true);
}

void tst_QBDragData::refusesOtherData_data()
{
    QTest::addColumn<QByteArray>("data");
    auto payload = [](const QString &format, qint64 version, const QCborValue &games) {
        QCborMap root;
        root.insert(u"format"_qs, format);
        root.insert(u"version"_qs, version);
        root.insert(u"games"_qs, games);
        return QCborValue(root).toCbor();
    };
    const QCborArray one{QCborMap{{u"id"_qs, u"RQAE01"_qs}, {u"filename"_qs, u"/v/a.wbfs"_qs}}};
    QTest::newRow("text") << QByteArray("file:///v/a.wbfs\r\n");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("another format") << payload(u"QBList"_qs, 1, one);
    QTest::newRow("another version") << payload(u"QBDrag"_qs, 2, one);
    QTest::newRow("no games") << payload(u"QBDrag"_qs, 1, QCborArray());
    QTest::newRow("games not a list") << payload(u"QBDrag"_qs, 1, u"RQAE01"_qs);
    QTest::newRow("a game without a file")
            << payload(u"QBDrag"_qs, 1, QCborArray{QCborMap{{u"id"_qs, u"RQAE01"_qs}}});
    QTest::newRow("a game without an ID")
            << payload(u"QBDrag"_qs, 1, QCborArray{QCborMap{{u"id"_qs, 5}, {u"filename"_qs, u"/v/a"_qs}}});
    QTest::newRow("trailing bytes") << QBDragData::encode(m_games) + QByteArray("\xff\x00", 2);
    // Found by fuzzing: the value checked was the first, the value kept the last.
    QTest::newRow("an ID twice, the one kept not text")
            << QBDragData::encode({{{u"id"_qs, u"RQAE01"_qs}, {u"filename"_qs, u"/v/a"_qs}, {u"iz"_qs, false}}})
                       .replace(QByteArray("\x62iz"), QByteArray("\x62id"));
}

void tst_QBDragData::refusesOtherData()
{
    QFETCH(QByteArray, data);
    QVERIFY(!QBDragData::decode(data));
}

void tst_QBDragData::survivesDamage()
{
    // Every cut and a few thousand changed bytes: refused or read, never a
    // crash, and never a game without an ID or a file.
    const QByteArray whole = QBDragData::encode(m_games);
    for (qsizetype size = 0; size < whole.size(); ++size)
        QVERIFY(!QBDragData::decode(whole.left(size)));
    QRandomGenerator random(7);
    for (int round = 0; round < 5000; ++round) {
        QByteArray damaged = whole;
        for (int changes = random.bounded(1, 4); changes > 0; --changes)
            damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
        if (const auto games = QBDragData::decode(damaged)) {
            for (const QVariantMap &game : *games)
                QVERIFY(!game.value(u"id"_qs).toString().isEmpty() && !game.value(u"filename"_qs).toString().isEmpty());
        }
    }
}

QTEST_GUILESS_MAIN(tst_QBDragData)
#include "tst_qbdragdata.moc"
