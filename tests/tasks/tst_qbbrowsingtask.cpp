// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbkeys.h"
#include "base/qbsupportfolder.h"
#include "qbfaketool.h"
#include "qbtasktestutil.h"
#include "qbtestimages.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

class tst_QBBrowsingTask : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void cannedOutput_data();
    void cannedOutput();
    void gameRecordShape();
    void pipeCuts_data();
    void pipeCuts();

    void listsFolderWithRealWit();
    void listsSingleImage();
    void listsWbfsFileWithRealWwt();
    void listsOneGameOfWbfsFile();
    void listsBigWbfsFileWholeEveryTime();
    void cancelledListingPostsNoFinal();

private:
    QTemporaryDir m_dir;
    QBTestImages::Library m_library;
};

void tst_QBBrowsingTask::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QBTestImages::makeLibrary(m_dir.path(), &m_library), qPrintable(QBTestImages::lastError()));
}

namespace {
QString gameSection(const QString &header, const QString &id, const QString &extra = {},
                    const QString &drop = {})
{
    QStringList lines{u"id="_qs + id, u"name=Name "_qs + id, u"title="_qs, u"region=PAL "_qs,
                      u"size=4699979776"_qs, u"itime=1 2026-11-22"_qs, u"filetype=ISO/WII"_qs,
                      u"filename=/f/"_qs + id + u".iso"_qs, u"source=/f/"_qs + id + u".iso"_qs};
    if (!drop.isEmpty())
        lines.removeIf([&](const QString &line) { return line.startsWith(drop + u'='); });
    if (!extra.isEmpty())
        lines << extra;
    return u'[' + header + u"]\\n"_qs + lines.join(u"\\n"_qs) + u"\\n\\n"_qs;
}
const QString partition = u"[wbfs-0]\\nfile=P\\nused_discs=2\\nfree_mib=12345\\ntotal_mib=20480\\n\\n"_qs;
}

void tst_QBBrowsingTask::cannedOutput_data()
{
    QTest::addColumn<int>("launchPath");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<QStringList>("filenames");
    QTest::addColumn<bool>("onWBFS");
    QTest::addColumn<bool>("hasPartitionInfos");
    QTest::addColumn<int>("status");

    QTest::newRow("wit progress:found")
            << 0 << gameSection(u"progress:found"_qs, u"RAAP01"_qs) + gameSection(u"disc-0"_qs, u"RAAP01"_qs)
            << QStringList{u"RAAP01"_qs} << QStringList{u"/f/RAAP01.iso"_qs} << false << false << 0;
    QTest::newRow("wwt partition first")
            << 1 << u"\\n"_qs + partition + gameSection(u"disc-0"_qs, u"RAAP01"_qs) + gameSection(u"disc-1"_qs, u"RBBP01"_qs)
            << QStringList{u"RAAP01"_qs, u"RBBP01"_qs}
            << QStringList{u"/f/RAAP01.iso/RAAP01"_qs, u"/f/RBBP01.iso/RBBP01"_qs} << true << true << 0;
    QTest::newRow("wwt partition last")
            << 1 << gameSection(u"disc-0"_qs, u"RAAP01"_qs) + partition << QStringList{u"RAAP01"_qs}
            << QStringList{u"/f/RAAP01.iso"_qs} << false << true << 0;
    QTest::newRow("game without region is dropped")
            << 0 << gameSection(u"progress:found"_qs, u"RAAP01"_qs, {}, u"region"_qs)
                    + gameSection(u"progress:found"_qs, u"RBBP01"_qs)
            << QStringList{u"RBBP01"_qs} << QStringList{u"/f/RBBP01.iso"_qs} << false << false << 0;
    QTest::newRow("disc sections of another selector are ignored")
            << 2 << partition + gameSection(u"disc-0"_qs, u"RAAP01"_qs) << QStringList() << QStringList()
            << false << true << 0;
    QTest::newRow("game section cut by the end of output")
            << 0 << gameSection(u"progress:found"_qs, u"RAAP01"_qs).chopped(4) << QStringList()
            << QStringList() << false << false << 0;
    QTest::newRow("error keeps the games")
            << 0 << gameSection(u"progress:found"_qs, u"RAAP01"_qs) + u"!! wit: ERROR #30\\n"_qs
            << QStringList{u"RAAP01"_qs} << QStringList{u"/f/RAAP01.iso"_qs} << false << false << 1;
}

void tst_QBBrowsingTask::cannedOutput()
{
    QFETCH(int, launchPath);
    QFETCH(QString, output);
    QFETCH(QStringList, ids);
    QFETCH(QStringList, filenames);
    QFETCH(bool, onWBFS);
    QFETCH(bool, hasPartitionInfos);
    QFETCH(int, status);

    QBFakeTool tool;
    tool.setScript(u"out "_qs + output + u'\n');
    const Listing listing = browse({u"list"_qs}, launchPath);
    QCOMPARE(listing.finalPosts, 1);
    QCOMPARE(listing.ids(), ids);
    for (int i = 0; i < listing.games.size(); ++i) {
        QCOMPARE(listing.games[i].value(GameKey::filename).toString(), filenames[i]);
        QCOMPARE(listing.games[i].value(GameKey::isOnWBFS).toBool(), onWBFS);
    }
    QCOMPARE(listing.final.value(UserInfoKey::terminationStatus).toInt(), status);
    QCOMPARE(listing.final.contains(UserInfoKey::partitionInfos), hasPartitionInfos);
    if (hasPartitionInfos) {
        const QVariantMap infos = listing.final.value(UserInfoKey::partitionInfos).toMap();
        QCOMPARE(infos.value(PartitionKey::freeSize).metaType().id(), int(QMetaType::Float));
        QCOMPARE(infos.value(PartitionKey::freeSize).toFloat(), 12.3f);
        QCOMPARE(infos.value(PartitionKey::totalSize).toFloat(), 20.5f);
        QVERIFY(!infos.contains(PartitionKey::freeMib) && !infos.contains(PartitionKey::totalMib));
    } else {
        QCOMPARE(listing.final.keys(), QStringList{UserInfoKey::terminationStatus});
    }
}

void tst_QBBrowsingTask::gameRecordShape()
{
    QBFakeTool tool;
    tool.setScript(u"out "_qs + gameSection(u"progress:found"_qs, u"RAAP01"_qs)
                   + gameSection(u"progress:found"_qs, u"../../x"_qs) + u'\n');
    const Listing listing = browse({u"list"_qs}, 0);
    QCOMPARE(listing.games.size(), 2);
    // An ID that is not a disc's makes no cover path.
    QVERIFY(!listing.games.last().contains(GameKey::coverPath));
    const QVariantMap game = listing.games.first();
    QCOMPARE(game.keys(), (QStringList{u"coverPath"_qs, u"filename"_qs, u"filetype"_qs, u"id"_qs,
                                       u"isOnWBFS"_qs, u"region"_qs, u"size"_qs, u"title"_qs}));
    QCOMPARE(game.value(GameKey::title).toString(), u"Name RAAP01"_qs);
    QCOMPARE(game.value(GameKey::region).toString(), u"PAL "_qs);
    QCOMPARE(game.value(GameKey::size).metaType().id(), int(QMetaType::Float));
    QCOMPARE(game.value(GameKey::size).toFloat(), 4.7f);
    QCOMPARE(game.value(GameKey::isOnWBFS).metaType().id(), int(QMetaType::Bool));
    QCOMPARE(game.value(GameKey::coverPath).toString(),
             tool.supportFolder() + u"/covers/RAAP01.png"_qs);
}

namespace {
QByteArray found(const QByteArray &id, const QByteArray &name)
{
    return "[progress:found]\nid=" + id + "\nname=" + name + "\ntitle=\nregion=PAL \nsize=4699979776\n"
           "filetype=ISO/WII\nfilename=/f/" + id + ".iso\n\n";
}
// "Pokémon 日本 🎮": two-, three- and four-byte characters.
const QByteArray games = found("RAAP01", "Alpha") + found("RBBP01", "Pok\xC3\xA9mon \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAE")
        + found("RCCP01", "Gamma");
// The output with the pipe's cuts: each "|" of marked, which stands in the
// text without them.
QByteArray cut(QByteArray text, const QByteArray &marked)
{
    return text.replace(QByteArray(marked).replace('|', ""), marked);
}
}

void tst_QBBrowsingTask::pipeCuts_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<int>("status");
    const QStringList all{u"RAAP01 Alpha"_qs, u"RBBP01 Pokémon 日本 🎮"_qs, u"RCCP01 Gamma"_qs};
    QTest::newRow("inside a line") << cut(games, "Al|pha") << all << 0;
    QTest::newRow("after a line break") << cut(games, "RBBP01\n|name") << all << 0;
    QTest::newRow("inside a key") << cut(games, "i|d=RBBP01") << all << 0;
    QTest::newRow("around the equals sign") << cut(games, "name|=|Pok") << all << 0;
    QTest::newRow("inside a 2-byte character") << cut(games, "Pok\xC3|\xA9mon") << all << 0;
    QTest::newRow("inside a 3-byte character") << cut(games, "\xE6|\x97|\xA5") << all << 0;
    QTest::newRow("inside a 4-byte character") << cut(games, "\xF0|\x9F\x8E|\xAE") << all << 0;
    QTest::newRow("before the empty line") << cut(games, "RBBP01.iso\n|\n") << all << 0;
    QTest::newRow("invalid UTF-8 loses its line only")
            << cut(found("RAAP01", "Alpha") + found("RBBP01", "Pok\xFFmon") + found("RCCP01", "Gamma"), "Pok|\xFF")
            << QStringList{all.first(), all.last()} << 0;
    QTest::newRow("no line break at the end") << games + "!! wit: ERROR|, no newline" << all << 1;
}

void tst_QBBrowsingTask::pipeCuts()
{
    QFETCH(QByteArray, output);
    QString script;
    for (const QByteArray &piece : output.split('|')) {
        script += u"out "_qs;
        for (const char c : piece)
            script += c > ' ' && c < 127 && c != '\\' ? QString(QLatin1Char(c)) : u"\\x%1"_qs.arg(uchar(c), 2, 16, QChar(u'0'));
        script += u"\npause 30\n"_qs;
    }
    QBFakeTool tool;
    tool.setScript(script);
    const Listing listing = browse({u"list"_qs}, 0);
    QStringList listed;
    for (const QVariantMap &game : listing.games)
        listed << game[u"id"_qs].toString() + u' ' + game[u"title"_qs].toString();
    QTEST(listed, "listed");
    QTEST(listing.final.value(UserInfoKey::terminationStatus).toInt(), "status");
}

void tst_QBBrowsingTask::listsFolderWithRealWit()
{
    const Listing listing = browse(QBBrowsingTask::folderArguments(m_library.folder, false), 0);
    QCOMPARE(listing.finalPosts, 1);
    QCOMPARE(listing.final.value(UserInfoKey::terminationStatus).toInt(), 0);
    QStringList ids = listing.ids();
    ids.sort();
    QCOMPARE(ids, m_library.topLevelIds);

    const QVariantMap beta = listing.game(u"RQBP01"_qs);
    QCOMPARE(beta.value(GameKey::title).toString(), u"Beta: The Colon"_qs);
    QCOMPARE(beta.value(GameKey::region).toString(), u"PAL "_qs);
    QCOMPARE(beta.value(GameKey::filetype).toString(), u"ISO/WII"_qs);
    QCOMPARE(beta.value(GameKey::size).toFloat(), 4.7f);
    QCOMPARE(beta.value(GameKey::filename).toString(), m_library.path(u"Beta [RQBP01].iso"_qs));
    QCOMPARE(beta.value(GameKey::isOnWBFS).toBool(), false);

    QCOMPARE(listing.game(u"GQGE01"_qs).value(GameKey::size).toFloat(), 1.46f);
    QCOMPARE(listing.game(u"GQGE01"_qs).value(GameKey::filetype).toString(), u"ISO/GC"_qs);
    QCOMPARE(listing.game(u"RQCJ01"_qs).value(GameKey::region).toString(), u"JAPA"_qs);
    QCOMPARE(listing.game(u"RQDK01"_qs).value(GameKey::filetype).toString(), u"CISO/WII"_qs);
    const QVariantMap unicode = listing.game(u"RQFP01"_qs);
    QCOMPARE(unicode.value(GameKey::title).toString(), u"Ça märche – Ünïcödé 日本"_qs);
    QCOMPARE(unicode.value(GameKey::filename).toString(), m_library.path(u"Ça märche – 日本 [RQFP01].wdf"_qs));
}

void tst_QBBrowsingTask::listsSingleImage()
{
    const QString image = m_library.path(u"Charlie [RQCJ01].wia"_qs);
    const Listing listing = browse(QBBrowsingTask::folderArguments(image, false), 0);
    QCOMPARE(listing.ids(), QStringList{u"RQCJ01"_qs});
    QCOMPARE(listing.games.first().value(GameKey::filetype).toString(), u"WIA/WII"_qs);
    QCOMPARE(listing.games.first().value(GameKey::filename).toString(), image);
    QCOMPARE(listing.final.value(UserInfoKey::terminationStatus).toInt(), 0);
}

void tst_QBBrowsingTask::listsWbfsFileWithRealWwt()
{
    const Listing listing = browse(QBBrowsingTask::partitionArguments(m_library.container), 1);
    QCOMPARE(listing.ids(), (QStringList{u"RQAE01"_qs, u"RQBP01"_qs, u"GQGE01"_qs}));
    for (const QVariantMap &game : listing.games) {
        QVERIFY(game.value(GameKey::isOnWBFS).toBool());
        QCOMPARE(game.value(GameKey::filename).toString(),
                 m_library.container + u'/' + game.value(GameKey::id).toString());
        QVERIFY(game.value(GameKey::filetype).toString().startsWith(u"WBFS/"_qs));
    }
    QCOMPARE(listing.final.value(UserInfoKey::terminationStatus).toInt(), 0);
    const QVariantMap infos = listing.final.value(UserInfoKey::partitionInfos).toMap();
    // A 10 GiB file: 10240 MiB in all; the tool prints no path and no size.
    QCOMPARE(infos.value(PartitionKey::totalSize).toFloat(), 10.2f);
    QVERIFY(infos.value(PartitionKey::freeSize).toFloat() > 9.0f);
    QVERIFY(!infos.contains(PartitionKey::path));
}

void tst_QBBrowsingTask::listsOneGameOfWbfsFile()
{
    QStringList arguments = QBBrowsingTask::partitionArguments(m_library.container);
    arguments << u"--include"_qs << u"RQBP01"_qs;
    QCOMPARE(browse(arguments, 1).ids(), QStringList{u"RQBP01"_qs});
}

void tst_QBBrowsingTask::listsBigWbfsFileWholeEveryTime()
{
    // wwt writes its listing in 4 KiB blocks, which end inside lines and
    // characters. Titles with accents and other scripts, some IDs whose
    // title wwt takes from its own list ("Pokémon Colosseum").
    const QStringList listed{u"GC6E01"_qs, u"GPAE01"_qs, u"GTEE01"_qs, u"GXXE01"_qs, u"GPXE01"_qs};
    QStringList images;
    for (int i = 0; i < 64; ++i) {
        const QString id = i < listed.size() ? listed.at(i) : u"GZ%1%2"_qs.arg(QChar(u'A' + i / 26)).arg(QChar(u'A' + i % 26)) + u"01"_qs;
        const QString title = u"Ça märche – 日本語のゲーム %1 🎮 Ñandú"_qs.arg(i);
        images << QBTestImages::makeGameCubeImage(m_dir.filePath(u"big/%1.iso"_qs.arg(id)), id, title);
        QVERIFY2(!images.last().isEmpty(), qPrintable(QBTestImages::lastError()));
    }
    const QString part = QBTestImages::makeWbfsFile(m_dir.filePath(u"big/PART.wbfs"_qs), images, 2);
    QVERIFY2(!part.isEmpty(), qPrintable(QBTestImages::lastError()));

    // What wwt itself prints, game by game.
    const QStringList arguments = QBBrowsingTask::partitionArguments(part);
    QString output;
    QVERIFY(QBTestImages::run(u"wwt"_qs, arguments, &output));
    QStringList expected;
    for (const QString &section : output.split(u"\n\n"_qs)) {
        QVariantMap game;
        for (const QString &line : section.split(u'\n'))
            game.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
        if (section.startsWith(u"[disc-"_qs)) {
            expected << QStringList{game[u"id"_qs].toString(), game[u"name"_qs].toString(), game[u"region"_qs].toString(),
                                    game[u"filetype"_qs].toString(), part + u'/' + game[u"id"_qs].toString(),
                                    QString::number(std::round(game[u"size"_qs].toDouble() / 1e7) / 100)}
                                .join(u'|');
        }
    }
    QCOMPARE(expected.size(), 64);

    QStringList counts;
    bool whole = true;
    for (int run = 0; run < 20; ++run) {
        const Listing listing = browse(arguments, 1);
        QStringList games;
        for (const QVariantMap &game : listing.games) {
            games << QStringList{game[u"id"_qs].toString(), game[u"title"_qs].toString(), game[u"region"_qs].toString(),
                                 game[u"filetype"_qs].toString(), game[u"filename"_qs].toString(),
                                 QString::number(game[u"size"_qs].toFloat())}
                             .join(u'|');
        }
        const bool same = games == expected && listing.final.value(UserInfoKey::terminationStatus) == 0;
        counts << QString::number(games.size()) + (same ? u""_qs : u"*"_qs);
        whole = whole && same;
    }
    // "*" marks a run whose games or values differ from wwt's.
    QVERIFY2(whole, qPrintable(u"games listed of 64: "_qs + counts.join(u' ')));
}

void tst_QBBrowsingTask::cancelledListingPostsNoFinal()
{
    QBFakeTool tool;
    tool.setScript(u"out "_qs + gameSection(u"progress:found"_qs, u"RAAP01"_qs)
                   + u"\npause 300\nout "_qs + gameSection(u"progress:found"_qs, u"RBBP01"_qs) + u'\n');
    QBBrowsingTask task({u"list"_qs}, 0, nullptr);
    QList<QVariantMap> posts;
    connect(&task, &QBBrowsingTask::browsingDidFinish, this, [&](const QVariantMap &info) { posts << info; });
    QSignalSpy finished(&task, &QBOperation::finished);
    task.start();
    QTRY_COMPARE(posts.size(), 1);
    task.cancel();
    QVERIFY(finished.wait(5000));
    QCOMPARE(posts.size(), 1);
    QVERIFY(posts.first().contains(UserInfoKey::game));
}

QTEST_GUILESS_MAIN(tst_QBBrowsingTask)
#include "tst_qbbrowsingtask.moc"
