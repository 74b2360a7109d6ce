// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbimagedownload.h"
#include "gamedata/qblanguages.h"
#include "qbtesthttpserver.h"
#include "tasks/qboperationqueue.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using Mode = QBTestHttpServer::Mode;

namespace {

QByteArray png(QRgb color)
{
    QImage image(8, 11, QImage::Format_RGB32);
    image.fill(color);
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

QString coverPath(const QString &id)
{
    return QBSupportFolder::coverPath(id);
}

QVariantMap game(const QString &id, const QString &region = u"PAL"_qs, bool withFilename = true)
{
    QVariantMap game{{u"id"_qs, id}, {u"region"_qs, region}, {u"coverPath"_qs, coverPath(id)}};
    if (withFilename)
        game.insert(u"filename"_qs, QString(u"/games/"_qs + id + u".wbfs"_qs));
    return game;
}

QString coverRequest(const QString &language, const QString &id)
{
    return u"/wii/cover3D/"_qs + language + u'/' + id + u".png"_qs;
}

}

class tst_QBImageDownload : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void coverLanguage_data();
    void coverLanguage();
    void coverOnDisk();
    void missingCoverIsFetched_data();
    void missingCoverIsFetched();
    void nothingIsFetched_data();
    void nothingIsFetched();
    void oneFetchPerGameAndTwoAtATime();
    void pathForCoverOfGame();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QBTestHttpServer> m_server;
    int m_cases = 0;
};

void tst_QBImageDownload::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
}

void tst_QBImageDownload::init()
{
    QSettings().clear();
    m_server = std::make_unique<QBTestHttpServer>(QBTestHttpServer::Scheme::Https);
    QBSettings::setValue(SettingsKey::coverServer, m_server->url());
    QBSettings::setValue(SettingsKey::languages, QStringList{u"fr"_qs, u"en"_qs});
    // A fresh support folder, and so an empty covers folder, for each case.
    const QString support = m_dir.filePath(QString::number(++m_cases));
    QBSupportFolder::setLocation(support);
}

void tst_QBImageDownload::cleanup()
{
    QBSupportFolder::setLocation(QString());
    QBLanguages::setOverride({});
}

void tst_QBImageDownload::coverLanguage_data()
{
    QTest::addColumn<QStringList>("languages");
    QTest::addColumn<QString>("region");
    QTest::addColumn<QString>("language");
    QTest::newRow("NTSC-U is US whatever the language") << QStringList{u"fr"_qs} << u"Ntsc-U"_qs << u"US"_qs;
    QTest::newRow("regional code as it stands") << QStringList{u"en-GB"_qs} << u"PAL"_qs << u"EN-GB"_qs;
    QTest::newRow("Chinese not crossed here") << QStringList{u"zh-Hans"_qs} << u"NTSC-J"_qs << u"ZH-HANS"_qs;
}

void tst_QBImageDownload::coverLanguage()
{
    QFETCH(QStringList, languages);
    QFETCH(QString, region);
    QFETCH(QString, language);
    QBLanguages::setOverride(languages);
    QCOMPARE(QBImageDownload::coverLanguage(game(u"RMCP01"_qs, region)), language);
}

void tst_QBImageDownload::coverOnDisk()
{
    QBGameCenter center;
    {
        QFile file(coverPath(u"RMCP01"_qs));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(png(qRgb(255, 0, 0)));
    }
    QSignalSpy arrived(center.coverEntry(u"RMCP01"_qs), &QBCoverEntry::coverChanged);
    // Read off the event loop: not cached on return, shown when ready.
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(arrived.wait());
    QCOMPARE(arrived.size(), 1);
    QCOMPARE(center.images().value(u"RMCP01"_qs).pixel(0, 0), qRgb(255, 0, 0));

    // From the cache from now on, even when the file goes.
    QVERIFY(QFile::remove(coverPath(u"RMCP01"_qs)));
    QVERIFY(center.getImageForGame(game(u"RMCP01"_qs)));
    QTest::qWait(50);
    QCOMPARE(arrived.size(), 1);
    QVERIFY(m_server->requests().isEmpty());

    // Within a budget of one cover, the one used least recently leaves
    // memory and is read again from its file when next asked for.
    for (const auto &[id, color] : {std::pair(u"RMCP01"_qs, qRgb(255, 0, 0)), std::pair(u"RSBE01"_qs, qRgb(0, 255, 0))}) {
        QFile file(coverPath(id));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(png(color)) > 0);
    }
    center.setCoverMemoryBudget(center.coverImageBytes());
    QSignalSpy evicted(center.coverEntry(u"RMCP01"_qs), &QBCoverEntry::coverEvicted);
    QSignalSpy other(center.coverEntry(u"RSBE01"_qs), &QBCoverEntry::coverChanged);
    QVERIFY(!center.getImageForGame(game(u"RSBE01"_qs)));
    QVERIFY(other.wait());
    QCOMPARE(evicted.size(), 1);
    QCOMPARE(center.images().keys(), QList{u"RSBE01"_qs});
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(arrived.wait());
    QCOMPARE(center.images().keys(), QList{u"RMCP01"_qs});
    QCOMPARE(center.images().value(u"RMCP01"_qs).pixel(0, 0), qRgb(255, 0, 0));
    QCOMPARE(center.coverImageBytes(), center.images().value(u"RMCP01"_qs).sizeInBytes());
}

// Which addresses are asked, what ends up on disk and in the cache.
void tst_QBImageDownload::missingCoverIsFetched_data()
{
    QTest::addColumn<QString>("region");
    QTest::addColumn<QString>("servedPath");
    QTest::addColumn<QByteArray>("served");
    QTest::addColumn<QStringList>("requests");
    QTest::addColumn<bool>("cached");
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<bool>("linked");

    const QByteArray cover = png(qRgb(0, 0, 255));
    const QStringList both{coverRequest(u"FR"_qs, u"RMCP01"_qs), coverRequest(u"EN"_qs, u"RMCP01"_qs)};
    QTest::newRow("in the first language") << u"PAL"_qs << coverRequest(u"FR"_qs, u"RMCP01"_qs) << cover
                                           << QStringList{coverRequest(u"FR"_qs, u"RMCP01"_qs)} << true
                                           << Mode::Normal << false;
    QTest::newRow("US for NTSC-U") << u"NTSC-U"_qs << coverRequest(u"US"_qs, u"RMCP01"_qs) << cover
                                   << QStringList{coverRequest(u"US"_qs, u"RMCP01"_qs)} << true << Mode::Normal
                                   << false;
    QTest::newRow("English when the language has none")
            << u"PAL"_qs << coverRequest(u"EN"_qs, u"RMCP01"_qs) << cover << both << true << Mode::Normal << false;
    QTest::newRow("none at all") << u"PAL"_qs << QString() << QByteArray() << both << false << Mode::Normal
                                 << false;
    QTest::newRow("not a picture") << u"PAL"_qs << coverRequest(u"FR"_qs, u"RMCP01"_qs) << QByteArray("GIF? no")
                                   << QStringList{coverRequest(u"FR"_qs, u"RMCP01"_qs)} << false << Mode::Normal
                                   << false;
    QTest::newRow("without end: dropped at 8 MiB") << u"PAL"_qs << coverRequest(u"FR"_qs, u"RMCP01"_qs)
                                                   << QByteArray() << both << false << Mode::Endless << false;
    QTest::newRow("a link in its place: replaced, not followed")
            << u"PAL"_qs << coverRequest(u"FR"_qs, u"RMCP01"_qs) << cover
            << QStringList{coverRequest(u"FR"_qs, u"RMCP01"_qs)} << true << Mode::Normal << true;
}

void tst_QBImageDownload::missingCoverIsFetched()
{
    QFETCH(QString, region);
    QFETCH(QString, servedPath);
    QFETCH(QByteArray, served);
    QFETCH(QStringList, requests);
    QFETCH(bool, cached);
    QFETCH(Mode, mode);
    QFETCH(bool, linked);

    if (!servedPath.isEmpty())
        m_server->setRoute(servedPath, served, mode);
    QBGameCenter center;
    const QString victim = m_dir.filePath(u"victim"_qs);
    QFile::remove(victim);
    if (linked)
        QVERIFY(QFile::link(victim, coverPath(u"RMCP01"_qs)));
    QSignalSpy downloaded(&center, &QBGameCenter::imageDidDownload);
    bool cachedWhenPosted = false;
    bool inFlightWhenPosted = true;
    connect(&center, &QBGameCenter::imageDidDownload, this, [&] {
        cachedWhenPosted = center.images().contains(u"RMCP01"_qs);
        inFlightWhenPosted = center.imagesDownloading().contains(u"RMCP01"_qs);
    });
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs, region)));

    QVERIFY(downloaded.wait());
    QCOMPARE(downloaded.first().first().toMap().value(u"id"_qs).toString(), u"RMCP01"_qs);
    QCOMPARE(m_server->requests(), requests);
    QCOMPARE(cachedWhenPosted, cached);
    QVERIFY(!inFlightWhenPosted);
    QCOMPARE(center.images().contains(u"RMCP01"_qs), cached);
    QFile file(coverPath(u"RMCP01"_qs));
    QCOMPARE(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(), served);
    QVERIFY(!QFileInfo(file.fileName()).isSymLink() && !QFile::exists(victim));
    // The download's own file went.
    QCOMPARE(QFileInfo(file.fileName()).dir().entryList(QDir::Files | QDir::Hidden | QDir::System).size(),
             served.isEmpty() ? 0 : 1);
}

void tst_QBImageDownload::nothingIsFetched_data()
{
    QTest::addColumn<bool>("downloadCovers");
    QTest::addColumn<bool>("withFilename");
    QTest::addColumn<QString>("id");
    QTest::newRow("downloads off") << false << true << u"RMCP01"_qs;
    QTest::newRow("a database entry, without a file") << true << false << u"RMCP01"_qs;
    QTest::newRow("an ID that is a path") << true << true << u"../../x"_qs;
}

void tst_QBImageDownload::nothingIsFetched()
{
    QFETCH(bool, downloadCovers);
    QFETCH(bool, withFilename);
    QFETCH(QString, id);
    QBSettings::setValue(SettingsKey::downloadCovers, downloadCovers);
    QBGameCenter center;
    QTRY_VERIFY(!center.isParsing());
    QVERIFY(!center.getImageForGame(game(id, u"PAL"_qs, withFilename)));
    QTest::qWait(100);
    QVERIFY(center.imagesDownloading().isEmpty());
    QCOMPARE(center.operationQueue()->operationCount(), 0);
    QVERIFY(m_server->requests().isEmpty());
}

void tst_QBImageDownload::oneFetchPerGameAndTwoAtATime()
{
    const QStringList ids{u"RAAP01"_qs, u"RBBP01"_qs, u"RCCP01"_qs};
    for (const QString &id : ids)
        m_server->setRoute(coverRequest(u"FR"_qs, id), png(qRgb(1, 2, 3)), Mode::Held);
    QBGameCenter center;
    QTRY_VERIFY(!center.isParsing());
    QSignalSpy downloaded(&center, &QBGameCenter::imageDidDownload);
    for (const QString &id : ids)
        center.getImageForGame(game(id));
    QTRY_COMPARE(center.imagesDownloading().size(), 3);
    for (const QString &id : ids)
        QVERIFY(!center.getImageForGame(game(id)));
    QTRY_COMPARE(m_server->requests().size(), 2);
    QTest::qWait(100);
    QCOMPARE(m_server->requests().size(), 2);

    m_server->release();
    QTRY_COMPARE(m_server->requests().size(), 3);
    m_server->release();
    QTRY_COMPARE(downloaded.size(), 3);
    QVERIFY(center.imagesDownloading().isEmpty());
    QCOMPARE(center.images().size(), 3);
}

void tst_QBImageDownload::pathForCoverOfGame()
{
    QBGameCenter center;
    QCOMPARE(center.pathForCoverOfGame(game(u"RMCE01"_qs)), center.supportFolder() + u"/covers/RMCE01.png "_qs);
}

QTEST_GUILESS_MAIN(tst_QBImageDownload)
#include "tst_qbimagedownload.moc"
