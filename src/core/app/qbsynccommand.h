// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "panels/qbconversionlayout.h"
#include "panels/qbfilenamepattern.h"

#include <QList>
#include <QObject>
#include <QVariantMap>

#include <memory>

class QBAlertPresenter;
class QBConversionController;
class QBDesktopIntegration;
class QIODevice;

// The headless "--sync SOURCE DEST" command. It lists both sources, plans
// one conversion for each game of SOURCE whose ID DEST does not list, as a
// drop of those games on DEST would (the same screening, destination
// names, tool arguments and FAT rules, with the layout and pattern given
// here in place of the convert panel's), and writes the plan as one JSON
// object per game. Unless it is a dry run, the conversions then run one at
// a time on the program's conversion queue, with their progress on the
// error stream.
//
// What a drop would ask about is answered the careful way: games whose ID
// is on DEST, or whose destination exists or is claimed, are left out, and
// so is every game after the first of one ID, so that a second run plans
// nothing. A listing of DEST sees its subfolders, where loaders keep their
// games.
class QBSyncCommand : public QObject
{
    Q_OBJECT

public:
    // What a path given as a source is.
    enum class Kind { Missing, Folder, Image, Partition };
    static Kind kind(const QString &path);

    struct Options
    {
        QString source;
        QString destination;
        QBConversionLayout::Layout layout = QBConversionLayout::Custom;
        QBFilenamePattern pattern;
        bool dryRun = false;
    };

    QBSyncCommand(const Options &options, QIODevice *output, QIODevice *errors, QObject *parent = nullptr);
    ~QBSyncCommand() override;

    // Lists, plans and converts; finished() follows.
    void start();
    // Stops the listing, or cancels the conversions as the Cancel of the
    // conversions list does (the tool removes what it was writing), and
    // then finishes with exitCode.
    void cancel(int exitCode);

    // The pattern when none is given: the title, then the ID in brackets.
    static QBFilenamePattern defaultPattern();

signals:
    // 0 when every planned game was added (or nothing was to be), 1 when
    // a listing or a conversion failed.
    void finished(int exitCode);

private:
    struct Listing;
    void list(const QString &path, bool destination);
    void listingDidFinish();
    void plan();
    void convert();
    void conversionDidEnd(int status);
    void note(const QString &text);
    void finish(int exitCode);

    Options m_options;
    QIODevice *m_output;
    QIODevice *m_errors;
    std::unique_ptr<QBDesktopIntegration> m_desktop;
    std::unique_ptr<QBAlertPresenter> m_alerts;
    std::unique_ptr<Listing> m_source;
    std::unique_ptr<Listing> m_destination;
    QBConversionController *m_controller = nullptr;
    struct Planned
    {
        QVariantMap game;
        QString destination;
    };
    QList<Planned> m_plan;
    int m_ended = 0;
    bool m_failed = false;
    bool m_finished = false;
    int m_cancelExitCode = -1;
};
