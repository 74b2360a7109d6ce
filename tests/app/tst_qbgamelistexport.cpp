// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbgamelistexport.h"
#include "base/qbsettings.h"
#include "qbtestfiles.h"
#include "qbtesthttpserver.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTcpServer>

namespace {

QVariantMap game(const QString &id, const QString &title, const QString &region, const QVariantMap &facts = {})
{
    QVariantMap values{{u"id"_qs, id}, {u"title"_qs, title}, {u"region"_qs, region}};
    values.insert(facts);
    return values;
}

// UTF-16, little end first, after its byte-order mark.
QByteArray utf16(const QString &text)
{
    return QByteArray("\xff\xfe", 2)
            + QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
}

QBGameListExport::Result run(QBGameListExport &job)
{
    QSignalSpy finished(&job, &QBGameListExport::finished);
    job.start();
    if (!finished.wait(10000))
        return QBGameListExport::Result::Pending;
    return job.result();
}

}

class tst_QBGameListExport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void htmlPage_data();
    void htmlPage();
    void targetPath();
    void checksAFewAtATimeAndCancels();

private:
    QTemporaryDir m_dir;
    QBTestHttpServer m_server;
};

void tst_QBGameListExport::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    m_server.setRoute(u"/wii/cover3D/US/RMCE01.png"_qs, "png");
    m_server.setRoute(u"/wii/cover3D/FR/RQBP01.png"_qs, "png");
    // An answer without a body counts as no cover.
    m_server.setRoute(u"/wii/cover3D/FR/RQCP01.png"_qs, QByteArray());
}

void tst_QBGameListExport::init()
{
    QSettings().clear();
    QBSettings::setValue(SettingsKey::languages, QStringList{u"fr"_qs, u"en"_qs});
    QBSettings::setValue(SettingsKey::coverServer, m_server.url());
}

void tst_QBGameListExport::htmlPage_data()
{
    QTest::addColumn<bool>("serverUp");
    QTest::addColumn<QStringList>("pictures");

    const QString url = m_server.url();
    QTest::newRow("covers found") << true
                                  << QStringList{url + u"/wii/cover3D/US/RMCE01.png"_qs,
                                                 url + u"/wii/cover3D/EN/SMNP01.png"_qs,
                                                 url + u"/wii/cover3D/FR/RQBP01.png"_qs,
                                                 url + u"/wii/cover3D/EN/RQCP01.png"_qs};
    // Every game falls back to its English cover.
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost));
    const QString down = u"http://127.0.0.1:%1"_qs.arg(closed.serverPort());
    QTest::newRow("server down") << false
                                 << QStringList{down + u"/wii/cover3D/EN/RMCE01.png"_qs,
                                                down + u"/wii/cover3D/EN/SMNP01.png"_qs,
                                                down + u"/wii/cover3D/EN/RQBP01.png"_qs,
                                                down + u"/wii/cover3D/EN/RQCP01.png"_qs};
}

void tst_QBGameListExport::htmlPage()
{
    QFETCH(bool, serverUp);
    QFETCH(QStringList, pictures);
    if (!serverUp)
        QBSettings::setValue(SettingsKey::coverServer, pictures.first().section(u'/', 0, 2));

    const QList<QVariantMap> games{
            game(u"RMCE01"_qs, u"Super Mario Galaxy"_qs, u"NTSC-U"_qs,
                 {{u"players"_qs, 1}, {u"wi-fi-players"_qs, 0}, {u"languages"_qs, u"EN,FR,ES"_qs}}),
            game(u"SMNP01"_qs, u"New Super Mario Bros. <Wii> & co"_qs, u"PAL"_qs),
            game(u"RQBP01"_qs, u"Bêta – 日本"_qs, u"PAL"_qs, {{u"players"_qs, 4}, {u"wi-fi-players"_qs, 2}}),
            game(u"RQCP01"_qs, u"Charlie"_qs, u"PAL"_qs, {{u"languages"_qs, u"FR"_qs}}),
    };
    const QString folder = m_dir.filePath(u"Wii games"_qs);
    QBGameListExport job(folder, games, u"html"_qs, m_dir.filePath(u"list.txt"_qs));
    QSignalSpy progress(&job, &QBGameListExport::progressChanged);
    QCOMPARE(run(job), QBGameListExport::Result::Written);
    QCOMPARE(job.path(), m_dir.filePath(u"list.html"_qs));
    QCOMPARE(progress.size(), 4);
    QCOMPARE(progress.last(), (QVariantList{4, 4}));

    // The page around the rows is checked by the --export test.
    const QString rows =
            u"<tr><td><img src='"_qs + pictures.at(0) + u"' /></td><td>RMCE01</td><td>Super Mario Galaxy</td>"
            "<td>1</td><td>0</td><td>EN,FR,ES</td></tr>\n"
            "<tr><td><img src='"_qs + pictures.at(1) + u"' /></td><td>SMNP01</td><td>New Super Mario Bros. <Wii> & co"
            "</td><td>(null)</td><td>(null)</td><td>(null)</td></tr>\n"
            "<tr><td><img src='"_qs + pictures.at(2) + u"' /></td><td>RQBP01</td><td>Bêta – 日本</td>"
            "<td>4</td><td>2</td><td>(null)</td></tr>\n"
            "<tr><td><img src='"_qs + pictures.at(3) + u"' /></td><td>RQCP01</td><td>Charlie</td>"
            "<td>(null)</td><td>(null)</td><td>FR</td></tr>\n"_qs;
    QVERIFY(QBTestFiles::read(job.path()).contains(utf16(rows).mid(2)));
    QVERIFY(!QFile::exists(m_dir.filePath(u"list.txt"_qs)));
    if (serverUp) {
        // One check per game, and the English cover is never fetched.
        QStringList asked = m_server.requests();
        asked.sort();
        QCOMPARE(asked, (QStringList{u"/wii/cover3D/FR/RQBP01.png"_qs, u"/wii/cover3D/FR/RQCP01.png"_qs,
                                     u"/wii/cover3D/FR/SMNP01.png"_qs, u"/wii/cover3D/US/RMCE01.png"_qs}));
    }
    QFile::remove(job.path());
}

// Only the last extension goes; a name that starts with a dot keeps it.
void tst_QBGameListExport::targetPath()
{
    QCOMPARE(QBGameListExport::targetPath(u"/a/games.tar.gz"_qs, u"txt"_qs), u"/a/games.tar.txt"_qs);
    QCOMPARE(QBGameListExport::targetPath(u"/a.b/list"_qs, u"html"_qs), u"/a.b/list.html"_qs);
    QCOMPARE(QBGameListExport::targetPath(u"/a/.list"_qs, u"html"_qs), u"/a/.list.html"_qs);
}

void tst_QBGameListExport::checksAFewAtATimeAndCancels()
{
    QBTestHttpServer held;
    QList<QVariantMap> games;
    for (int i = 0; i < 20; ++i) {
        const QString id = u"RQ%1P1"_qs.arg(i, 2, 10, QLatin1Char('0'));
        games << game(id, id, u"PAL"_qs);
        held.setRoute(u"/wii/cover3D/FR/%1.png"_qs.arg(id), "png", QBTestHttpServer::Mode::Held);
    }
    QBSettings::setValue(SettingsKey::coverServer, held.url());
    QBGameListExport job(u"games"_qs, games, u"html"_qs, m_dir.filePath(u"held.html"_qs));
    QSignalSpy progress(&job, &QBGameListExport::progressChanged);
    QSignalSpy finished(&job, &QBGameListExport::finished);
    job.start();
    QTRY_COMPARE(held.requests().size(), QBGameListExport::checksInFlight);
    held.release();
    QTRY_COMPARE(progress.size(), QBGameListExport::checksInFlight);
    QTRY_COMPARE(held.requests().size(), 20);
    QVERIFY(finished.isEmpty());

    job.cancel();
    QCOMPARE(finished.size(), 1);
    QCOMPARE(job.result(), QBGameListExport::Result::Cancelled);
    held.release();
    QTest::qWait(50);
    QCOMPARE(progress.size(), QBGameListExport::checksInFlight);
    QCOMPARE(finished.size(), 1);
    QVERIFY(!QFile::exists(job.path()));
}

QTEST_GUILESS_MAIN(tst_QBGameListExport)
#include "tst_qbgamelistexport.moc"
