// SPDX-License-Identifier: GPL-3.0-or-later
// A file-name pattern applied to a hostile game record: the name must be
// safe as one component of a path whatever the record holds.
//
// Input: a pattern, a NUL, then the record. The pattern is "|"-separated
// elements, "%key" a token and anything else a literal; the record is one
// "key=value" a line, a value starting with "#" a number and one holding
// ";" a list.
#include "fuzzsupport.h"

#include "panels/qbfilenamepattern.h"

#include <cstddef>
#include <cstdint>

FUZZ_INITIALIZE

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const qsizetype split = input.indexOf('\0');
    const QString patternText = QString::fromUtf8(split < 0 ? input : input.left(split));
    const QString recordText = split < 0 ? QString() : QString::fromUtf8(input.mid(split + 1));

    // Built as the token field builds it, and as the clipboard brings it.
    QBFilenamePattern pattern;
    QVariantList list;
    for (const QString &element : patternText.split(u'|')) {
        if (element.startsWith(u'%')) {
            pattern.appendToken(element.mid(1));
            list << QVariant(QStringList{element.mid(1)});
        } else {
            pattern.appendLiteral(element);
            list << QVariant(element);
        }
    }
    QVariantMap game;
    for (const QString &line : recordText.split(u'\n')) {
        const qsizetype equals = line.indexOf(u'=');
        if (equals < 0)
            continue;
        const QString value = line.mid(equals + 1);
        if (value.startsWith(u'#'))
            game.insert(line.left(equals), value.mid(1).toDouble());
        else if (value.contains(u';'))
            game.insert(line.left(equals), value.split(u';'));
        else
            game.insert(line.left(equals), value);
    }

    for (const QBFilenamePattern &applied : {pattern, QBFilenamePattern::fromVariantList(list)}) {
        const QString name = applied.stringValueForGame(game);
        for (const QChar c : name)
            FUZZ_REQUIRE(!QBFilenamePattern::isRemovedCharacter(c));
        FUZZ_REQUIRE(!QBFilenamePattern::containsIllegalCharacter(name));
        FUZZ_REQUIRE(!name.startsWith(u' ') && !name.startsWith(u'.') && !name.endsWith(u' ')
                     && !name.endsWith(u'.'));
    }
    return 0;
}
