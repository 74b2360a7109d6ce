// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/qbsettings.h"
#include "document/qbdocument.h"
#include "document/qbdocumentadding.h"
#include "document/qbfilesystem.h"
#include "document/qbloaderdrive.h"
#include "panels/qbfilenamepattern.h"
#include "qbtestimages.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScopeGuard>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using QBConversionLayout::Layout;

class tst_QBLoaderDrives : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void layouts_data();
    void layouts();
    void patternText_data();
    void patternText();
    void missingGames();
    void fatDrive();
    void sync();

private:
    struct Run
    {
        int exitCode = -1;
        QList<QJsonObject> plan;
        QByteArray errors;
    };
    Run sync(const QStringList &arguments);
    QStringList filesUnder(const QString &folder) const;

    QTemporaryDir m_dir;
    QProcessEnvironment m_environment;
};

namespace {

QVariantMap game(const QString &id, const QString &filetype, const QString &filename, bool onWBFS = false)
{
    return {{u"id"_qs, id}, {u"filetype"_qs, filetype}, {u"filename"_qs, filename}, {u"isOnWBFS"_qs, onWBFS}};
}

}

void tst_QBLoaderDrives::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    // The program run by the tests keeps its settings and support folder
    // here, with a cover for one game.
    m_environment = QProcessEnvironment::systemEnvironment();
    m_environment.insert(u"XDG_CONFIG_HOME"_qs, m_dir.filePath(u"config"_qs));
    m_environment.insert(u"XDG_DATA_HOME"_qs, m_dir.filePath(u"data"_qs));
    QVERIFY(QDir().mkpath(m_dir.filePath(u"data/palomet/covers"_qs)));
    QImage cover(8, 8, QImage::Format_RGB32);
    cover.fill(Qt::red);
    QVERIFY(cover.save(m_dir.filePath(u"data/palomet/covers/RQAE01.png"_qs)));
}

void tst_QBLoaderDrives::layouts_data()
{
    QTest::addColumn<int>("layout");
    QTest::addColumn<bool>("fat");
    QTest::addColumn<QVariantMap>("game");
    QTest::addColumn<QString>("name");
    // Empty: refused, for the reason in arguments.
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QStringList>("arguments");

    const QStringList tail{u"--overwrite"_qs, u"--sections"_qs, u"--progress"_qs};
    const QStringList fatSplit{u"--split-size"_qs, u"4G-32K"_qs};
    QTest::newRow("loader, Wii image")
            << int(QBConversionLayout::UsbLoader) << false << game(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A [RABE01]"_qs << u"/d/wbfs/A [RABE01]/RABE01.wbfs"_qs
            << QStringList{u"copy"_qs, u"--source"_qs, u"/s/a.iso"_qs, u"--dest"_qs, u"/d/wbfs/A [RABE01]/RABE01.wbfs"_qs}
                    + tail + QStringList{u"--split-size"_qs, u"2000M"_qs};
    QTest::newRow("loader, GameCube image, FAT")
            << int(QBConversionLayout::UsbLoader) << true << game(u"GABE01"_qs, u"WBFS/GC"_qs, u"/s/g.wbfs"_qs)
            << u"G"_qs << u"/d/games/G/game.iso"_qs
            << QStringList{u"copy"_qs, u"--source"_qs, u"/s/g.wbfs"_qs, u"--dest"_qs, u"/d/games/G/game.iso"_qs} + tail
                    + fatSplit;
    QTest::newRow("loader, Wii game of a WBFS file, FAT")
            << int(QBConversionLayout::UsbLoader) << true
            << game(u"RABE01"_qs, u"WBFS/WII"_qs, u"/s/P.wbfs/RABE01"_qs, true) << u"A"_qs
            << u"/d/wbfs/A/RABE01.wbfs"_qs
            << QStringList{u"extract"_qs, u"RABE01"_qs, u"--dest"_qs, u"/d/wbfs/A/RABE01.wbfs"_qs, u"--part"_qs,
                           u"/s/P.wbfs"_qs} + tail + fatSplit;
    // A WBFS file calls its GameCube games Wii games: the ID tells.
    QTest::newRow("Nintendont, GameCube game of a WBFS file")
            << int(QBConversionLayout::Nintendont) << false
            << game(u"GABE01"_qs, u"WBFS/WII"_qs, u"/s/P.wbfs/GABE01"_qs, true) << u"G"_qs << u"/d/games/G/game.iso"_qs
            << QStringList{u"extract"_qs, u"GABE01"_qs, u"--dest"_qs, u"/d/games/G/game.iso"_qs, u"--part"_qs,
                           u"/s/P.wbfs"_qs} + tail + QStringList{u"--split-size"_qs, u"2000M"_qs};
    QTest::newRow("Nintendont refuses Wii games")
            << int(QBConversionLayout::Nintendont) << false << game(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A"_qs << QString() << QStringList{u"Nintendont loads GameCube games only."_qs};
    QTest::newRow("a loader needs a disc ID")
            << int(QBConversionLayout::UsbLoader) << false << game(u"../x"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A"_qs << QString()
            << QStringList{u"A loader finds a game by its ID, which is four to six letters and digits."_qs};
    QTest::newRow("custom on FAT: the name cleaned, split whatever the setting")
            << int(QBConversionLayout::Custom) << true << game(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"A: \"B\"? ."_qs << u"/d/A B/A B.wbfs"_qs
            << QStringList{u"copy"_qs, u"--source"_qs, u"/s/a.iso"_qs, u"--dest"_qs, u"/d/A B/A B.wbfs"_qs} + tail
                    + fatSplit;
    QTest::newRow("custom on FAT: nothing left of the name")
            << int(QBConversionLayout::Custom) << true << game(u"RABE01"_qs, u"ISO/WII"_qs, u"/s/a.iso"_qs)
            << u"<?>"_qs << QString() << QStringList{u"The file name would be empty."_qs};
}

void tst_QBLoaderDrives::layouts()
{
    QFETCH(int, layout);
    QFETCH(bool, fat);
    QFETCH(QVariantMap, game);
    QFETCH(QString, name);
    QFETCH(QString, destination);
    QFETCH(QStringList, arguments);
    const QBAdding::FolderRules rules{Layout(layout), u"wbfs"_qs, true, 2000, u"lzma"_qs, fat};
    const QString refusal = QBAdding::refusal(game, name, rules);
    if (destination.isEmpty()) {
        QCOMPARE(refusal, arguments.first());
        return;
    }
    QCOMPARE(refusal, QString());
    QCOMPARE(QBAdding::folderDestination(u"/d"_qs, game, name, rules), destination);
    QCOMPARE(QBAdding::conversionCommand(QBDocument::Folder, game, destination, u"/d"_qs, rules.splitSize,
                                         rules.compressionMode, rules.fat)
                     .arguments,
             arguments);
}

void tst_QBLoaderDrives::patternText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::newRow("title and ID") << u"{title} [{id}]"_qs << true;
    QTest::newRow("unknown token") << u"{name}"_qs << false;
    QTest::newRow("unclosed token") << u"{title"_qs << false;
    QTest::newRow("stray brace") << u"a}"_qs << false;
    QTest::newRow("illegal character") << u"{id}/x"_qs << false;
    QTest::newRow("empty") << QString() << false;
}

void tst_QBLoaderDrives::patternText()
{
    QFETCH(QString, text);
    const auto pattern = QBFilenamePattern::fromText(text);
    QTEST(pattern.has_value(), "valid");
    if (pattern) {
        QCOMPARE(pattern->stringValueForGame(QVariantMap{{u"title"_qs, u"Space: Race"_qs}, {u"id"_qs, u"RABE01"_qs}}),
                 u"Space Race [RABE01]"_qs);
    }
}

void tst_QBLoaderDrives::missingGames()
{
    std::unique_ptr<QBDocument> here(QBDocument::create(m_dir.path(), QBDocument::Folder, 1));
    std::unique_ptr<QBDocument> there(QBDocument::create(m_dir.path(), QBDocument::Folder, 1));
    for (const char *id : {"RQ0E01", "RQ1E01", "RQ2E01", "RQ3E01"})
        here->browsingDidFinish({{u"game"_qs, game(QString::fromLatin1(id), u"ISO/WII"_qs, u"/h/"_qs + QLatin1String(id))}});
    for (const char *id : {"RQ1E01", "RQ3E01", "RQ9E01"})
        there->browsingDidFinish({{u"game"_qs, game(QString::fromLatin1(id), u"ISO/WII"_qs, u"/t/"_qs + QLatin1String(id))}});
    // A game hidden by the other window's search is still listed there.
    there->updateFilter(u"RQ9"_qs);
    QStringList missing;
    for (const int index : here->indexesOfGamesMissingFrom(*there))
        missing << here->arrangedGame(index).value(u"id"_qs).toString();
    missing.sort();
    QCOMPARE(missing, (QStringList{u"RQ0E01"_qs, u"RQ2E01"_qs}));
    QVERIFY(there->indexesOfGamesMissingFrom(*there).isEmpty());
}

// A real FAT32 file system, mounted through FUSE since the kernel's vfat
// may not be there.
void tst_QBLoaderDrives::fatDrive()
{
    const QString mkfs = QStandardPaths::findExecutable(u"mkfs.vfat"_qs, {u"/usr/sbin"_qs, u"/sbin"_qs});
    const QString fusefat = QStandardPaths::findExecutable(u"fusefat"_qs);
    const QString fusermount = QStandardPaths::findExecutable(u"fusermount"_qs);
    if (mkfs.isEmpty() || fusefat.isEmpty() || fusermount.isEmpty() || !QFileInfo(u"/dev/fuse"_qs).isWritable())
        QSKIP("FUSE, fusefat or mkfs.vfat is missing (packages fuse, fusefat, dosfstools)");
    const QString image = m_dir.filePath(u"fat32.img"_qs);
    const QString mount = m_dir.filePath(u"fat"_qs);
    QVERIFY(QDir().mkpath(mount));
    QFile disk(image);
    QVERIFY(disk.open(QIODevice::WriteOnly) && disk.resize(qint64(256) << 20));
    disk.close();
    QVERIFY2(QBTestImages::run(mkfs, {u"-F"_qs, u"32"_qs, image}), qPrintable(QBTestImages::lastError()));
    QProcess fuse;
    // fusefat talks on every write; an unread pipe would stall the drive.
    fuse.setStandardOutputFile(QProcess::nullDevice());
    fuse.setStandardErrorFile(QProcess::nullDevice());
    fuse.start(fusefat, {u"-f"_qs, u"-o"_qs, u"rw+"_qs, image, mount});
    const auto unmount = qScopeGuard([&] {
        QProcess::execute(fusermount, {u"-u"_qs, mount});
        if (!fuse.waitForFinished(5000))
            fuse.kill();
        fuse.waitForFinished();
    });
    QTRY_VERIFY_WITH_TIMEOUT(QBFilesystemCenter::isFat(mount), 10000);
    QVERIFY(!QBFilesystemCenter::isFat(m_dir.path()));

    // A drop's or a sync's conversions onto it are split below 4 GiB.
    const QString source = m_dir.filePath(u"fatsource"_qs);
    QVERIFY(!QBTestImages::makeGameCubeImage(source + u"/g.iso"_qs, u"GQGE01"_qs, u"Golf: Cube"_qs).isEmpty());
    const Run plan = sync({source, mount, u"--layout"_qs, u"nintendont"_qs, u"--dry-run"_qs});
    QCOMPARE(plan.exitCode, 0);
    QCOMPARE(plan.plan.size(), 1);
    QCOMPARE(plan.plan.first().value(u"destinationPath"_qs).toString(), mount + u"/games/Golf Cube [GQGE01]/game.iso"_qs);
    QVERIFY(plan.plan.first().value(u"arguments"_qs).toVariant().toStringList().join(u' ').endsWith(u"--split-size 4G-32K"_qs));

    // The tool itself splits onto the mount: a GameCube game of just over
    // 100 MB of data, as WBFS in parts below the split size, reads back whole.
    const QString big = m_dir.filePath(u"big.iso"_qs);
    QVERIFY(!QBTestImages::makeGameCubeImage(big, u"GQHE01"_qs, u"Heavy Cube"_qs, qint64(105) << 20).isEmpty());
    const QString landed = mount + u"/wbfs/Heavy Cube [GQHE01]/GQHE01.wbfs"_qs;
    QVERIFY(QDir().mkpath(QFileInfo(landed).path()));
    QVERIFY2(QBTestImages::run(u"wit"_qs, {u"copy"_qs, u"--split-size"_qs, u"100M"_qs, big, landed}),
             qPrintable(QBTestImages::lastError()));
    const QString second = mount + u"/wbfs/Heavy Cube [GQHE01]/GQHE01.wbf1"_qs;
    QVERIFY(QFileInfo::exists(second));
    for (const QString &part : QStringList{landed, second})
        QVERIFY(QFileInfo(part).size() <= qint64(100) << 20);
    QString listed;
    QVERIFY2(QBTestImages::run(u"wit"_qs, {u"list"_qs, u"--sections"_qs, landed}, &listed),
             qPrintable(QBTestImages::lastError()));
    QVERIFY2(listed.contains(u"id=GQHE01"_qs), qPrintable(listed));

    // The program's own files go there without permissions, which FAT has
    // none of.
    QCOMPARE(QBLoaderDrive::put(mount, QBLoaderDrive::databasePath(), "<datafile/>", false), QBLoaderDrive::Put::Written);
    QCOMPARE(QBLoaderDrive::put(mount, QBLoaderDrive::databasePath(), "other", false), QBLoaderDrive::Put::Exists);
    QFile written(mount + u"/apps/usbloader_gx/wiitdb.xml"_qs);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), QByteArray("<datafile/>"));
}

tst_QBLoaderDrives::Run tst_QBLoaderDrives::sync(const QStringList &arguments)
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral(PALOMET_PATH), QStringList{u"--sync"_qs} + arguments);
    Run run;
    if (!process.waitForFinished(120000))
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
        if (!line.isEmpty())
            run.plan << QJsonDocument::fromJson(line).object();
    }
    run.errors = process.readAllStandardError();
    return run;
}

QStringList tst_QBLoaderDrives::filesUnder(const QString &folder) const
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next().mid(folder.size() + 1);
    files.sort();
    return files;
}

// --sync with the real tools: a folder of images onto a loader's folder and
// onto a WBFS file, planned, done, and planned again.
void tst_QBLoaderDrives::sync()
{
    const QString source = m_dir.filePath(u"games"_qs);
    const QString drive = m_dir.filePath(u"drive"_qs);
    const QString container = m_dir.filePath(u"PART.wbfs"_qs);
    QVERIFY(!QBTestImages::makeWiiImage(source + u"/a.wbfs"_qs, u"RQAE01"_qs, u"Alpha Quest"_qs).isEmpty());
    QVERIFY(!QBTestImages::makeGameCubeImage(source + u"/g.iso"_qs, u"GQGE01"_qs, u"Golf Cube"_qs).isEmpty());
    QVERIFY(!QBTestImages::makeWbfsFile(container, {}).isEmpty());
    QVERIFY(QDir().mkpath(drive));

    const QStringList loader{u"--layout"_qs, u"usbloader"_qs};
    Run run = sync(QStringList{source, drive, u"--dry-run"_qs} + loader);
    QCOMPARE(run.exitCode, 0);
    QStringList planned;
    for (const QJsonObject &game : std::as_const(run.plan))
        planned << game.value(u"id"_qs).toString() + u' ' + game.value(u"destinationPath"_qs).toString();
    planned.sort();
    QCOMPARE(planned, (QStringList{u"GQGE01 "_qs + drive + u"/games/Golf Cube [GQGE01]/game.iso"_qs,
                                   u"RQAE01 "_qs + drive + u"/wbfs/Alpha Quest [RQAE01]/RQAE01.wbfs"_qs}));
    QVERIFY(filesUnder(drive).isEmpty());

    run = sync(QStringList{source, drive} + loader);
    QVERIFY2(run.exitCode == 0, run.errors.constData());
    QCOMPARE(filesUnder(drive), (QStringList{u"apps/usbloader_gx/images/RQAE01.png"_qs,
                                             u"games/Golf Cube [GQGE01]/game.iso"_qs,
                                             u"wbfs/Alpha Quest [RQAE01]/RQAE01.wbfs"_qs,
                                             u"wiiflow/boxcovers/RQAE01.png"_qs}));
    // Done: nothing more to plan, from the folder or from what is on the drive.
    run = sync(QStringList{source, drive} + loader);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.plan.size(), 0);

    run = sync({source, container});
    QVERIFY2(run.exitCode == 0, run.errors.constData());
    QCOMPARE(run.plan.size(), 2);
    run = sync(QStringList{container, drive, u"--dry-run"_qs} + loader);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.plan.size(), 0);
    QCOMPARE(sync({source, drive, u"--pattern"_qs, u"{name}"_qs}).exitCode, 2);

    // Ctrl-C cancels the running conversion as Cancel does: the tool stops
    // and removes what it was writing. A disc of 400 MiB takes wit seconds
    // to compose.
    const QString slow = m_dir.filePath(u"slow"_qs);
    QVERIFY(QBTestImages::makeWiiTree(slow + u"/Big"_qs, u"RQBE01"_qs, u"Big"_qs, qint64(400) << 20));
    const QString cancelled = m_dir.filePath(u"cancelled"_qs);
    QVERIFY(QDir().mkpath(cancelled));
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral(PALOMET_PATH), {u"--sync"_qs, slow, cancelled});
    const auto stop = qScopeGuard([&process] {
        process.kill();
        process.waitForFinished();
    });
    QByteArray progress;
    QTRY_VERIFY_WITH_TIMEOUT((progress += process.readAllStandardError()).contains("Conversion started."), 20000);
    // The tool's file is there, being written.
    QTRY_VERIFY_WITH_TIMEOUT(!filesUnder(cancelled).isEmpty(), 20000);
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 128 + SIGINT);
    const QStringList left = filesUnder(cancelled);
    QVERIFY2(left.isEmpty(), qPrintable(left.join(u", "_qs)));
}

QTEST_GUILESS_MAIN(tst_QBLoaderDrives)
#include "tst_qbloaderdrives.moc"
