// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFileDevice>
#include <QString>
#include <QTemporaryFile>

// A file written under a private name in a folder and then put in place
// under its real name in one step: the name shows either the old file or
// the whole new one. The private file is made new (never opened through a
// name or a link that was already there), readable by the user alone, and
// named with leftoverPrefix so that one left by a crash is recognised at
// the next start. It goes with the object unless committed.
class QBSaveFile
{
public:
    explicit QBSaveFile(const QString &folder);

    // Creates the private file; false (see errorString) when it cannot.
    bool open();
    bool write(const QByteArray &data);
    // Hands what was written to the system, for readers of fileName().
    bool flush();
    qint64 size() const { return m_file.size(); }
    QString fileName() const { return m_file.fileName(); }
    QString errorString() const { return m_error; }

    // Gives the file these permissions and the name in the folder. Whatever
    // had that name goes: a file, or a link (the link itself, never what it
    // points to). A folder there makes it fail.
    bool commit(const QString &name, QFileDevice::Permissions permissions);
    // The same, keeping the permissions it was made with: for file systems
    // that have none to set (FAT).
    bool commit(const QString &name);

    // Removes the private file now rather than with the object.
    void remove() { m_file.remove(); }

    static const QString leftoverPrefix;

private:
    QString m_folder;
    QTemporaryFile m_file;
    QString m_error;
};
