// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsourcewatcher.h"

#include "qblibrarycache.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFileInfo>
#include <QStorageInfo>

namespace {

// File systems whose changes made by other machines the system does not
// report: watching them would only seem to work.
bool isNetworkFileSystem(const QString &path)
{
    static const QSet<QByteArray> types{"nfs",  "nfs4",       "cifs",      "smb3",       "smbfs",
                                        "9p",   "afs",        "ceph",      "fuse.sshfs", "fuse.gvfsd-fuse",
                                        "davfs", "fuse.rclone", "glusterfs", "lustre"};
    return types.contains(QStorageInfo(path).fileSystemType());
}

QString withoutTrailingSlash(QString path)
{
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

}

QBSourceWatcher::QBSourceWatcher(const QString &path, bool recursive, QObject *parent)
    : QObject(parent)
    , m_path(path)
    , m_recursive(recursive)
{
    m_scanner.setMaxThreadCount(1);
    m_coalesce.setSingleShot(true);
    m_coalesce.setInterval(coalesceMs);
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    connect(&m_coalesce, &QTimer::timeout, this, &QBSourceWatcher::startScan);
    connect(&m_settle, &QTimer::timeout, this, &QBSourceWatcher::settle);

    const QFileInfo info(path);
    // A device changes under its own tool only.
    if ((!info.isDir() && !info.isFile()) || isNetworkFileSystem(path))
        return;
    m_isFile = info.isFile();
    if (!m_watcher.addPath(path))
        return;
    m_watching = true;
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &QBSourceWatcher::changed);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &QBSourceWatcher::changed);
    if (!m_isFile)
        startScan();
}

QBSourceWatcher::~QBSourceWatcher()
{
    *m_stop = true;
    m_scanner.waitForDone();
}

QBSourceWatcher::Stamp QBSourceWatcher::stampOf(const QString &path)
{
    const std::pair<qint64, qint64> stamp = QBLibraryCache::fileStamp(path);
    return {stamp.first, stamp.second};
}

void QBSourceWatcher::changed()
{
    if (!m_watching)
        return;
    if (m_isFile) {
        // A file replaced by another (renamed over it) is no longer
        // watched: its successor is.
        if (!m_watcher.files().contains(m_path) && QFileInfo::exists(m_path))
            m_watcher.addPath(m_path);
        if (!m_unsettled.contains(m_path))
            m_unsettled.insert(m_path, stampOf(m_path));
        if (!m_settle.isActive())
            m_settle.start();
        return;
    }
    // The first change of a burst starts the clock; the rest ride along.
    if (!m_coalesce.isActive())
        m_coalesce.start();
}

void QBSourceWatcher::startScan()
{
    if (m_scanning) {
        m_rescan = true;
        return;
    }
    m_scanning = true;
    m_rescan = false;
    const std::shared_ptr<std::atomic<bool>> stop = m_stop;
    const QString folder = withoutTrailingSlash(m_path);
    const bool recursive = m_recursive;
    m_scanner.start([this, stop, folder, recursive] {
        const Snapshot snapshot = scan(folder, recursive, *stop);
        // The destructor waits for this, so the object is still there; the
        // event goes with it if it is being destroyed.
        QMetaObject::invokeMethod(this, [this, snapshot] { scanned(snapshot); }, Qt::QueuedConnection);
    });
}

QBSourceWatcher::Snapshot QBSourceWatcher::scan(const QString &folder, bool recursive, const std::atomic<bool> &stop)
{
    Snapshot snapshot;
    if (!QFileInfo(folder).isDir())
        return snapshot;
    snapshot.exists = true;
    snapshot.folders << folder;
    // Hidden entries are not listed, and links to folders not followed.
    QDirIterator entries(folder, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                         recursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
    while (entries.hasNext()) {
        if (stop) {
            snapshot.tooLarge = true;
            return snapshot;
        }
        entries.next();
        const QFileInfo info = entries.fileInfo();
        if (info.isDir()) {
            if (recursive && !info.isSymLink())
                snapshot.folders << info.filePath();
        } else if (info.isFile()) {
            snapshot.files.insert(info.filePath(), stampOf(info.filePath()));
        }
        if (snapshot.files.size() > maximumFiles || snapshot.folders.size() > maximumFolders) {
            snapshot.tooLarge = true;
            return snapshot;
        }
    }
    return snapshot;
}

void QBSourceWatcher::scanned(const Snapshot &snapshot)
{
    m_scanning = false;
    if (!m_watching)
        return;
    if (!snapshot.exists) {
        stopWatching();
        emit sourceDidVanish();
        return;
    }
    if (snapshot.tooLarge) {
        stopWatching();
        return;
    }
    if (m_recursive) {
        QStringList added;
        const QStringList watched = m_watcher.directories();
        const QSet<QString> known(watched.cbegin(), watched.cend());
        for (const QString &folder : snapshot.folders) {
            if (!known.contains(folder) && folder != withoutTrailingSlash(m_path))
                added << folder;
        }
        // No watches left: the system's limit is shared with every other
        // program, so nothing more is taken.
        if (!added.isEmpty() && !m_watcher.addPaths(added).isEmpty()) {
            stopWatching();
            return;
        }
    }
    if (m_rescan && !m_coalesce.isActive())
        m_coalesce.start();
    if (m_baseline) {
        m_baseline = false;
        m_known = snapshot.files;
        return;
    }

    QStringList vanished;
    for (auto known = m_known.cbegin(); known != m_known.cend(); ++known) {
        if (!snapshot.files.contains(known.key())) {
            vanished << known.key();
            m_unsettled.remove(known.key());
        }
    }
    for (auto file = snapshot.files.cbegin(); file != snapshot.files.cend(); ++file) {
        const auto known = m_known.constFind(file.key());
        if ((known == m_known.cend() || *known != *file) && !m_unsettled.contains(file.key()))
            m_unsettled.insert(file.key(), *file);
    }
    m_known = snapshot.files;
    if (!m_unsettled.isEmpty() && !m_settle.isActive())
        m_settle.start();
    if (!vanished.isEmpty())
        emit filesDidVanish(vanished);
}

void QBSourceWatcher::settle()
{
    QStringList settled;
    for (auto file = m_unsettled.begin(); file != m_unsettled.end();) {
        const Stamp now = stampOf(file.key());
        if (now.size < 0) {
            file = m_unsettled.erase(file);
            if (m_isFile) {
                stopWatching();
                emit sourceDidVanish();
                return;
            }
            // Gone already: the folder's listing tells.
            continue;
        }
        if (now == *file) {
            settled << file.key();
            if (!m_isFile)
                m_known.insert(file.key(), now);
            file = m_unsettled.erase(file);
        } else {
            *file = now;
            if (!m_isFile)
                m_known.insert(file.key(), now);
            ++file;
        }
    }
    if (!m_unsettled.isEmpty())
        m_settle.start();
    if (!settled.isEmpty())
        emit filesDidSettle(settled);
}

void QBSourceWatcher::stopWatching()
{
    m_watching = false;
    m_coalesce.stop();
    m_settle.stop();
    m_unsettled.clear();
    const QStringList paths = m_watcher.files() + m_watcher.directories();
    if (!paths.isEmpty())
        m_watcher.removePaths(paths);
}
