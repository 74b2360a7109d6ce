// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbfaketool.h"
#include "qbtestfiles.h"

#include "base/qbsupportfolder.h"

#include <QDir>
#include <QFile>

QBFakeTool::QBFakeTool()
    : m_previousSupport(QBSupportFolder::location())
{
    const QString support = supportFolder();
    QDir().mkpath(support);
    QFile::link(binary(), support + QStringLiteral("/wit"));
    QFile::link(binary(), support + QStringLiteral("/wwt"));
    QBSupportFolder::setLocation(support);
    qputenv("FAKETOOL_LOG", m_dir.filePath(QStringLiteral("invocations.log")).toLocal8Bit());
    setScript(QString());
}

QBFakeTool::~QBFakeTool()
{
    QBSupportFolder::setLocation(m_previousSupport);
    qunsetenv("FAKETOOL_LOG");
    qunsetenv("FAKETOOL_SCRIPT");
}

QString QBFakeTool::binary()
{
    return QStringLiteral(FAKETOOL_PATH);
}

QString QBFakeTool::supportFolder() const
{
    return m_dir.filePath(QStringLiteral("support"));
}

void QBFakeTool::setScript(const QString &script)
{
    const QString path = m_dir.filePath(QStringLiteral("script.txt"));
    QBTestFiles::write(path, script.toUtf8());
    qputenv("FAKETOOL_SCRIPT", path.toLocal8Bit());
}

QStringList QBFakeTool::invocations() const
{
    return QString::fromUtf8(QBTestFiles::read(m_dir.filePath(QStringLiteral("invocations.log"))))
            .split(u'\n', Qt::SkipEmptyParts);
}

QString QBFakeTool::markCommand(const QString &file, const QString &word) const
{
    return QStringLiteral("\"%1\" --mark \"%2\" %3").arg(binary(), file, word);
}
