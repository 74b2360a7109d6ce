// SPDX-License-Identifier: GPL-3.0-or-later
#include "qblanguages.h"

#include "base/qbsettings.h"

#include <QLocale>

namespace {

QStringList &overridden()
{
    static QStringList languages;
    return languages;
}

}

namespace QBLanguages {

QStringList userLanguages()
{
    if (!overridden().isEmpty())
        return overridden();
    if (QBSettings::hasLanguages())
        return QBSettings::languages();
    return reduce(QLocale::system().uiLanguages());
}

void setOverride(const QStringList &languages)
{
    overridden() = languages;
}

QStringList reduce(const QStringList &uiLanguages)
{
    QStringList codes;
    for (const QString &language : uiLanguages) {
        QString code;
        if (language.startsWith(QLatin1String("zh-Hans")) || language.startsWith(QLatin1String("zh-Hant")))
            code = language.left(7);
        else
            code = language.section(u'-', 0, 0).section(u'_', 0, 0);
        if (!code.isEmpty() && !codes.contains(code))
            codes << code;
    }
    return codes;
}

QStringList preferenceList(const QStringList &userLanguages)
{
    QStringList list = userLanguages;
    // A system without a language set (LANG=C) reads the database in
    // English rather than in no language at all.
    for (QString &language : list) {
        if (language == QLatin1String("C") || language == QLatin1String("POSIX"))
            language = QStringLiteral("en");
    }
    const qsizetype hans = list.indexOf(QStringLiteral("zh-Hans"));
    if (hans >= 0)
        list[hans] = QStringLiteral("zhtw");
    const qsizetype hant = list.indexOf(QStringLiteral("zh-Hant"));
    if (hant >= 0)
        list[hant] = QStringLiteral("zhcn");
    return list;
}

}
