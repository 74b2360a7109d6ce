// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbtestimages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>

#include <algorithm>

namespace {

QString g_lastError;

void putBigEndian(QByteArray &data, int offset, quint32 value)
{
    qToBigEndian(value, data.data() + offset);
}

bool writeFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size()) {
        g_lastError = QStringLiteral("cannot write %1").arg(path);
        return false;
    }
    return true;
}

QByteArray header(const QString &id, const QString &title, quint32 magicOffset, quint32 magic)
{
    QByteArray boot(0x440, '\0');
    const QByteArray id6 = id.toLatin1().left(6);
    boot.replace(0, id6.size(), id6);
    putBigEndian(boot, int(magicOffset), magic);
    const QByteArray name = title.toUtf8().left(0x3e0 - 1);
    boot.replace(0x20, name.size(), name);
    return boot;
}

QByteArray apploader()
{
    QByteArray loader(0x40, '\0');
    loader.replace(0, 10, "2008/01/01");
    putBigEndian(loader, 0x10, 0x81200000);
    putBigEndian(loader, 0x14, 0x20);
    return loader;
}

// The smallest DOL that wit accepts: one text section of 0x20 bytes.
QByteArray mainDol()
{
    QByteArray dol(0x120, '\0');
    putBigEndian(dol, 0x00, 0x100);
    putBigEndian(dol, 0x48, 0x80003100);
    putBigEndian(dol, 0x90, 0x20);
    putBigEndian(dol, 0xE0, 0x80003100);
    return dol;
}

}

namespace QBTestImages {

QString lastError()
{
    return g_lastError;
}

bool run(const QString &tool, const QStringList &arguments, QString *output, int timeoutMs)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(tool, arguments);
    if (!process.waitForFinished(timeoutMs)) {
        g_lastError = QStringLiteral("%1 did not finish: %2").arg(tool, process.errorString());
        process.kill();
        process.waitForFinished();
        return false;
    }
    const QString text = QString::fromUtf8(process.readAll());
    if (output)
        *output = text;
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        g_lastError = QStringLiteral("%1 %2 failed (%3):\n%4")
                              .arg(tool, arguments.join(u' '))
                              .arg(process.exitCode())
                              .arg(text);
        return false;
    }
    return true;
}

bool makeWiiTree(const QString &folder, const QString &id, const QString &title, qint64 extraBytes)
{
    const QDir root(folder);
    if (!root.mkpath(QStringLiteral("sys")) || !root.mkpath(QStringLiteral("files"))) {
        g_lastError = QStringLiteral("cannot create %1").arg(folder);
        return false;
    }
    if (!writeFile(root.filePath(QStringLiteral("sys/boot.bin")), header(id, title, 0x18, 0x5D1C9EA3))
        || !writeFile(root.filePath(QStringLiteral("sys/bi2.bin")), QByteArray(0x2000, '\0'))
        || !writeFile(root.filePath(QStringLiteral("sys/apploader.img")), apploader())
        || !writeFile(root.filePath(QStringLiteral("sys/main.dol")), mainDol())
        || !writeFile(root.filePath(QStringLiteral("files/readme.txt")), "Palomet test disc\n"))
        return false;
    const QString padding = root.filePath(QStringLiteral("files/padding.bin"));
    if (extraBytes > 0 && !(writeFile(padding, {}) && QFile::resize(padding, extraBytes))) {
        g_lastError = QStringLiteral("cannot make %1").arg(padding);
        return false;
    }
    return true;
}

QString makeWiiImage(const QString &path, const QString &id, const QString &title)
{
    QTemporaryDir work;
    const QString tree = work.filePath(QStringLiteral("tree"));
    if (!makeWiiTree(tree, id, title))
        return QString();
    QFileInfo target(path);
    QDir().mkpath(target.path());
    // wit composes only into editable formats; anything else is converted
    // from a WDF made first.
    const QString suffix = target.suffix().toLower();
    const bool editable = suffix == QLatin1String("iso") || suffix == QLatin1String("wdf")
            || suffix == QLatin1String("wbfs");
    const QString composed = editable ? path : work.filePath(QStringLiteral("composed.wdf"));
    if (!run(QStringLiteral("wit"), {QStringLiteral("copy"), tree, composed, QStringLiteral("--id"), id,
                                     QStringLiteral("--name"), title, QStringLiteral("--overwrite"),
                                     QStringLiteral("--quiet")}))
        return QString();
    if (!editable) {
        QStringList arguments{QStringLiteral("copy"), composed, path, QStringLiteral("--overwrite"),
                              QStringLiteral("--quiet")};
        if (suffix == QLatin1String("wia"))
            arguments << QStringLiteral("--compression") << QStringLiteral("LZMA@1");
        if (!run(QStringLiteral("wit"), arguments))
            return QString();
    }
    return path;
}

QString makeGameCubeImage(const QString &path, const QString &id, const QString &title, qint64 fileBytes)
{
    constexpr qint64 discSize = 1459978240;
    QDir().mkpath(QFileInfo(path).path());
    QByteArray head = header(id, title, 0x1C, 0xC2339F3D);
    putBigEndian(head, 0x420, 0x4000); // DOL
    putBigEndian(head, 0x424, 0x5000); // FST
    putBigEndian(head, 0x428, 36);     // FST size
    putBigEndian(head, 0x42C, 36);     // largest FST size
    QByteArray fst(36, '\0');
    putBigEndian(fst, 0, 0x01000000);
    putBigEndian(fst, 8, 2);
    const QByteArray readme = "Palomet test disc\n";
    putBigEndian(fst, 12, 0x00000001);
    putBigEndian(fst, 16, 0x8000);
    putBigEndian(fst, 20, quint32(std::max<qint64>(readme.size(), fileBytes)));
    fst.replace(24, 12, QByteArray("\0readme.txt\0", 12));
    QFile file(path);
    const bool ok = file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(head) == head.size()
            && file.seek(0x2440) && file.write(apploader()) == 0x40 && file.seek(0x4000)
            && file.write(mainDol()) == 0x120 && file.seek(0x5000) && file.write(fst) == fst.size()
            && file.seek(0x8000) && file.write(readme) == readme.size() && file.resize(discSize);
    if (!ok) {
        g_lastError = QStringLiteral("cannot write %1").arg(path);
        return QString();
    }
    return path;
}

QString makeWbfsFile(const QString &path, const QStringList &images, int sizeGiB)
{
    QDir().mkpath(QFileInfo(path).path());
    if (!run(QStringLiteral("wwt"), {QStringLiteral("format"), QStringLiteral("--inode"),
                                     QStringLiteral("--size"), QStringLiteral("%1G").arg(sizeGiB),
                                     QStringLiteral("--force"), path, QStringLiteral("--quiet")}))
        return QString();
    if (images.isEmpty())
        return path;
    QStringList arguments{QStringLiteral("add"), QStringLiteral("--part"), path, QStringLiteral("--quiet")};
    for (const QString &image : images)
        arguments << QStringLiteral("--source") << image;
    return run(QStringLiteral("wwt"), arguments) ? path : QString();
}

bool makeLibrary(const QString &root, Library *library)
{
    library->folder = root + QStringLiteral("/library");
    library->container = root + QStringLiteral("/PART.wbfs");
    // Each Wii image's file, ID and title.
    const char *const wii[][3] = {
        {"Alpha Quest [RQAE01].wbfs", "RQAE01", "Alpha Quest"},
        {"Beta [RQBP01].iso", "RQBP01", "Beta: The Colon"},
        {"Charlie [RQCJ01].wia", "RQCJ01", "Charlie WIA"},
        {"Delta [RQDK01].ciso", "RQDK01", "Delta CISO"},
        {"Ça märche – 日本 [RQFP01].wdf", "RQFP01", "Ça märche – Ünïcödé 日本"},
        {"sub/Echo [RQEE01].wdf", "RQEE01", "Echo Below"},
    };
    const auto path = [library](const char *file) { return library->path(QString::fromUtf8(file)); };
    for (const auto &image : wii) {
        if (makeWiiImage(path(image[0]), QString::fromLatin1(image[1]), QString::fromUtf8(image[2])).isEmpty())
            return false;
    }
    if (makeGameCubeImage(path("Golf [GQGE01].iso"), QStringLiteral("GQGE01"), QStringLiteral("Golf Cube")).isEmpty()
        || makeWbfsFile(library->container, {path(wii[0][0]), path(wii[1][0]), path("Golf [GQGE01].iso")}).isEmpty())
        return false;
    library->topLevelIds = QStringLiteral("GQGE01 RQAE01 RQBP01 RQCJ01 RQDK01 RQFP01").split(u' ');
    library->allIds = library->topLevelIds + QStringList{QStringLiteral("RQEE01")};
    library->allIds.sort();
    return true;
}

}
