// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringList>
#include <QTemporaryDir>

// Puts the fake tool in place of wit and wwt for as long as it lives: a
// fresh support folder holding both names, which tasks find before any
// installed tool; the support folder set before comes back after it. See
// faketool.cpp for the script language.
class QBFakeTool
{
public:
    QBFakeTool();
    ~QBFakeTool();

    void setScript(const QString &script);
    // One entry per run of wit or wwt: "wit | arg | arg ...".
    QStringList invocations() const;
    QString supportFolder() const;
    // A command line that appends word to file, for the permission step.
    QString markCommand(const QString &file, const QString &word) const;
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

    static QString binary();

private:
    QTemporaryDir m_dir;
    QString m_previousSupport;
};
