// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsynccommand.h"

#include "base/qbalertpresenter.h"
#include "base/qbkeys.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "conversion/qbdesktopintegration.h"
#include "document/qbdocument.h"
#include "document/qbdocumentadding.h"
#include "document/qbfilesystem.h"
#include "document/qbloaderdrive.h"
#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"
#include "panels/qbpartitionlist.h"
#include "qblistcommand.h"
#include "tasks/qbbrowsingtask.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"

#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QPointer>
#include <QSet>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace {

// A run without a desktop: no notifications, icon, sleep inhibitor or
// sound.
class QuietDesktop : public QBDesktopIntegration
{
public:
    void deliverNotification(const QString &, const QString &) override {}
    QImage applicationIconImage() override { return QImage(); }
    void setApplicationIconImage(const QImage &, int) override {}
    void restoreApplicationIcon() override {}
    void setSleepInhibited(bool) override {}
    void playSound(const QString &) override {}
};

// Alerts become lines on the error stream, answered with their default
// button: after a tool's error the conversion goes on to its end, and the
// others still run.
class StreamAlerts : public QBAlertPresenter
{
public:
    explicit StreamAlerts(QIODevice *errors)
        : m_errors(errors)
    {
    }

    int runAlert(const QBAlert &alert) override
    {
        QString text = QStringLiteral("palomet: ") + alert.message + u'\n';
        if (!alert.informativeText.isEmpty())
            text += QStringLiteral("palomet: ") + alert.informativeText + u'\n';
        m_errors->write(text.toUtf8());
        return QBAlertAnswer::Default;
    }

private:
    QIODevice *m_errors;
};

QString toolName(int launchPath)
{
    return launchPath == 0 ? QStringLiteral("wit") : QStringLiteral("wwt");
}

}

struct QBSyncCommand::Listing
{
    QString path;
    int type = QBDocument::Folder;
    QList<QVariantMap> games;
    bool done = false;
    int status = 0;
};

QBSyncCommand::Kind QBSyncCommand::kind(const QString &path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        return Kind::Missing;
    if (info.isDir())
        return Kind::Folder;
    if (info.isFile())
        return QBPartitionList::isWbfsFile(path) ? Kind::Partition : Kind::Image;
#ifdef Q_OS_UNIX
    // A block device is a partition, left to wwt; a FIFO or a socket is
    // nothing to list.
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) == 0 && S_ISBLK(status.st_mode))
        return Kind::Partition;
#endif
    return Kind::Missing;
}

QBFilenamePattern QBSyncCommand::defaultPattern()
{
    QBFilenamePattern pattern;
    pattern.appendToken(QStringLiteral("title"));
    pattern.appendLiteral(QStringLiteral(" ["));
    pattern.appendToken(QStringLiteral("id"));
    pattern.appendLiteral(QStringLiteral("]"));
    return pattern;
}

QBSyncCommand::QBSyncCommand(const Options &options, QIODevice *output, QIODevice *errors, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_output(output)
    , m_errors(errors)
    , m_desktop(std::make_unique<QuietDesktop>())
    , m_alerts(std::make_unique<StreamAlerts>(errors))
{
    // The program's conversion queue, made before any tool is read.
    m_controller = new QBConversionController(m_desktop.get(), this);
    QBAlertPresenter::setShared(m_alerts.get());
}

QBSyncCommand::~QBSyncCommand()
{
    delete m_controller;
}

void QBSyncCommand::start()
{
    // Titles come from the database when one is installed, as in a window.
    QBGameCenter *center = QBGameCenter::sharedGameCenter();
    if (center && center->isParsing()) {
        auto connection = std::make_shared<QMetaObject::Connection>();
        *connection = connect(center, &QBGameCenter::parsingChanged, this, [this, connection](bool parsing) {
            if (parsing)
                return;
            disconnect(*connection);
            start();
        });
        return;
    }
    list(m_options.source, false);
    list(m_options.destination, true);
}

void QBSyncCommand::list(const QString &path, bool destination)
{
    auto listing = std::make_unique<Listing>();
    listing->path = path;
    const bool partition = kind(path) == Kind::Partition;
    listing->type = partition ? QBDocument::Partition : QBDocument::Folder;
    // Loaders keep their games in folders below the drive's root.
    const QStringList arguments = partition ? QBBrowsingTask::partitionArguments(path)
                                            : QBBrowsingTask::folderArguments(
                                                      path, destination || QBSettings::browseRecursively());
    Listing *target = listing.get();
    (destination ? m_destination : m_source) = std::move(listing);
    auto *task = new QBBrowsingTask(arguments, partition ? 1 : 0, this, this);
    connect(task, &QBBrowsingTask::browsingDidFinish, this, [this, target](const QVariantMap &userInfo) {
        if (!userInfo.contains(UserInfoKey::terminationStatus)) {
            QVariantMap game = userInfo.value(UserInfoKey::game).toMap();
            const QBGameCenter *center = QBGameCenter::sharedGameCenter();
            if (center && center->hasDatabase())
                game.insert(QBGameBundle::databaseEntries(center->databaseRecord(game.value(GameKey::id).toString())));
            target->games << game;
            return;
        }
        target->status = userInfo.value(UserInfoKey::terminationStatus).toInt();
        target->done = true;
        listingDidFinish();
    });
    connect(task, &QBOperation::finished, task, &QObject::deleteLater);
    task->start();
}

void QBSyncCommand::listingDidFinish()
{
    if (!m_source->done || !m_destination->done || m_finished)
        return;
    for (const Listing *listing : {m_source.get(), m_destination.get()}) {
        if (listing->status != 0) {
            note(QStringLiteral("%1 could not be listed").arg(listing->path));
            finish(1);
            return;
        }
    }
    plan();
    if (m_options.dryRun || m_plan.isEmpty())
        finish(0);
    else
        convert();
}

void QBSyncCommand::plan()
{
    const int type = m_destination->type;
    const QString &dest = m_destination->path;
    QSet<QString> present;
    QSet<QString> listed;
    for (const QVariantMap &game : std::as_const(m_destination->games)) {
        present.insert(game.value(GameKey::id).toString());
        listed.insert(game.value(GameKey::filename).toString());
    }
    QBAdding::FolderRules rules;
    if (type == QBDocument::Folder)
        rules = QBAdding::folderRules(dest, m_options.layout);

    QList<QVariantMap> games;
    QStringList destinations;
    for (const QVariantMap &game : std::as_const(m_source->games)) {
        const QString id = game.value(GameKey::id).toString();
        const QString file = game.value(GameKey::filename).toString();
        if (present.contains(id))
            continue;
        QString reason;
        if (QBAdding::isUnnamed(type, game))
            reason = QStringLiteral("On a WBFS partition a game is known by its ID, which is four to six letters "
                                    "and digits.");
        QString name;
        if (reason.isEmpty() && type == QBDocument::Folder) {
            name = m_options.pattern.stringValueForGame(game);
            reason = QBAdding::refusal(game, name, rules);
        }
        if (!reason.isEmpty()) {
            note(QStringLiteral("'%1' is left out: %2").arg(file, reason));
            continue;
        }
        // One copy of each game: the next run finds its ID and plans
        // nothing more.
        present.insert(id);
        games << game;
        destinations << (type == QBDocument::Folder
                                 ? QBAdding::folderDestination(dest, game, name, rules)
                                 : QBAdding::destinationPath(type, dest, game, QString(), QString(), false));
    }
    const QList<int> collisions = QBAdding::collisions(destinations, listed);
    for (auto it = collisions.crbegin(); it != collisions.crend(); ++it) {
        note(QStringLiteral("'%1' is left out: %2 already exists or is being written")
                     .arg(games.at(*it).value(GameKey::filename).toString(), destinations.at(*it)));
        games.removeAt(*it);
        destinations.removeAt(*it);
    }
    // Told, not asked: a conversion that runs out of space fails on its
    // own, and the others still run.
    if (type == QBDocument::Folder) {
        const double needed = QBAdding::estimatedSize(games);
        const double free = QBFilesystemCenter::spaceForPath(dest).freeSpace;
        if (QBAdding::spaceAlert(needed, free))
            note(QString::asprintf("the games need about %.1f GB (an estimate from the sizes the tool reports), "
                                   "and %.1f GB is free",
                                   needed, free));
    }
    for (int i = 0; i < games.size(); ++i) {
        const QVariantMap &game = games.at(i);
        const QBAdding::Command command = QBAdding::conversionCommand(
                type, game, destinations.at(i), dest, rules.splitSize, rules.compressionMode, rules.fat);
        m_plan << Planned{game, destinations.at(i)};
        if (m_output) {
            m_output->write(QBListCommand::jsonLine({
                    {GameKey::id, game.value(GameKey::id)},
                    {GameKey::title, game.value(GameKey::title)},
                    {BundleKey::sourcePath, game.value(GameKey::filename)},
                    {BundleKey::destinationPath, destinations.at(i)},
                    {QStringLiteral("tool"), toolName(command.launchPath)},
                    {QStringLiteral("arguments"), command.arguments},
            }));
        }
    }
}

void QBSyncCommand::convert()
{
    const int type = m_destination->type;
    const QBAdding::FolderRules rules = type == QBDocument::Folder
            ? QBAdding::folderRules(m_destination->path, m_options.layout)
            : QBAdding::FolderRules();
    QList<QBConversionTask *> tasks;
    const int count = int(m_plan.size());
    for (int i = 0; i < count; ++i) {
        const Planned &planned = m_plan.at(i);
        const QString id = planned.game.value(GameKey::id).toString();
        const QBAdding::Command command =
                QBAdding::conversionCommand(type, planned.game, planned.destination, m_destination->path,
                                            rules.splitSize, rules.compressionMode, rules.fat);
        QBConversionTask *task = QBAdding::conversionTask(command, planned.game, planned.destination, this);
        const QString label = QStringLiteral("[%1/%2] %3").arg(i + 1).arg(count).arg(id);
        QBConversionBundle *bundle = task->conversionBundle();
        connect(bundle, &QBConversionBundle::valueChanged, this,
                [this, bundle, label](const QString &key, const QVariant &, const QVariant &value) {
                    // Progress lines carry the speed; the others are the row's own texts.
                    if (key == BundleKey::percent
                        && bundle->value(BundleKey::infos).toString().contains(QLatin1String("MiB/sec"))) {
                        note(QStringLiteral("%1 %2% %3").arg(label).arg(int(value.toDouble()))
                                     .arg(bundle->value(BundleKey::infos).toString()));
                    } else if (key == BundleKey::infos && value.toString() != QLatin1String("Waiting ...")
                               && !value.toString().contains(QLatin1String("MiB/sec"))) {
                        note(label + QStringLiteral(" ") + value.toString());
                    }
                });
        if (m_options.layout != QBConversionLayout::Custom && type == QBDocument::Folder) {
            connect(task, &QBConversionTask::conversionDidFinish, this,
                    [root = m_destination->path, layout = m_options.layout, id] {
                        QBLoaderDrive::copyCover(root, layout, id);
                    });
        }
        connect(task, &QBOperation::finished, this,
                [this, task] { conversionDidEnd(task->terminationStatus()); });
        tasks << task;
    }
    m_controller->startConversionTasks(tasks);
}

void QBSyncCommand::conversionDidEnd(int status)
{
    ++m_ended;
    if (status != 0)
        m_failed = true;
    if (m_ended < m_plan.size())
        return;
    finish(m_cancelExitCode >= 0 ? m_cancelExitCode : (m_failed ? 1 : 0));
}

void QBSyncCommand::cancel(int exitCode)
{
    if (m_finished)
        return;
    m_cancelExitCode = exitCode;
    if (m_controller->isConverting()) {
        // As the conversions list's Cancel: the running tool is told to stop
        // and removes its file; the end comes when the queue has let go.
        m_controller->cancelAllConversions();
        return;
    }
    QBTask::stopAllTools();
    finish(exitCode);
}

void QBSyncCommand::note(const QString &text)
{
    if (m_errors)
        m_errors->write((QStringLiteral("palomet: ") + text + u'\n').toUtf8());
}

void QBSyncCommand::finish(int exitCode)
{
    if (m_finished)
        return;
    m_finished = true;
    emit finished(exitCode);
}
