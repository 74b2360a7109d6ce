// SPDX-License-Identifier: GPL-3.0-or-later
#include "qbfilenamepattern.h"

#include "gamedata/qbgamebundle.h"
#include "gamedata/qbgamecenter.h"

#include <algorithm>

namespace {

bool hasValue(const QVariant &value)
{
    return value.isValid() && !value.isNull();
}

bool isTrimmed(QChar c)
{
    return c == u' ' || c == u'.';
}

}

const QStringList &QBFilenamePattern::tokenKeys()
{
    static const QStringList keys{QStringLiteral("id"),     QStringLiteral("languages"),
                                  QStringLiteral("players"), QStringLiteral("rating"),
                                  QStringLiteral("region"),  QStringLiteral("title"),
                                  QStringLiteral("wi-fi-players")};
    return keys;
}

const QString &QBFilenamePattern::illegalCharacters()
{
    static const QString characters = QStringLiteral("/?<>\\:*|\"^=");
    return characters;
}

bool QBFilenamePattern::containsIllegalCharacter(QStringView text)
{
    for (QChar c : text) {
        if (illegalCharacters().contains(c))
            return true;
    }
    return false;
}

bool QBFilenamePattern::isRemovedCharacter(QChar c)
{
    switch (c.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return illegalCharacters().contains(c);
    }
}

void QBFilenamePattern::appendLiteral(const QString &text)
{
    if (text.isEmpty())
        return;
    if (!m_elements.isEmpty() && !m_elements.last().isToken)
        m_elements.last().text += text;
    else
        m_elements.append({false, text});
}

void QBFilenamePattern::appendToken(const QString &key)
{
    m_elements.append({true, key});
}

QString QBFilenamePattern::stringValueForGame(const QVariantMap &game) const
{
    QString name;
    for (const Element &element : m_elements)
        name += element.isToken ? textForValue(game.value(element.text)) : element.text;

    name.removeIf(isRemovedCharacter);
    qsizetype begin = 0;
    qsizetype end = name.size();
    while (begin < end && isTrimmed(name.at(begin)))
        ++begin;
    while (end > begin && isTrimmed(name.at(end - 1)))
        --end;
    return name.mid(begin, end - begin);
}

QString QBFilenamePattern::stringValueForGame(const QBGameBundle &game) const
{
    return stringValueForGame(game.infosDictionary());
}

QString QBFilenamePattern::textForValue(const QVariant &value)
{
    if (!hasValue(value))
        return QString();
    switch (value.metaType().id()) {
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        // Lists read as the game's details show them.
        return QBGameCenter::textForValue(value);
    default:
        return value.toString();
    }
}

bool QBFilenamePattern::allGamesHaveValue(const QList<QVariantMap> &games, const QString &key)
{
    return std::all_of(games.cbegin(), games.cend(),
                       [&key](const QVariantMap &game) { return hasValue(game.value(key)); });
}

QVariantList QBFilenamePattern::toVariantList() const
{
    QVariantList list;
    for (const Element &element : m_elements)
        list << (element.isToken ? QVariant(QStringList{element.text}) : QVariant(element.text));
    return list;
}

QBFilenamePattern QBFilenamePattern::fromVariantList(const QVariantList &list)
{
    QBFilenamePattern pattern;
    for (const QVariant &item : list) {
        if (item.metaType().id() == QMetaType::QString) {
            pattern.appendLiteral(item.toString());
        } else {
            const QStringList token = item.toStringList();
            if (token.size() == 1 && tokenKeys().contains(token.first()))
                pattern.appendToken(token.first());
        }
    }
    return pattern;
}

std::optional<QBFilenamePattern> QBFilenamePattern::fromText(const QString &text, QString *why)
{
    auto fail = [why](const QString &reason) {
        if (why)
            *why = reason;
        return std::nullopt;
    };
    QBFilenamePattern pattern;
    qsizetype at = 0;
    while (at < text.size()) {
        const qsizetype open = text.indexOf(u'{', at);
        const QString literal = text.mid(at, open < 0 ? -1 : open - at);
        if (literal.contains(u'}'))
            return fail(QStringLiteral("a closing brace without an opening one"));
        if (containsIllegalCharacter(literal) || std::any_of(literal.cbegin(), literal.cend(), isRemovedCharacter))
            return fail(QStringLiteral("a name cannot hold any of %1").arg(illegalCharacters()));
        pattern.appendLiteral(literal);
        if (open < 0)
            break;
        const qsizetype close = text.indexOf(u'}', open);
        if (close < 0)
            return fail(QStringLiteral("an opening brace without a closing one"));
        const QString key = text.mid(open + 1, close - open - 1);
        if (!tokenKeys().contains(key))
            return fail(QStringLiteral("{%1} is not one of {%2}").arg(key, tokenKeys().join(QStringLiteral("}, {"))));
        pattern.appendToken(key);
        at = close + 1;
    }
    if (pattern.isEmpty())
        return fail(QStringLiteral("the pattern is empty"));
    return pattern;
}
