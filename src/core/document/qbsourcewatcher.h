// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QThreadPool>
#include <QTimer>

#include <atomic>
#include <memory>

// Notices the files of an open source that other programs add, change or
// remove. A folder is watched, not its files (and, for a recursive
// listing, its subfolders), so that tens of thousands of images take a
// handful of the system's watches; what changed is found by listing the
// folder again, off the event loop, after a burst of changes has died
// down. A file that appears or changes is told once its size and time have
// held for settleMs; one that goes, at once. A single file (an image, a
// WBFS file) is watched itself.
//
// Where watching is impossible (a network file system whose changes the
// system does not report, too many folders or files, no watches left) the
// watcher gives up silently: the source is then only listed again on
// Reload. Hidden files are left alone: tools write their unfinished files
// under hidden names.
class QBSourceWatcher : public QObject
{
    Q_OBJECT

public:
    static constexpr int coalesceMs = 150;
    static constexpr int settleMs = 400;
    static constexpr int maximumFolders = 2000;
    static constexpr int maximumFiles = 200000;

    QBSourceWatcher(const QString &path, bool recursive, QObject *parent = nullptr);
    // Waits for a folder listing under way, which stops early.
    ~QBSourceWatcher() override;

    bool isWatching() const { return m_watching; }

signals:
    // Files that appeared or changed, once settled.
    void filesDidSettle(const QStringList &files);
    void filesDidVanish(const QStringList &files);
    // The folder or file watched is no longer there; watching stops.
    void sourceDidVanish();

private:
    struct Stamp
    {
        qint64 size = -1;
        qint64 modified = -1;
        bool operator==(const Stamp &other) const = default;
    };
    struct Snapshot
    {
        bool exists = false;
        bool tooLarge = false;
        QHash<QString, Stamp> files;
        QStringList folders;
    };

    static Snapshot scan(const QString &folder, bool recursive, const std::atomic<bool> &stop);
    static Stamp stampOf(const QString &path);
    void changed();
    void startScan();
    void scanned(const Snapshot &snapshot);
    void settle();
    void stopWatching();

    QString m_path;
    bool m_recursive;
    bool m_isFile = false;
    bool m_watching = false;
    bool m_scanning = false;
    bool m_rescan = false;
    bool m_baseline = true;
    QFileSystemWatcher m_watcher;
    QTimer m_coalesce;
    QTimer m_settle;
    QHash<QString, Stamp> m_known;
    // Files seen new or changed, with their stamp when last looked at.
    QHash<QString, Stamp> m_unsettled;
    QThreadPool m_scanner;
    std::shared_ptr<std::atomic<bool>> m_stop = std::make_shared<std::atomic<bool>>(false);
};
