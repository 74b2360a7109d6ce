// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/qbkeys.h"
#include "tasks/qbconversionbundle.h"
#include "tasks/qbconversiontask.h"

// A conversion's bundle as a document prepares it, waiting its turn.
inline QVariantMap waitingBundle(const QString &source, const QString &destination)
{
    return {{BundleKey::game, QVariantMap{{GameKey::id, u"RQAE01"_qs}}}, {BundleKey::sourcePath, source},
            {BundleKey::destinationPath, destination},   {BundleKey::display, u"Convert '%1'"_qs.arg(source)},
            {BundleKey::percent, 0.0},                    {BundleKey::isWaiting, true},
            {BundleKey::infos, u"Waiting ..."_qs}};
}

// A wit conversion with a fresh bundle.
inline QBConversionTask *conversion(const QStringList &arguments, const QString &source,
                                    const QString &destination)
{
    return new QBConversionTask(arguments, 0, new QBConversionBundle(waitingBundle(source, destination)), nullptr);
}

// A fake tool script line that prints one progress section.
inline QString progressSection(const QString &percent)
{
    return u"out [progress]\\npercent=%1\\nmib-per-sec=1\\neta-text=0:01\\n\\n\n"_qs.arg(percent);
}
