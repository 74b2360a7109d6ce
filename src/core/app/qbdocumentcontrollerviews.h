// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class QBDocument;
class QBGameListExport;

// What the document controller asks of the windows. A document comes with
// its window, so the windows make documents; the panels are modal and
// answer with a path, empty when the user gave up.
class QBDocumentControllerViews
{
public:
    virtual ~QBDocumentControllerViews();

    // A new document and its window, already listing its source; nullptr
    // when the document cannot be created.
    virtual QBDocument *makeDocument(const QString &filename, int type, int displayMode) = 0;
    // Gives the document's window the frame saved under its filename;
    // false when none is saved.
    virtual bool setFrameUsingName(QBDocument *document) = 0;
    // Gives the document's window the size of the other's window, moved
    // 200 points right and 40 down.
    virtual void cascadeWindow(QBDocument *document, QBDocument *from) = 0;
    // Brings the window forward and makes it the active one.
    virtual void makeKeyAndOrderFront(QBDocument *document) = 0;
    virtual void showStartWindow() = 0;
    // The user guide that ships with the program.
    virtual void showHelp() = 0;
    // The Preferences, at the control of that setting.
    virtual void showPreferences(const QString &setting) = 0;

    // A folder to open.
    virtual QString runOpenPanel() = 0;
    // The device path of a partition, or a WBFS file, chosen in the
    // partition panel.
    virtual QString runPartitionPanel(const QString &title) = 0;
    // A WBFS container file.
    virtual QString runWbfsFilePanel() = 0;
    // Where to export; the panel keeps the exportFormat setting.
    virtual QString runExportPanel() = 0;
    // An export is about to start: show its progress, offer its cancel.
    virtual void exportDidStart(QBGameListExport *job) = 0;
};
