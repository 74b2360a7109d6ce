// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbsavefile.h"

#include <filesystem>
#include <system_error>

const QString QBSaveFile::leftoverPrefix = QStringLiteral(".partial-");

QBSaveFile::QBSaveFile(const QString &folder)
    : m_folder(folder)
    , m_file(folder + u'/' + leftoverPrefix + QStringLiteral("XXXXXX"))
{
}

bool QBSaveFile::open()
{
    // QTemporaryFile creates with O_EXCL and mode 0600.
    if (m_file.open())
        return true;
    m_error = m_file.errorString();
    return false;
}

bool QBSaveFile::write(const QByteArray &data)
{
    if (m_file.write(data) == data.size())
        return true;
    m_error = m_file.errorString();
    return false;
}

bool QBSaveFile::flush()
{
    if (m_file.flush())
        return true;
    m_error = m_file.errorString();
    return false;
}

bool QBSaveFile::commit(const QString &name, QFileDevice::Permissions permissions)
{
    if (!flush())
        return false;
    if (!m_file.setPermissions(permissions)) {
        m_error = m_file.errorString();
        return false;
    }
    return commit(name);
}

bool QBSaveFile::commit(const QString &name)
{
    if (!flush())
        return false;
    m_file.close();
    // rename() replaces a file or a link at the target in one step and
    // fails on a folder; QFile::rename would copy, and QSaveFile writes
    // through a link.
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(m_file.fileName()).toStdString(),
                            QFile::encodeName(m_folder + u'/' + name).toStdString(), error);
    if (error) {
        m_error = QString::fromStdString(error.message());
        return false;
    }
    m_file.setAutoRemove(false);
    return true;
}
