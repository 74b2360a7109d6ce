// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qbapplicationwindows.h"
#include "app/qbdocumentcontroller.h"
#include "app/qbexportcommand.h"
#include "app/qbinstancechannel.h"
#include "app/qblistcommand.h"
#include "app/qbmessageboxpresenter.h"
#include "app/qbsignalwatcher.h"
#include "app/qbsynccommand.h"
#include "app/qbupdatedatabasecommand.h"
#include "base/qbsettings.h"
#include "conversion/qbconversioncontroller.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qblanguages.h"
#include "tasks/qbtask.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QIcon>
#include <QLoggingCategory>

#include <cstdio>
#include <memory>

namespace {

void setApplicationNames()
{
    QCoreApplication::setOrganizationName(QStringLiteral("palomet"));
    QCoreApplication::setApplicationName(QStringLiteral("palomet"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PALOMET_VERSION));
    QBSettings::screenFile();
}

bool isHeadless(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--list" || argument == "--export" || argument.startsWith("--export=")
            || argument == "--update-database" || argument == "--sync"
            || argument == "--help" || argument == "-h" || argument == "--version" || argument == "-v")
            return true;
    }
    return false;
}

int usageError(const QCommandLineParser &parser, const QString &message)
{
    std::fprintf(stderr, "palomet: %s\n\n%s", qPrintable(message), qPrintable(parser.helpText()));
    return 2;
}

const QCommandLineOption &languagesOption()
{
    static const QCommandLineOption option(QStringLiteral("languages"),
                                           QStringLiteral("Preferred languages for this run, best first."),
                                           QStringLiteral("codes,..."));
    return option;
}

// --languages replaces the "languages" setting for this run only.
void applyLanguages(const QCommandLineParser &parser)
{
    if (parser.isSet(languagesOption()))
        QBLanguages::setOverride(parser.value(languagesOption()).split(u',', Qt::SkipEmptyParts));
}

int runHeadless(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    setApplicationNames();
    // Standard output carries the results; keep the diagnostics of every
    // task run off standard error unless asked for.
    if (qEnvironmentVariableIsEmpty("QT_LOGGING_RULES"))
        QLoggingCategory::setFilterRules(QStringLiteral("palomet.*.info=false"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Manage backups of Wii and GameCube discs."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption listOption(QStringLiteral("list"),
                                        QStringLiteral("Print the games of a source as JSON lines."));
    const QCommandLineOption exportOption(QStringLiteral("export"),
                                          QStringLiteral("Write the game list of a source to a file."),
                                          QStringLiteral("file"));
    const QCommandLineOption formatOption(QStringLiteral("format"),
                                          QStringLiteral("The exported list's format: html or txt "
                                                         "(default: the exportFormat setting)."),
                                          QStringLiteral("format"));
    const QCommandLineOption partOption(QStringLiteral("part"),
                                        QStringLiteral("The source is a WBFS partition or WBFS file."));
    const QCommandLineOption databaseOption(QStringLiteral("database"),
                                            QStringLiteral("The source is the installed title database."));
    const QCommandLineOption updateOption(QStringLiteral("update-database"),
                                          QStringLiteral("Download and install the title database."));
    const QCommandLineOption syncOption(QStringLiteral("sync"),
                                        QStringLiteral("Convert the games of SOURCE that DEST lacks onto DEST."));
    const QCommandLineOption layoutOption(QStringLiteral("layout"),
                                          QStringLiteral("--sync: how games go into a folder: custom "
                                                         "(default), usbloader or nintendont."),
                                          QStringLiteral("layout"));
    const QCommandLineOption patternOption(QStringLiteral("pattern"),
                                           QStringLiteral("--sync: the name of each game, with {id}, {title}, "
                                                          "{region}, ... (default: \"{title} [{id}]\")."),
                                           QStringLiteral("pattern"));
    const QCommandLineOption dryRunOption(QStringLiteral("dry-run"),
                                          QStringLiteral("--sync: print the plan only."));
    parser.addOptions({listOption, exportOption, formatOption, partOption, databaseOption, updateOption,
                       syncOption, layoutOption, patternOption, dryRunOption, languagesOption()});
    parser.addPositionalArgument(QStringLiteral("path"),
                                 QStringLiteral("The source to list or export; for --sync, SOURCE and DEST."));
    if (!parser.parse(app.arguments()))
        return usageError(parser, parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::printf("palomet %s\n", PALOMET_VERSION);
        return 0;
    }
    const bool syncing = parser.isSet(syncOption);
    if (!syncing && (parser.isSet(layoutOption) || parser.isSet(patternOption) || parser.isSet(dryRunOption)))
        return usageError(parser, QStringLiteral("--layout, --pattern and --dry-run go with --sync"));
    if (syncing) {
        if (parser.isSet(listOption) || parser.isSet(exportOption) || parser.isSet(formatOption)
            || parser.isSet(partOption) || parser.isSet(databaseOption) || parser.isSet(updateOption))
            return usageError(parser, QStringLiteral("--sync takes only --layout, --pattern and --dry-run"));
        const QStringList paths = parser.positionalArguments();
        if (paths.size() != 2)
            return usageError(parser, QStringLiteral("--sync needs a SOURCE and a DEST"));
        QBSyncCommand::Options options;
        options.source = paths.at(0);
        options.destination = paths.at(1);
        options.dryRun = parser.isSet(dryRunOption);
        const QBSyncCommand::Kind source = QBSyncCommand::kind(options.source);
        const QBSyncCommand::Kind destination = QBSyncCommand::kind(options.destination);
        if (source == QBSyncCommand::Kind::Missing)
            return usageError(parser, options.source + QStringLiteral(" is not a folder, an image or a WBFS partition"));
        if (destination != QBSyncCommand::Kind::Folder && destination != QBSyncCommand::Kind::Partition)
            return usageError(parser, options.destination + QStringLiteral(" is not a folder or a WBFS partition"));
        if (QFileInfo(options.source).canonicalFilePath() == QFileInfo(options.destination).canonicalFilePath())
            return usageError(parser, QStringLiteral("SOURCE and DEST are the same"));
        if (destination == QBSyncCommand::Kind::Partition
            && (parser.isSet(layoutOption) || parser.isSet(patternOption)))
            return usageError(parser, QStringLiteral("--layout and --pattern name games in a folder, and DEST is a "
                                                     "WBFS partition"));
        const auto layout = QBConversionLayout::fromKey(parser.value(layoutOption));
        if (parser.isSet(layoutOption) && !layout)
            return usageError(parser, QStringLiteral("--layout is custom, usbloader or nintendont"));
        options.layout = layout.value_or(QBConversionLayout::Custom);
        options.pattern = QBSyncCommand::defaultPattern();
        if (parser.isSet(patternOption)) {
            QString why;
            const auto pattern = QBFilenamePattern::fromText(parser.value(patternOption), &why);
            if (!pattern)
                return usageError(parser, QStringLiteral("--pattern: ") + why);
            options.pattern = *pattern;
        }
        applyLanguages(parser);
        QBGameCenter gameCenter;
        QFile out;
        out.open(fileno(stdout), QIODevice::WriteOnly | QIODevice::Unbuffered);
        QFile errors;
        errors.open(fileno(stderr), QIODevice::WriteOnly | QIODevice::Unbuffered);
        QBSyncCommand sync(options, &out, &errors);
        // A signal cancels the running conversion as Cancel does; the tool
        // removes what it was writing before the program ends.
        QBSignalWatcher signalWatcher(QBSignalWatcher::WatchBrokenPipe);
        QObject::connect(&signalWatcher, &QBSignalWatcher::signalReceived, &sync,
                         [&sync](int signal) { sync.cancel(128 + signal); });
        QObject::connect(&sync, &QBSyncCommand::finished, &app, &QCoreApplication::exit, Qt::QueuedConnection);
        sync.start();
        return app.exec();
    }
    if (parser.isSet(updateOption)) {
        const bool alone = parser.positionalArguments().isEmpty() && !parser.isSet(listOption)
                && !parser.isSet(exportOption) && !parser.isSet(formatOption) && !parser.isSet(partOption)
                && !parser.isSet(databaseOption);
        if (!alone)
            return usageError(parser, QStringLiteral("--update-database takes no other option or source"));
        applyLanguages(parser);
        QBGameCenter gameCenter;
        QFile errors;
        errors.open(stderr, QIODevice::WriteOnly | QIODevice::Unbuffered);
        QBUpdateDatabaseCommand update(&gameCenter, &errors);
        QObject::connect(&update, &QBUpdateDatabaseCommand::finished, &app, &QCoreApplication::exit,
                         Qt::QueuedConnection);
        update.start();
        return app.exec();
    }
    const bool exporting = parser.isSet(exportOption);
    const QString command = exporting ? QStringLiteral("--export") : QStringLiteral("--list");
    if (exporting && parser.isSet(listOption))
        return usageError(parser, QStringLiteral("--list and --export cannot be combined"));
    if (!exporting && parser.isSet(formatOption))
        return usageError(parser, QStringLiteral("--format goes with --export"));
    const QStringList paths = parser.positionalArguments();
    const bool database = parser.isSet(databaseOption);
    if (database && (parser.isSet(partOption) || !paths.isEmpty()))
        return usageError(parser, command + QStringLiteral(" --database takes no other source"));
    if (!database && paths.size() != 1)
        return usageError(parser, command + QStringLiteral(" needs exactly one source"));
    QString format;
    if (exporting) {
        format = parser.isSet(formatOption) ? parser.value(formatOption)
                                            : QBSettings::exportFormat();
        if (parser.isSet(formatOption) && format != QLatin1String("html") && format != QLatin1String("txt"))
            return usageError(parser, QStringLiteral("--format is html or txt"));
        if (parser.value(exportOption).isEmpty())
            return usageError(parser, QStringLiteral("--export needs a file"));
    }

    applyLanguages(parser);
    // A signal ends the run with the tools it started; what was printed
    // stays printed. A reader that closes the pipe early ends it too.
    QBSignalWatcher signalWatcher(QBSignalWatcher::WatchBrokenPipe);
    QObject::connect(&signalWatcher, &QBSignalWatcher::signalReceived, &app, [](int signal) {
        QBTask::stopAllTools();
        QBTask::waitForAllTools(5000);
        QCoreApplication::exit(128 + signal);
    });
    QBGameCenter gameCenter;
    // The descriptors themselves, not the C streams: each record reaches a
    // pipe or a file as soon as it is written, with no buffer in between.
    QFile out;
    out.open(fileno(stdout), QIODevice::WriteOnly | QIODevice::Unbuffered);
    QFile errors;
    errors.open(fileno(stderr), QIODevice::WriteOnly | QIODevice::Unbuffered);
    if (exporting) {
        QBExportCommand exportCommand(parser.value(exportOption), format, &errors);
        QObject::connect(&exportCommand, &QBExportCommand::finished, &app, &QCoreApplication::exit,
                         Qt::QueuedConnection);
        if (database)
            exportCommand.startDatabase();
        else
            exportCommand.start(paths.first(), parser.isSet(partOption));
        return app.exec();
    }
    QBListCommand listCommand(&out);
    QObject::connect(&listCommand, &QBListCommand::finished, &app, &QCoreApplication::exit, Qt::QueuedConnection);
    if (database)
        listCommand.startDatabase(&errors);
    else
        listCommand.start(paths.first(), parser.isSet(partOption));
    return app.exec();
}

}

int main(int argc, char **argv)
{
    if (isHeadless(argc, argv))
        return runHeadless(argc, argv);

    QApplication app(argc, argv);
    setApplicationNames();
    QApplication::setApplicationDisplayName(QStringLiteral("Palomet"));
    QApplication::setDesktopFileName(QStringLiteral("palomet"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/palomet/icons/palomet.svg")));
    QCommandLineParser parser;
    parser.addOption(languagesOption());
    parser.addPositionalArgument(QStringLiteral("path"), QStringLiteral("Folders and files to open."));
    if (!parser.parse(app.arguments()))
        return usageError(parser, parser.errorText());
    applyLanguages(parser);

    // A program already running takes the paths (or just comes forward).
    QStringList paths;
    for (const QString &path : parser.positionalArguments())
        paths << QFileInfo(path).absoluteFilePath();
    QBInstanceChannel channel;
    if (channel.forward(paths))
        return 0;
    channel.listen();

    QBMessageBoxPresenter alerts;
    QBAlertPresenter::setShared(&alerts);
    // Both exist before any tool output is read. The database parse starts
    // here and goes on off the event loop while the windows open.
    QBConversionController::sharedController();
    QBGameCenter gameCenter;
    QBDocumentController controller;
    QBApplicationWindows windows(&controller, &gameCenter);
    // TERM, INT and HUP end the program as Quit does, without its question.
    QBSignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &QBSignalWatcher::signalReceived, &windows,
                     &QBApplicationWindows::quitWithoutQuestions);
    QObject::connect(&channel, &QBInstanceChannel::launched, &windows, &QBApplicationWindows::launched);
    // A session that ends still leaves the documents to reopen.
    QObject::connect(&app, &QGuiApplication::commitDataRequest, &controller, &QBDocumentController::saveDocuments);
    windows.start(paths);
    const int status = app.exec();
    QBAlertPresenter::setShared(nullptr);
    return status;
}
