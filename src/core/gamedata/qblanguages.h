// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringList>

// The user's preferred languages, best first.
namespace QBLanguages {

// The "languages" setting; when it is not set, the system's UI languages,
// each reduced to its language code ("fr-FR" gives "fr") except the two
// Chinese scripts, kept whole ("zh-Hans", "zh-Hant"), without duplicates.
// A run-wide override (setOverride) comes before both.
QStringList userLanguages();

// Replaces the setting for this run only (the --languages option); an
// empty list removes the override.
void setOverride(const QStringList &languages);

// The system's UI languages reduced as described above.
QStringList reduce(const QStringList &uiLanguages);

// The list the title database is read with: the first "zh-Hans" becomes
// "zhtw" and the first "zh-Hant" becomes "zhcn". The two are crossed on
// purpose; the database's records have always been chosen this way. The
// system's "C" and "POSIX" become "en".
QStringList preferenceList(const QStringList &userLanguages);

}
