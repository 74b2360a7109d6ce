// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "base/qbsupportfolder.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbimagedownload.h"
#include "gamedata/qblanguages.h"
#include "qbtestfiles.h"
#include "qbtesthttpserver.h"
#include "tasks/qboperationqueue.h"

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
    return QBTestFiles::png(QBTestFiles::picture(color));
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
    QVERIFY(QBTestFiles::write(coverPath(u"RMCP01"_qs), png(qRgb(255, 0, 0))));
    QSignalSpy arrived(center.coverEntry(u"RMCP01"_qs), &QBCoverEntry::coverChanged);
    // Read off the event loop: not cached on return, shown when ready.
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(!center.getImageForGame(game(u"RMCP01"_qs)));
    QVERIFY(arrived.wait());
    QCOMPARE(arrived.size(), 1);
    QCOMPARE(center.images().value(u"RMCP01"_qs).pixel(0, 0), qRgb(255, 0, 0));

    // From the cache from now on, even when the file goes, also for a game
    // listed later.
    QVERIFY(QFile::remove(coverPath(u"RMCP01"_qs)));
    QVERIFY(center.getImageForGame(game(u"RMCP01"_qs)));
    QCOMPARE(QBGameBundle(game(u"RMCP01"_qs)).cover().pixel(0, 0), qRgb(255, 0, 0));
    QTest::qWait(50);
    QCOMPARE(arrived.size(), 1);
    QVERIFY(m_server->requests().isEmpty());
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

QTEST_GUILESS_MAIN(tst_QBImageDownload)
#include "tst_qbimagedownload.moc"
