// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/qblistcommand.h"
#include "app/qbmessageboxpresenter.h"
#include "app/qbstartwindow.h"
#include "gamedata/qbdownloadwindow.h"
#include "gamedata/qbgamecenter.h"
#include "gamedata/qbgamedatamenus.h"
#include "gamedata/qblanguages.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
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
}

bool isHeadless(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--list" || argument == "--export" || argument == "--help"
            || argument == "-h" || argument == "--version" || argument == "-v")
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
    const QCommandLineOption partOption(QStringLiteral("part"),
                                        QStringLiteral("The source is a WBFS partition or WBFS file."));
    const QCommandLineOption databaseOption(QStringLiteral("database"),
                                            QStringLiteral("The source is the installed title database."));
    parser.addOptions({listOption, partOption, databaseOption, languagesOption()});
    parser.addPositionalArgument(QStringLiteral("path"), QStringLiteral("The source to list."));
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
    const QStringList paths = parser.positionalArguments();
    if (!parser.isSet(listOption))
        return usageError(parser, QStringLiteral("this command is not available yet"));
    const bool database = parser.isSet(databaseOption);
    if (database && (parser.isSet(partOption) || !paths.isEmpty()))
        return usageError(parser, QStringLiteral("--list --database takes no other source"));
    if (!database && paths.size() != 1)
        return usageError(parser, QStringLiteral("--list needs exactly one source"));

    applyLanguages(parser);
    QBGameCenter gameCenter;
    QFile out;
    out.open(stdout, QIODevice::WriteOnly | QIODevice::Unbuffered);
    QFile errors;
    errors.open(stderr, QIODevice::WriteOnly | QIODevice::Unbuffered);
    QBListCommand command(&out);
    QObject::connect(&command, &QBListCommand::finished, &app, &QCoreApplication::exit,
                     Qt::QueuedConnection);
    if (database)
        command.startDatabase(&errors);
    else
        command.start(paths.first(), parser.isSet(partOption));
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
    parser.addPositionalArgument(QStringLiteral("path"), QStringLiteral("Sources to open."));
    if (!parser.parse(app.arguments()))
        return usageError(parser, parser.errorText());
    applyLanguages(parser);

    QBMessageBoxPresenter alerts;
    QBAlertPresenter::setShared(&alerts);
    // The database parse starts here and ends off the event loop; the
    // window shows at once.
    QBGameCenter gameCenter;
    QBGameDataMenus menus(&gameCenter);
    QBDownloadWindow downloadWindow(&gameCenter);
    QBStartWindow window;
    // Until documents bring their own menu bar, the download commands are
    // offered on the start window's context menu.
    window.addActions(menus.downloadActions());
    window.setContextMenuPolicy(Qt::ActionsContextMenu);
    window.show();
    return app.exec();
}
