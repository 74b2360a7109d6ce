// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>
#include <QVariantMap>

#include <functional>

class QBOperationQueue;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;

// The modal panel that scans the machine for WBFS partitions and lets the
// user pick one, or pick a WBFS container file instead. Each opening scans
// afresh, unless a scan from an earlier opening is still running: there is
// never more than one scan at a time.
class QBSelectPartitionPanel : public QDialog
{
    Q_OBJECT

public:
    // Asks for a WBFS container file; an empty path when the user gave up.
    using FileChooser = std::function<QString(QWidget *parent)>;

    explicit QBSelectPartitionPanel(QWidget *parent = nullptr);

    // The one partition panel of the application.
    static QBSelectPartitionPanel *partitionPanel();

    // Shows the panel and waits; true when the user chose a partition or a
    // WBFS file.
    bool runModalWithTitle(const QString &title);
    // The chosen partition's device path (never the menu's title), or the
    // chosen file's path; empty when there is none.
    QString selectedPartition() const;

    // Fills the menu from a scan's result.
    void scanningDidFinish(const QVariantMap &userInfo);
    // Confirms when a partition was found, else answers as a cancel.
    void ok();
    void cancel();

    // Replaces the file dialog (tests answer it themselves).
    void setFileChooser(FileChooser chooser);

    QComboBox *selectPartitionMenu() const { return m_selectPartitionMenu; }
    QLabel *selectPartitionLabel() const { return m_selectPartitionLabel; }
    QProgressBar *selectPartitionWheel() const { return m_selectPartitionWheel; }
    QPushButton *okButton() const { return m_okButton; }
    QPushButton *fileButton() const { return m_fileButton; }

private:
    void chooseFile();

    QProgressBar *m_selectPartitionWheel;
    QLabel *m_selectPartitionLabel;
    QComboBox *m_selectPartitionMenu;
    QPushButton *m_okButton;
    QPushButton *m_fileButton;
    QBOperationQueue *m_scanningQueue;
    FileChooser m_fileChooser;
    QString m_chosenFile;
};
