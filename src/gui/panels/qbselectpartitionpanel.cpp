// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbselectpartitionpanel.h"

#include "base/qbalertpresenter.h"
#include "base/qbkeys.h"
#include "panels/qbpartitionlist.h"
#include "qbsharedpanel.h"
#include "tasks/qboperationqueue.h"
#include "tasks/qbscanningtask.h"

#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

QBSelectPartitionPanel::QBSelectPartitionPanel(QWidget *parent)
    : QDialog(parent)
    , m_selectPartitionWheel(new QProgressBar(this))
    , m_selectPartitionLabel(new QLabel(this))
    , m_selectPartitionMenu(new QComboBox(this))
    , m_okButton(new QPushButton(tr("OK"), this))
    , m_fileButton(new QPushButton(tr("WBFS File…"), this))
    , m_scanningQueue(new QBOperationQueue(1, this))
{
    m_fileChooser = [](QWidget *parent) {
        return QFileDialog::getOpenFileName(parent, tr("Open a WBFS File"), QString(),
                                            tr("WBFS files (*.wbfs);;All files (*)"));
    };

    // A busy bar while a scan runs; hidden once it has ended.
    m_selectPartitionWheel->setRange(0, 0);
    m_selectPartitionWheel->setTextVisible(false);
    m_selectPartitionWheel->setFixedWidth(64);
    m_selectPartitionWheel->hide();
    m_selectPartitionMenu->setMinimumWidth(320);
    m_selectPartitionMenu->setEnabled(false);
    m_fileButton->setToolTip(tr("Open a file formatted as a WBFS partition"));
    auto *cancelButton = new QPushButton(tr("Cancel"), this);
    cancelButton->setObjectName(QStringLiteral("cancel"));
    // Return stays with OK even while the file button has the focus.
    m_fileButton->setAutoDefault(false);
    m_okButton->setDefault(true);
    connect(m_okButton, &QPushButton::clicked, this, &QBSelectPartitionPanel::ok);
    connect(cancelButton, &QPushButton::clicked, this, &QBSelectPartitionPanel::cancel);
    connect(m_fileButton, &QPushButton::clicked, this, &QBSelectPartitionPanel::chooseFile);

    auto *status = new QHBoxLayout;
    status->addWidget(m_selectPartitionWheel);
    status->addWidget(m_selectPartitionLabel, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_fileButton);
    buttons->addStretch();
    buttons->addWidget(cancelButton);
    buttons->addWidget(m_okButton);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(status);
    layout->addWidget(m_selectPartitionMenu);
    layout->addStretch();
    layout->addLayout(buttons);
}

QBSelectPartitionPanel *QBSelectPartitionPanel::partitionPanel()
{
    return sharedPanel<QBSelectPartitionPanel>();
}

bool QBSelectPartitionPanel::runModalWithTitle(const QString &title)
{
    setWindowTitle(title);
    m_chosenFile.clear();
    // A scan still running from an earlier opening goes on filling the
    // menu; partitions are never kept from one opening to the next.
    if (m_scanningQueue->operationCount() == 0) {
        m_selectPartitionMenu->clear();
        m_selectPartitionMenu->setEnabled(false);
        m_okButton->setEnabled(false);
        m_selectPartitionWheel->show();
        m_selectPartitionLabel->setText(QBPartitionList::scanningText());
        auto *task = new QBScanningTask;
        connect(task, &QBScanningTask::scanningDidFinish, this, &QBSelectPartitionPanel::scanningDidFinish);
        m_scanningQueue->addOperation(task);
    }
    return exec() == QDialog::Accepted;
}

QString QBSelectPartitionPanel::selectedPartition() const
{
    if (!m_chosenFile.isEmpty())
        return m_chosenFile;
    return m_selectPartitionMenu->currentData().toString();
}

void QBSelectPartitionPanel::scanningDidFinish(const QVariantMap &userInfo)
{
    const QList<QBPartitionList::MenuItem> items =
            QBPartitionList::menuItems(userInfo.value(UserInfoKey::partitionList).toList());
    for (const QBPartitionList::MenuItem &item : items)
        m_selectPartitionMenu->addItem(item.title, item.path);
    if (!items.isEmpty()) {
        m_selectPartitionMenu->setCurrentIndex(0);
        m_selectPartitionMenu->setEnabled(true);
        m_selectPartitionMenu->setFocus();
    }
    m_selectPartitionLabel->setText(QBPartitionList::foundText(items.size()));
    // Enabled even when nothing was found: OK then answers as Cancel.
    m_okButton->setEnabled(true);
    m_selectPartitionWheel->hide();
}

void QBSelectPartitionPanel::ok()
{
    if (m_selectPartitionMenu->isEnabled())
        accept();
    else
        reject();
}

void QBSelectPartitionPanel::cancel()
{
    reject();
}

void QBSelectPartitionPanel::setFileChooser(FileChooser chooser)
{
    m_fileChooser = std::move(chooser);
}

void QBSelectPartitionPanel::chooseFile()
{
    const QString path = m_fileChooser(this);
    if (path.isEmpty())
        return;
    if (const std::optional<QString> refusal = QBPartitionList::wbfsFileRefusal(path)) {
        QBAlert alert;
        alert.message = *refusal;
        alert.informativeText = tr("Choose a file formatted as a WBFS partition, or a partition from the list.");
        QBAlertPresenter::run(alert);
        return;
    }
    m_chosenFile = path;
    accept();
}
