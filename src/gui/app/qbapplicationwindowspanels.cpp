// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbapplicationwindows.h"

#include "app/qbgamelistexport.h"
#include "base/qbalertpresenter.h"
#include "base/qbsettings.h"
#include "document/qbdocumentwindow.h"
#include "panels/qbselectpartitionpanel.h"
#include "qbstartwindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QProgressDialog>

// The panels that the document controller asks for: the folder, partition,
// WBFS file and export panels, and the export's progress.

namespace {

// Qt's own dialog, which takes accessory controls; named for tests.
void prepareFileDialog(QFileDialog &panel, const QString &name)
{
    panel.setObjectName(name);
    panel.setOption(QFileDialog::DontUseNativeDialog);
}

// The export panel asks about replacing a file itself, for the file that
// will be written: the name typed with the chosen format's extension.
class ExportPanel : public QFileDialog
{
public:
    using QFileDialog::QFileDialog;

    void accept() override
    {
        const QString typed = selectedFiles().value(0);
        if (!typed.isEmpty() && !QFileInfo(typed).isDir()) {
            const QFileInfo target(QBGameListExport::targetPath(typed, QBSettings::exportFormat()));
            if (target.exists() || target.isSymLink()) {
                QBAlert alert;
                alert.message = QStringLiteral("'%1' already exists. Do you want to replace it?").arg(target.fileName());
                alert.informativeText = QStringLiteral("A file with this name is already in '%1'. Replacing it "
                                                       "overwrites its contents.")
                                                .arg(target.absolutePath());
                alert.defaultButton = QStringLiteral("Replace");
                alert.alternateButton = QStringLiteral("Cancel");
                if (QBAlertPresenter::run(alert) != QBAlertAnswer::Default)
                    return;
            }
        }
        QFileDialog::accept();
    }
};

// Puts a row below a widget file dialog's own controls.
void addAccessory(QFileDialog &panel, QWidget *label, QWidget *control)
{
    auto *grid = qobject_cast<QGridLayout *>(panel.layout());
    if (!grid)
        return;
    const int row = grid->rowCount();
    if (label)
        grid->addWidget(label, row, 0);
    grid->addWidget(control, row, 1);
}

}

// --- Panels ---------------------------------------------------------------

QWidget *QBApplicationWindows::dialogParent() const
{
    if (QWidget *active = QApplication::activeWindow())
        return active;
    if (QBDocumentWindow *window = windowForDocument(m_controller->currentDocument()))
        return window;
    return m_startWindow->isVisible() ? m_startWindow.get() : nullptr;
}

QString QBApplicationWindows::runOpenPanel()
{
    QFileDialog panel(dialogParent(), tr("Open Folder"));
    prepareFileDialog(panel, QStringLiteral("openPanel"));
    panel.setFileMode(QFileDialog::Directory);
    panel.setOption(QFileDialog::ShowDirsOnly);
    auto *deepSearch = new QCheckBox(tr("Deep search"));
    deepSearch->setObjectName(SettingsKey::browseRecursively);
    deepSearch->setToolTip(tr("List the games in the folder's sub-folders too"));
    deepSearch->setChecked(QBSettings::browseRecursively());
    connect(deepSearch, &QCheckBox::toggled, &panel,
            [](bool on) { QBSettings::setBrowseRecursively(on); });
    addAccessory(panel, nullptr, deepSearch);
    if (panel.exec() != QDialog::Accepted)
        return {};
    return panel.selectedFiles().value(0);
}

QString QBApplicationWindows::runPartitionPanel(const QString &title)
{
    QBSelectPartitionPanel *panel = QBSelectPartitionPanel::partitionPanel();
    if (!panel->runModalWithTitle(title))
        return {};
    return panel->selectedPartition();
}

QString QBApplicationWindows::runWbfsFilePanel()
{
    QFileDialog panel(dialogParent(), tr("Open WBFS File"));
    // As the other panels, for one look.
    prepareFileDialog(panel, QStringLiteral("wbfsFilePanel"));
    panel.setFileMode(QFileDialog::ExistingFile);
    panel.setNameFilters({tr("WBFS files (*.wbfs)"), tr("All files (*)")});
    if (panel.exec() != QDialog::Accepted)
        return {};
    return panel.selectedFiles().value(0);
}

QString QBApplicationWindows::runExportPanel()
{
    ExportPanel panel(dialogParent(), tr("Export Game List"));
    prepareFileDialog(panel, QStringLiteral("exportPanel"));
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    panel.setOption(QFileDialog::DontConfirmOverwrite);
    const QString lastFolder = QBSettings::exportFolder();
    panel.setDirectory(!lastFolder.isEmpty() && QFileInfo(lastFolder).isDir() ? lastFolder : QDir::homePath());

    auto *formats = new QComboBox;
    formats->setObjectName(SettingsKey::exportFormat);
    formats->addItems({QStringLiteral("html"), QStringLiteral("txt")});
    const QString format = QBSettings::exportFormat();
    if (formats->findText(format) < 0)
        formats->addItem(format);
    formats->setCurrentText(format);
    // The chosen format becomes the setting, and the extension of the
    // name in the panel.
    auto selectExportFormat = [&panel](const QString &chosen) {
        QBSettings::setExportFormat(chosen);
        panel.setNameFilter(QStringLiteral("*.") + chosen);
        panel.setDefaultSuffix(chosen);
        // The whole path, so that a folder typed with the name stays.
        const QString typed = panel.selectedFiles().value(0);
        if (!typed.isEmpty() && !QFileInfo(typed).isDir())
            panel.selectFile(QBGameListExport::targetPath(typed, chosen));
    };
    connect(formats, &QComboBox::currentTextChanged, &panel, selectExportFormat);
    addAccessory(panel, new QLabel(tr("Format:")), formats);

    const QBDocument *document = m_controller->currentDocument();
    const QString name = document ? QFileInfo(document->filename()).fileName() : QString();
    panel.selectFile((name.isEmpty() ? tr("Games") : name) + u'.' + format);
    selectExportFormat(format);
    if (panel.exec() != QDialog::Accepted)
        return {};
    return panel.selectedFiles().value(0);
}

void QBApplicationWindows::exportDidStart(QBGameListExport *job)
{
    // A text list is written at once; the page waits for its covers.
    if (job->checkCount() == 0)
        return;
    auto *progress = new QProgressDialog(tr("Looking up the covers of %1 games …").arg(job->checkCount()),
                                         tr("Cancel"), 0, job->checkCount(), dialogParent());
    progress->setObjectName(QStringLiteral("exportProgress"));
    progress->setWindowTitle(tr("Export Game List"));
    progress->setWindowModality(Qt::WindowModal);
    progress->setAutoReset(false);
    progress->setAutoClose(false);
    progress->setMinimumDuration(0);
    progress->setAttribute(Qt::WA_DeleteOnClose);
    connect(job, &QBGameListExport::progressChanged, progress, &QProgressDialog::setValue);
    connect(progress, &QProgressDialog::canceled, job, &QBGameListExport::cancel);
    connect(job, &QBGameListExport::finished, progress, [progress, job] {
        // Closing a progress dialog counts as its cancel.
        progress->disconnect(job);
        progress->close();
    });
    progress->show();
}
