// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"

#include <QDataStream>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QVariantMap game(const QString &id, const QString &title = u"Tool Title"_qs)
{
    return {{u"id"_qs, id}, {u"title"_qs, title}, {u"region"_qs, u"PAL"_qs}, {u"filetype"_qs, u"WBFS"_qs},
            {u"size"_qs, 4.37f}, {u"filename"_qs, QString(u"/games/"_qs + id + u".wbfs"_qs)}};
}

QImage picture(QRgb color)
{
    QImage image(4, 4, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

}

class tst_QBGameBundle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void mergesTheDatabaseRecord();
    void withoutDatabaseNothingIsMerged();
    void coverFollowsTheCache();
    void imageTitleFollowsTitle();
    void subtitle_data();
    void subtitle();
    void copySharesTheRecord();
    void archive();

private:
    void loadDatabase(QBGameCenter &center);

    QTemporaryDir m_dir;
};

void tst_QBGameBundle::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    QBSettings::setValue(SettingsKey::languages, QStringList{u"en"_qs});
    QBSupportFolder::setLocation(m_dir.filePath(u"support"_qs));
    QVERIFY(!QBGameBundle::missingCover().isNull());
}

void tst_QBGameBundle::loadDatabase(QBGameCenter &center)
{
    QSignalSpy loaded(&center, &QBGameCenter::databaseDidLoad);
    QVERIFY(loaded.wait());
}

void tst_QBGameBundle::mergesTheDatabaseRecord()
{
    QFile file(m_dir.filePath(u"support/wiitdb.xml"_qs));
    QDir().mkpath(m_dir.filePath(u"support"_qs));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(R"(<datafile><game><id>RMCE01</id><region>NTSC-U</region><genre>racing</genre>
                  <locale lang="EN"><title>Database Title</title><filename>/etc/passwd</filename>
                  <coverPath>/elsewhere/x.png</coverPath><size>900</size><filetype>x</filetype></locale></game></datafile>)");
    file.close();
    QBGameCenter center;
    loadDatabase(center);

    const QBGameBundle known(game(u"RMCE01"_qs));
    QCOMPARE(known.value(u"title"_qs).toString(), u"Database Title"_qs);
    QCOMPARE(known.value(u"region"_qs).toString(), u"NTSC-U"_qs);
    QCOMPARE(known.value(u"genre"_qs).toString(), u"racing"_qs);
    // What locates and describes the file is the tool's alone.
    QCOMPARE(known.value(u"filename"_qs).toString(), u"/games/RMCE01.wbfs"_qs);
    QVERIFY(!known.value(u"coverPath"_qs).isValid());
    QCOMPARE(known.imageSubtitle(), u"WBFS, 4.37 GB"_qs);
    QCOMPARE(known.imageTitle(), u"Database Title"_qs);
    QVERIFY(!known.value(u"nonsense"_qs).isValid());

    const QBGameBundle unknown(game(u"RXXP01"_qs));
    QVariantMap expected = game(u"RXXP01"_qs);
    expected.insert(u"cover"_qs, QBGameBundle::missingCover());
    QCOMPARE(unknown.infosDictionary(), expected);
    QCOMPARE(unknown.imageSubtitle(), u"WBFS, 4.37 GB"_qs);
    QFile::remove(file.fileName());
}

void tst_QBGameBundle::withoutDatabaseNothingIsMerged()
{
    QBGameCenter center;
    QTRY_VERIFY(!center.isParsing());
    const QBGameBundle bundle(game(u"RMCE01"_qs));
    QCOMPARE(bundle.imageTitle(), u"Tool Title"_qs);
    QCOMPARE(bundle.imageVersion(), QVariant(0));
}

void tst_QBGameBundle::coverFollowsTheCache()
{
    QBGameCenter center;
    QBGameBundle first(game(u"RMCE01"_qs));
    QBGameBundle second(game(u"RMCE01"_qs));
    QBGameBundle other(game(u"RSBE01"_qs));
    QCOMPARE(first.cover(), QBGameBundle::missingCover());
    QCOMPARE(first.imageRepresentation(), QBGameBundle::missingCover());
    QSignalSpy coverChanged(&first, &QBGameBundle::coverChanged);
    QSignalSpy representationChanged(&first, &QBGameBundle::imageRepresentationChanged);
    QSignalSpy otherChanged(&other, &QBGameBundle::coverChanged);

    center.setImage(u"RMCE01"_qs, picture(qRgb(9, 9, 9)));
    QCOMPARE(coverChanged.size(), 1);
    QCOMPARE(representationChanged.size(), 1);
    QCOMPARE(first.cover(), picture(qRgb(9, 9, 9)));
    QCOMPARE(first.value(u"cover"_qs).value<QImage>(), picture(qRgb(9, 9, 9)));
    QCOMPARE(second.imageRepresentation(), picture(qRgb(9, 9, 9)));
    QCOMPARE(otherChanged.size(), 0);

    // A bundle made later starts from the cache.
    QCOMPARE(QBGameBundle(game(u"RMCE01"_qs)).cover(), picture(qRgb(9, 9, 9)));
}

void tst_QBGameBundle::imageTitleFollowsTitle()
{
    QBGameBundle bundle(game(u"RMCE01"_qs, u"A"_qs));
    QBGameBundle other(game(u"RSBE01"_qs, u"A"_qs));
    QCOMPARE(bundle.imageUID(), other.imageUID());
    QSignalSpy titleChanged(&bundle, &QBGameBundle::imageTitleChanged);
    QSignalSpy valueChanged(&bundle, &QBGameBundle::valueChanged);
    bundle.setDetail(u"title"_qs, u"B"_qs);
    QCOMPARE(bundle.imageTitle(), u"B"_qs);
    QCOMPARE(titleChanged.size(), 1);
    QCOMPARE(valueChanged.size(), 1);
    QCOMPARE(valueChanged.first().first().toString(), u"title"_qs);
}

void tst_QBGameBundle::subtitle_data()
{
    QTest::addColumn<QVariantMap>("record");
    QTest::addColumn<QString>("subtitle");
    QTest::newRow("no size") << QVariantMap{{u"filetype"_qs, u"ISO"_qs}} << u"ISO, 0.00 GB"_qs;
    QTest::newRow("no file type") << QVariantMap{{u"size"_qs, 1.5f}} << u"(null), 1.50 GB"_qs;
}

void tst_QBGameBundle::subtitle()
{
    QFETCH(QVariantMap, record);
    QFETCH(QString, subtitle);
    QCOMPARE(QBGameBundle(record).imageSubtitle(), subtitle);
}

void tst_QBGameBundle::copySharesTheRecord()
{
    QBGameCenter center;
    auto original = std::make_unique<QBGameBundle>(game(u"RMCE01"_qs));
    original->setImageVersion(3);
    std::unique_ptr<QBGameBundle> copy(original->copy());
    QCOMPARE(copy->imageVersion(), QVariant(0));
    QCOMPARE(copy->record(), original->record());
    QSignalSpy originalTitle(original.get(), &QBGameBundle::imageTitleChanged);
    copy->setDetail(u"title"_qs, u"Renamed"_qs);
    QCOMPARE(original->imageTitle(), u"Renamed"_qs);
    QCOMPARE(originalTitle.size(), 1);

    // The survivor still follows the cache.
    original.reset();
    center.setImage(u"RMCE01"_qs, picture(qRgb(1, 1, 1)));
    QCOMPARE(copy->cover(), picture(qRgb(1, 1, 1)));
}

void tst_QBGameBundle::archive()
{
    QBGameCenter center;
    center.setImage(u"RMCE01"_qs, picture(qRgb(5, 5, 5)));
    QBGameBundle bundle(game(u"RMCE01"_qs));
    bundle.setDetail(u"date"_qs, QDateTime(QDate(2008, 4, 10), QTime(0, 0), Qt::UTC));
    QByteArray data;
    {
        QDataStream out(&data, QIODevice::WriteOnly);
        bundle.encode(out);
    }
    QDataStream in(data);
    const std::unique_ptr<QBGameBundle> restored = QBGameBundle::decode(in);
    QVERIFY(restored);
    QCOMPARE(restored->infosDictionary(), bundle.infosDictionary());
    QCOMPARE(restored->imageSubtitle(), bundle.imageSubtitle());
    QCOMPARE(restored->imageTitle(), bundle.imageTitle());
    QVERIFY(!restored->imageVersion().isValid());
    QSignalSpy coverChanged(restored.get(), &QBGameBundle::coverChanged);
    center.setImage(u"RMCE01"_qs, picture(qRgb(6, 6, 6)));
    QCOMPARE(coverChanged.size(), 1);

    for (const QByteArray &bad : {QByteArray(), QByteArray("QBGB and then nothing"), data.left(12)}) {
        QDataStream badStream(bad);
        QVERIFY(!QBGameBundle::decode(badStream));
    }
}

QTEST_GUILESS_MAIN(tst_QBGameBundle)
#include "tst_qbgamebundle.moc"
