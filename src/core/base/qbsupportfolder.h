// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

// The program's own folder in the user's data location (for example
// ~/.local/share/palomet): downloaded tools, the title database and the
// "covers" cache live there.
class QBSupportFolder
{
public:
    // Where the folder is, whether or not it exists yet.
    static QString location();
    // The folder, created with its "covers" subfolder on first use; empty
    // when it cannot be made.
    static QString path();
    // path() plus name, or empty when there is no support folder.
    static QString pathForResource(const QString &name);
    // Where the cover of the game with this ID is cached; empty for an ID
    // that is not of a disc's form (QBGameID), which has no cover.
    static QString coverPath(const QString &id);
    // The executable of a tool ("wit" or "wwt"): the support folder's copy
    // when there is one, else the one found on PATH; empty when neither is.
    static QString toolPath(const QString &tool);

    // Removes what an interrupted download or unpacking left in the folder
    // and its covers folder: private files (QBSaveFile) and scratch folders
    // not written to for ten minutes. Younger ones may belong to a run
    // still going (a scheduled update), which writes at least once within
    // the stall limit of a download.
    static void removeLeftovers();

    // Moves the folder elsewhere, for tests and for running portable
    // copies; an empty path returns to the default location.
    static void setLocation(const QString &location);
};
