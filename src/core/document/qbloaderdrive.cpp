// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbloaderdrive.h"

#include "base/qbalertpresenter.h"
#include "base/qbgameid.h"
#include "base/qblogging.h"
#include "base/qbregularfile.h"
#include "base/qbsavefile.h"
#include "gamedata/qbdatabaseparse.h"
#include "gamedata/qbgamecenter.h"

#include <QDir>
#include <QFileInfo>

namespace {
// Covers are a few hundred KiB; anything far bigger is not one.
constexpr qint64 maximumCoverSize = qint64(16) << 20;
}

namespace QBLoaderDrive {

QStringList coverPaths(QBConversionLayout::Layout layout, const QString &id)
{
    if (layout != QBConversionLayout::UsbLoader || !QBGameID::isValid(id))
        return {};
    return {QStringLiteral("apps/usbloader_gx/images/%1.png").arg(id),
            QStringLiteral("wiiflow/boxcovers/%1.png").arg(id)};
}

QString databasePath()
{
    return QStringLiteral("apps/usbloader_gx/wiitdb.xml");
}

Put put(const QString &root, const QString &relativePath, const QByteArray &data, bool replace, QString *why)
{
    auto fail = [why](const QString &reason) {
        if (why)
            *why = reason;
        return Put::Failed;
    };
    QStringList components = relativePath.split(u'/');
    const QString name = components.takeLast();
    QString folder = root;
    if (!QFileInfo(root).isDir())
        return fail(QStringLiteral("%1 is not a folder").arg(root));
    for (const QString &component : std::as_const(components)) {
        folder += u'/' + component;
        const QFileInfo info(folder);
        if (info.isSymLink() || (info.exists() && !info.isDir()))
            return fail(QStringLiteral("%1 is not a folder").arg(folder));
        if (!info.exists() && !QDir().mkdir(folder))
            return fail(QStringLiteral("%1 could not be made").arg(folder));
    }
    const QFileInfo target(folder + u'/' + name);
    if (target.isSymLink() || target.isDir())
        return fail(QStringLiteral("%1 is not a file").arg(target.filePath()));
    if (target.exists() && !replace)
        return Put::Exists;
    QBSaveFile file(folder);
    // FAT keeps no permissions, so none are set.
    if (!file.open() || !file.write(data) || !file.commit(name))
        return fail(file.errorString());
    return Put::Written;
}

bool copyDatabase(const QString &root)
{
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (!center || !center->hasDatabase())
        return false;
    QString why;
    const auto database = QBRegularFile::read(center->pathForResource(QStringLiteral("wiitdb.xml")),
                                              QBDatabaseParse::maximumFileSize, &why);
    Put result = database ? put(root, databasePath(), *database, false, &why) : Put::Failed;
    if (result == Put::Exists) {
        QBAlert question;
        question.message = QStringLiteral("'%1' already exists. Do you want to replace it?")
                                   .arg(root + u'/' + databasePath());
        question.informativeText = QStringLiteral("USB Loader GX reads the title database from there.");
        question.defaultButton = QStringLiteral("Replace");
        question.alternateButton = QStringLiteral("Cancel");
        if (QBAlertPresenter::run(question) != QBAlertAnswer::Default)
            return false;
        result = put(root, databasePath(), *database, true, &why);
    }
    if (result == Put::Written)
        return true;
    QBAlert alert;
    alert.message = QStringLiteral("The title database could not be copied to the drive.");
    alert.informativeText = why;
    QBAlertPresenter::run(alert);
    return false;
}

void copyCover(const QString &root, QBConversionLayout::Layout layout, const QString &id)
{
    const QStringList places = coverPaths(layout, id);
    const QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (places.isEmpty() || !center || center->supportFolder().isEmpty())
        return;
    const auto cover = QBRegularFile::read(center->supportFolder() + QStringLiteral("/covers/") + id
                                                   + QStringLiteral(".png"),
                                           maximumCoverSize);
    if (!cover)
        return;
    for (const QString &place : places) {
        QString why;
        if (put(root, place, *cover, false, &why) == Put::Failed)
            qCWarning(lcDocument).noquote() << "The cover could not be put on the drive:" << why;
    }
}

}
